#include "PluginBase/DirectX/base/CEnumPins.h"

#include <new>

#include "PluginBase/DirectX/base/CBaseFilter.h"
#include "PluginBase/DirectX/base/CBasePin.h"

CEnumPins::CEnumPins(CBaseFilter* pFilter, CEnumPins* pEnumPins)
    : m_pFilter(pFilter),
      m_Position(pEnumPins != nullptr ? pEnumPins->m_Position : 0),
      m_Version(pEnumPins != nullptr ? pEnumPins->m_Version : pFilter->GetPinVersion()) {
    m_pFilter->AddRef();
}

CEnumPins::~CEnumPins() {
    m_pFilter->Release();
}

STDMETHODIMP CEnumPins::QueryInterface(REFIID riid, void** ppv) {
    if (ppv == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IEnumPins) return GetInterface(this, ppv);
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP_(ULONG) CEnumPins::AddRef() {
    return static_cast<ULONG>(++m_cRef);
}

STDMETHODIMP_(ULONG) CEnumPins::Release() {
    const LONG nLeft = --m_cRef;
    if (nLeft == 0) delete this;
    return static_cast<ULONG>(nLeft);
}

STDMETHODIMP CEnumPins::Next(ULONG cPins, IPin** ppPins, ULONG* pcFetched) {
    if (ppPins == nullptr) return E_POINTER;
    if (pcFetched == nullptr && cPins > 1) return E_INVALIDARG;
    if (pcFetched != nullptr) *pcFetched = 0;
    if (AreWeOutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;

    ULONG uFetched = 0;
    while (uFetched < cPins && m_Position < m_pFilter->GetPinCount()) {
        CBasePin* pPin = m_pFilter->GetPin(m_Position);
        if (pPin == nullptr) break;
        pPin->AddRef();
        ppPins[uFetched] = pPin;
        ++uFetched;
        ++m_Position;
    }
    if (pcFetched != nullptr) *pcFetched = uFetched;
    return uFetched == cPins ? S_OK : S_FALSE;
}

STDMETHODIMP CEnumPins::Skip(ULONG cPins) {
    if (AreWeOutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    const int nLeft = m_pFilter->GetPinCount() - m_Position;
    if (nLeft < 0 || cPins > static_cast<ULONG>(nLeft)) return S_FALSE;
    m_Position += static_cast<int>(cPins);
    return S_OK;
}

STDMETHODIMP CEnumPins::Reset() {
    m_Version = m_pFilter->GetPinVersion();
    m_Position = 0;
    return S_OK;
}

STDMETHODIMP CEnumPins::Clone(IEnumPins** ppEnum) {
    if (ppEnum == nullptr) return E_POINTER;
    *ppEnum = nullptr;
    if (AreWeOutOfSync()) return VFW_E_ENUM_OUT_OF_SYNC;
    *ppEnum = new (std::nothrow) CEnumPins(m_pFilter, this);
    return *ppEnum != nullptr ? S_OK : E_OUTOFMEMORY;
}

bool CEnumPins::AreWeOutOfSync() const {
    return m_pFilter->GetPinVersion() != m_Version;
}
