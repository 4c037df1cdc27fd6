#include "PluginBase/DirectX/base/CEnumMediaTypes.h"

#include <new>

#include "PluginBase/DirectX/base/CBasePin.h"

CEnumMediaTypes::CEnumMediaTypes(CBasePin* pPin, CEnumMediaTypes* pEnumMediaTypes)
    : m_pPin(pPin),
      m_Position(pEnumMediaTypes != nullptr ? pEnumMediaTypes->m_Position : 0),
      m_Version(pEnumMediaTypes != nullptr ? pEnumMediaTypes->m_Version : pPin->GetMediaTypeVersion()) {
    m_pPin->AddRef();
}

CEnumMediaTypes::~CEnumMediaTypes() {
    m_pPin->Release();
}

STDMETHODIMP CEnumMediaTypes::QueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IEnumMediaTypes) return GetInterface(this, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::AddRef() {
    return static_cast<ULONG>(++m_cRef);
}

STDMETHODIMP_(ULONG) CEnumMediaTypes::Release() {
    const LONG nLeft = --m_cRef;
    if (nLeft == 0) delete this;
    return static_cast<ULONG>(nLeft);
}

STDMETHODIMP CEnumMediaTypes::Next(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) {
    if (ppMediaTypes == nullptr) return E_POINTER;
    if (pcFetched == nullptr && cMediaTypes > 1) return E_INVALIDARG;
    if (pcFetched != nullptr) *pcFetched = 0;
    if (AreWeOutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;

    ULONG uFetched = 0;
    while (uFetched < cMediaTypes) {
        CMediaType type;
        if (m_pPin->GetMediaType(m_Position, &type) != S_OK) break;
        ppMediaTypes[uFetched] = CreateMediaType(&type);
        if (ppMediaTypes[uFetched] == nullptr) break;
        ++uFetched;
        ++m_Position;
    }
    if (pcFetched != nullptr) *pcFetched = uFetched;
    return uFetched == cMediaTypes ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumMediaTypes::Skip(ULONG cMediaTypes) {
    if (AreWeOutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    for (; cMediaTypes > 0; --cMediaTypes) {
        CMediaType type;
        if (m_pPin->GetMediaType(m_Position, &type) != S_OK) return S_FALSE;
        ++m_Position;
    }
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Reset() {
    m_Version = m_pPin->GetMediaTypeVersion();
    m_Position = 0;
    return S_OK;
}

STDMETHODIMP CEnumMediaTypes::Clone(IEnumMediaTypes** ppEnum) {
    if (ppEnum == nullptr) return E_POINTER;
    *ppEnum = nullptr;
    if (AreWeOutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new (std::nothrow) CEnumMediaTypes(m_pPin, this);
    return *ppEnum != nullptr ? S_OK : E_OUTOFMEMORY;
}

bool CEnumMediaTypes::AreWeOutOfSync() const {
    return m_pPin->GetMediaTypeVersion() != m_Version;
}
