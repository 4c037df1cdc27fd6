#pragma once

#include <string>

#include "apps/dxhost/Com.h"

namespace DxHost {

/// The class identifier under which the plug-in registers.
extern const CLSID kPluginClass;

/// The plug-in's file, loaded without being registered. Unloads it at its end, so whatever it made is
/// released before.
class PluginModule {
public:
    /// Path in UTF-8. Throws a Failure if the file does not load or lacks an entry point.
    explicit PluginModule(const std::string& strPath);
    ~PluginModule();
    PluginModule(const PluginModule&) = delete;
    PluginModule& operator=(const PluginModule&) = delete;

    /// What the entry point DllGetClassObject answers.
    HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** ppv) const {
        return m_getClassObject(clsid, riid, ppv);
    }
    /// A new plug-in through the class factory.
    ComPtr<IBaseFilter> Create(REFCLSID clsid = kPluginClass) const;
    /// Whether nothing of the module is in use any more.
    bool CanUnload() const { return m_canUnload() == S_OK; }
    HRESULT Register() const { return m_register(); }
    HRESULT Unregister() const { return m_unregister(); }

private:
    using GetClassObjectFunction = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    using PlainFunction = HRESULT(STDAPICALLTYPE*)();

    template <class Function>
    Function Find(const char* name) const;

    HMODULE m_module;
    GetClassObjectFunction m_getClassObject = nullptr;
    PlainFunction m_canUnload = nullptr;
    PlainFunction m_register = nullptr;
    PlainFunction m_unregister = nullptr;
};

/// A new plug-in of a class that is registered on this machine. Throws a Failure.
ComPtr<IBaseFilter> CreateRegistered(REFCLSID clsid = kPluginClass);

}  // namespace DxHost
