# The plug-in's host: against itself, and with the plug-in in its graph.
vesca_test(test_dxhost
  SOURCES
    HostGraphTest.cpp
  LINKS dxhost_lib)
