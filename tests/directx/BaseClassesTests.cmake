# The filter base classes, in a graph of the plug-in's host.
vesca_test(test_dshow_base
  SOURCES
    BaseClassesTest.cpp
    PropertyPageTest.cpp
  LINKS dshow_base dxhost_lib)

# The compiler's options, which every target is given, mean nothing to the resource compiler.
enable_language(RC)
add_library(test_page OBJECT page.rc)
set_target_properties(test_page PROPERTIES COMPILE_OPTIONS "")
target_link_libraries(test_dshow_base PRIVATE test_page)
