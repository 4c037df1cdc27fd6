# The plug-in's host with the plug-in in its graph: what it shows is held against the engine, byte by byte.
vesca_test(test_dxhost
  SOURCES
    HostFileTest.cpp
    HostLifeTest.cpp
    HostStreamTest.cpp
  LINKS dxhost_lib)
target_compile_definitions(test_dxhost PRIVATE VESCA_DX_FILE="$<TARGET_FILE:vesca_dx>")
add_dependencies(test_dxhost vesca_dx)
