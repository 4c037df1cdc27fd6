# The adapter: what of it is plain C++ everywhere, the filter itself on Windows.
vesca_test(test_directx_core
  SOURCES
    AdapterCoreTest.cpp
  LINKS dx_core)

if(WIN32)
  vesca_test(test_directx_plugin
    SOURCES
      DeliveryTest.cpp
      PluginTest.cpp
    LINKS dx_plugin)
endif()
