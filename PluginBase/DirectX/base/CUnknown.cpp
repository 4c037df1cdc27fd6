#include "PluginBase/DirectX/base/CUnknown.h"

namespace {

std::atomic<LONG> g_cObjects = 0;

}  // namespace

CBaseObject::CBaseObject(LPCTSTR) noexcept {
    ++g_cObjects;
}

CBaseObject::~CBaseObject() {
    --g_cObjects;
}

LONG CBaseObject::ObjectsActive() noexcept {
    return g_cObjects;
}

CUnknown::CUnknown(LPCTSTR pName, LPUNKNOWN pUnk)
    : CBaseObject(pName), m_inner(*this), m_pUnknown(pUnk != nullptr ? pUnk : &m_inner) {}

CUnknown::CUnknown(LPCTSTR pName, LPUNKNOWN pUnk, HRESULT*) : CUnknown(pName, pUnk) {}

STDMETHODIMP CUnknown::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (riid == IID_IUnknown) return GetInterface(&m_inner, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingAddRef() {
    return static_cast<ULONG>(++m_cRef);
}

STDMETHODIMP_(ULONG) CUnknown::NonDelegatingRelease() {
    const LONG nLeft = --m_cRef;
    if (nLeft == 0) {
        // The destructors may hand out and take back references; none of those is the last one again.
        m_cRef = 1;
        delete this;
    }
    return static_cast<ULONG>(nLeft);
}

STDMETHODIMP CUnknown::Inner::QueryInterface(REFIID riid, void** ppv) {
    return m_object.NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CUnknown::Inner::AddRef() {
    return m_object.NonDelegatingAddRef();
}

STDMETHODIMP_(ULONG) CUnknown::Inner::Release() {
    return m_object.NonDelegatingRelease();
}

HRESULT GetInterface(LPUNKNOWN pUnk, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    pUnk->AddRef();
    *ppv = pUnk;
    return NOERROR;
}
