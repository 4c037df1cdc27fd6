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
    LINKS dx_plugin dxhost_lib)
  vesca_test(test_directx_module
    SOURCES
      ModuleTest.cpp
    LINKS dshow_base dxhost_lib)
  target_compile_definitions(test_directx_module PRIVATE VESCA_DX_FILE="$<TARGET_FILE:vesca_dx>")
  add_dependencies(test_directx_module vesca_dx)
  add_test(NAME vesca_dx.exports-imports
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-dll
      ${CMAKE_OBJDUMP} $<TARGET_FILE:vesca_dx> ${PROJECT_SOURCE_DIR}/PluginBase/DirectX/vesca_dx.def)
endif()
