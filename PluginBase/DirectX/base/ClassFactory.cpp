#include <atomic>
#include <new>

#include "PluginBase/DirectX/base/CFactoryTemplate.h"

namespace {

std::atomic<LONG> g_cServerLocks = 0;

/// The factory of one class of the table. Its count keeps the module in memory as an object's does.
class CClassFactory final : public IClassFactory, public CBaseObject {
public:
    explicit CClassFactory(const CFactoryTemplate& factory)
        : CBaseObject(TEXT("Class factory")), m_template(factory) {}
    virtual ~CClassFactory() = default;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
        if (ppv == nullptr) return E_POINTER;
        if (riid == IID_IUnknown || riid == IID_IClassFactory) return GetInterface(this, ppv);
        *ppv = nullptr;
        return E_NOINTERFACE;
    }

    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++m_cRef); }

    STDMETHODIMP_(ULONG) Release() override {
        const LONG nLeft = --m_cRef;
        if (nLeft == 0) delete this;
        return static_cast<ULONG>(nLeft);
    }

    STDMETHODIMP CreateInstance(LPUNKNOWN pUnkOuter, REFIID riid, void** ppv) override {
        if (ppv == nullptr) return E_POINTER;
        *ppv = nullptr;
        // Whoever aggregates must hold the inner IUnknown: any other interface would answer as the outer
        // object.
        if (pUnkOuter != nullptr && riid != IID_IUnknown) return E_NOINTERFACE;

        HRESULT hr = NOERROR;
        CUnknown* pObject = m_template.CreateInstance(pUnkOuter, &hr);
        if (pObject == nullptr) return FAILED(hr) ? hr : E_OUTOFMEMORY;
        // The reference of its creation: with a failure, dropping it deletes the object.
        pObject->NonDelegatingAddRef();
        if (SUCCEEDED(hr)) hr = pObject->NonDelegatingQueryInterface(riid, ppv);
        pObject->NonDelegatingRelease();
        return hr;
    }

    STDMETHODIMP LockServer(BOOL bLock) override {
        g_cServerLocks += bLock ? 1 : -1;
        return NOERROR;
    }

private:
    const CFactoryTemplate& m_template;
    std::atomic<LONG> m_cRef = 1;
};

}  // namespace

CUnknown* CFactoryTemplate::CreateInstance(LPUNKNOWN pUnk, HRESULT* phr) const {
    // What a constructor throws stays on this side: the host was built by another compiler.
    try {
        return m_lpfnNew(pUnk, phr);
    } catch (const std::bad_alloc&) {
        *phr = E_OUTOFMEMORY;
    } catch (...) {
        *phr = E_FAIL;
    }
    return nullptr;
}

STDAPI DllGetClassObject(REFCLSID rClsID, REFIID riid, LPVOID* pv) {
    if (pv == nullptr) return E_POINTER;
    *pv = nullptr;
    if (riid != IID_IUnknown && riid != IID_IClassFactory) return E_NOINTERFACE;
    for (int i = 0; i < g_cTemplates; ++i) {
        if (!g_Templates[i].IsClassID(rClsID)) continue;
        *pv = static_cast<IClassFactory*>(new (std::nothrow) CClassFactory(g_Templates[i]));
        return *pv != nullptr ? NOERROR : E_OUTOFMEMORY;
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
    return g_cServerLocks == 0 && CBaseObject::ObjectsActive() == 0 ? S_OK : S_FALSE;
}

extern "C" BOOL WINAPI DllEntryPoint(HINSTANCE hInstance, ULONG ulReason, LPVOID) {
    if (ulReason != DLL_PROCESS_ATTACH && ulReason != DLL_PROCESS_DETACH) return TRUE;
    // Calls for threads stay on, although nothing here needs them: the compiler's thread support does.
    const BOOL bLoading = ulReason == DLL_PROCESS_ATTACH;
    if (bLoading) g_hInst = hInstance;
    for (int i = 0; i < g_cTemplates; ++i)
        if (g_Templates[i].m_lpfnInit != nullptr) g_Templates[i].m_lpfnInit(bLoading, g_Templates[i].m_ClsID);
    return TRUE;
}
