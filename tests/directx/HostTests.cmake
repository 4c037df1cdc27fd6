# The plug-in's host: against itself, and with the plug-in in its graph.
vesca_test(test_dxhost
  SOURCES
    HostGraphTest.cpp
  LINKS dxhost_lib)
vesca_test(test_dxhost_plugin
  SOURCES
    HostLifeTest.cpp
    HostStreamTest.cpp
  LINKS dxhost_lib)
target_compile_definitions(test_dxhost_plugin PRIVATE VESCA_DX_FILE="$<TARGET_FILE:vesca_dx>")
add_dependencies(test_dxhost_plugin vesca_dx)
