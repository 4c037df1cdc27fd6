#include "apps/dxhost/PluginModule.h"

#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/Text.h"

namespace DxHost {

const CLSID kPluginClass = {0x37d4be7a, 0xea26, 0x4178, {0x95, 0x8a, 0x35, 0x02, 0xe4, 0xa3, 0x30, 0x9c}};

template <class Function>
Function PluginModule::Find(const char* name) const {
    const FARPROC address = GetProcAddress(m_module, name);
    if (!address) throw Failure(E_NOINTERFACE, Util::Format("the file has no entry point %1", name));
    return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

PluginModule::PluginModule(const std::string& strPath)
    : m_module(LoadLibraryW(Util::WideFromUtf8(strPath).c_str())) {
    if (!m_module) throw Failure(HRESULT_FROM_WIN32(GetLastError()), Util::Format("can't load %1", strPath));
    try {
        m_getClassObject = Find<GetClassObjectFunction>("DllGetClassObject");
        m_canUnload = Find<PlainFunction>("DllCanUnloadNow");
        m_register = Find<PlainFunction>("DllRegisterServer");
        m_unregister = Find<PlainFunction>("DllUnregisterServer");
    } catch (...) {
        FreeLibrary(m_module);
        throw;
    }
}

PluginModule::~PluginModule() {
    FreeLibrary(m_module);
}

ComPtr<IBaseFilter> PluginModule::Create(REFCLSID clsid) const {
    ComPtr<IClassFactory> factory;
    Check(GetClassObject(clsid, IID_PPV_ARGS(factory.GetAddressOf())), "DllGetClassObject");
    ComPtr<IBaseFilter> filter;
    Check(factory->CreateInstance(nullptr, IID_PPV_ARGS(filter.GetAddressOf())), "CreateInstance");
    return filter;
}

ComPtr<IBaseFilter> CreateRegistered(REFCLSID clsid) {
    ComPtr<IBaseFilter> filter;
    Check(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(filter.GetAddressOf())),
          "can't make the registered plug-in");
    return filter;
}

}  // namespace DxHost
