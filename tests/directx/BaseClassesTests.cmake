# The filter base classes, in graphs of their own.
vesca_library(test_filters
  SOURCES
    support/GraphFilters.cpp
    support/ShiftingTransform.cpp
  LINKS dshow_base)
vesca_test(test_dshow_base
  SOURCES
    BaseClassesTest.cpp
    PropertyPageTest.cpp
  LINKS test_filters)

# The compiler's options, which every target is given, mean nothing to the resource compiler.
enable_language(RC)
add_library(test_page OBJECT support/page.rc)
set_target_properties(test_page PROPERTIES COMPILE_OPTIONS "")
target_link_libraries(test_dshow_base PRIVATE test_page)
