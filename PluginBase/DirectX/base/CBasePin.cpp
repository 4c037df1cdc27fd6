#include "PluginBase/DirectX/base/CBasePin.h"

#include <algorithm>
#include <cwchar>
#include <new>

#include "PluginBase/DirectX/base/CBaseFilter.h"
#include "PluginBase/DirectX/base/CEnumMediaTypes.h"

namespace {

/// What CheckMediaType's answer means for a connection: anything but S_OK refuses, and the plain refusals say
/// no more than that the type is not wanted.
HRESULT TypeVerdict(HRESULT hr) {
    if (hr == S_OK) return S_OK;
    return SUCCEEDED(hr) || hr == E_FAIL || hr == E_INVALIDARG ? VFW_E_TYPE_NOT_ACCEPTED : hr;
}

/// Whether a failure says more than that a type was not wanted.
bool IsTelling(HRESULT hr) {
    return FAILED(hr) && hr != E_FAIL && hr != E_INVALIDARG && hr != VFW_E_TYPE_NOT_ACCEPTED;
}

}  // namespace

CBasePin::CBasePin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr, LPCWSTR pName,
                   PIN_DIRECTION dir)
    : CUnknown(pObjectName, nullptr), m_dir(dir), m_pLock(pLock), m_pFilter(pFilter) {
    const std::size_t uLength = pName != nullptr ? std::wcslen(pName) : 0;
    m_pName = new (std::nothrow) WCHAR[uLength + 1]();
    if (m_pName != nullptr)
        std::copy_n(pName, uLength, m_pName);
    else if (phr != nullptr)
        *phr = E_OUTOFMEMORY;
}

CBasePin::~CBasePin() {
    if (m_Connected != nullptr) m_Connected->Release();
    delete[] m_pName;
}

STDMETHODIMP CBasePin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IPin) return GetInterface(static_cast<IPin*>(this), ppv);
    if (riid == IID_IQualityControl) return GetInterface(static_cast<IQualityControl*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingAddRef() {
    return m_pFilter->AddRef();
}

STDMETHODIMP_(ULONG) CBasePin::NonDelegatingRelease() {
    return m_pFilter->Release();
}

STDMETHODIMP CBasePin::Connect(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) {
    if (pReceivePin == nullptr) return E_POINTER;
    const CAutoLock lock(m_pLock);
    if (m_Connected != nullptr) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped() && !m_bCanReconnectWhenActive) return VFW_E_NOT_STOPPED;
    if (pmt == nullptr) return AgreeMediaType(pReceivePin, nullptr);
    HRESULT hr = NOERROR;
    const CMediaType type(*pmt, &hr);
    return FAILED(hr) ? hr : AgreeMediaType(pReceivePin, &type);
}

HRESULT CBasePin::AgreeMediaType(IPin* pReceivePin, const CMediaType* pmt) {
    if (pmt != nullptr && !pmt->IsPartiallySpecified()) return AttemptConnection(pReceivePin, pmt);
    HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
    for (const bool bMine : {m_bTryMyTypesFirst, !m_bTryMyTypesFirst}) {
        IEnumMediaTypes* pEnum = nullptr;
        if (FAILED(bMine ? EnumMediaTypes(&pEnum) : pReceivePin->EnumMediaTypes(&pEnum))) continue;
        const HRESULT hr = TryMediaTypes(pReceivePin, pmt, pEnum);
        pEnum->Release();
        if (SUCCEEDED(hr)) return NOERROR;
        if (failure == VFW_E_NO_ACCEPTABLE_TYPES) failure = hr;
    }
    return failure;
}

HRESULT CBasePin::TryMediaTypes(IPin* pReceivePin, const CMediaType* pmt, IEnumMediaTypes* pEnum) {
    HRESULT failure = VFW_E_NO_ACCEPTABLE_TYPES;
    pEnum->Reset();
    AM_MEDIA_TYPE* pOffer = nullptr;
    while (pEnum->Next(1, &pOffer, nullptr) == S_OK) {
        HRESULT hr = NOERROR;
        const CMediaType type(*pOffer, &hr);
        DeleteMediaType(pOffer);
        if (FAILED(hr)) return hr;
        if (pmt != nullptr && !type.MatchesPartial(pmt)) continue;
        hr = AttemptConnection(pReceivePin, &type);
        if (SUCCEEDED(hr)) return NOERROR;
        if (failure == VFW_E_NO_ACCEPTABLE_TYPES && IsTelling(hr)) failure = hr;
    }
    return failure;
}

HRESULT CBasePin::AttemptConnection(IPin* pReceivePin, const CMediaType* pmt) {
    HRESULT hr = CheckConnect(pReceivePin);
    if (SUCCEEDED(hr)) hr = TypeVerdict(CheckMediaType(pmt));
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    // Connected from here on: the other side may ask this pin while it decides.
    m_Connected = pReceivePin;
    m_Connected->AddRef();
    hr = SetMediaType(pmt);
    if (SUCCEEDED(hr)) {
        hr = pReceivePin->ReceiveConnection(this, pmt);
        if (SUCCEEDED(hr)) {
            hr = CompleteConnect(pReceivePin);
            if (FAILED(hr)) pReceivePin->Disconnect();
        }
    }
    if (FAILED(hr)) AbandonConnection();
    return hr;
}

STDMETHODIMP CBasePin::ReceiveConnection(IPin* pConnector, const AM_MEDIA_TYPE* pmt) {
    if (pConnector == nullptr || pmt == nullptr) return E_POINTER;
    const CAutoLock lock(m_pLock);
    if (m_Connected != nullptr) return VFW_E_ALREADY_CONNECTED;
    if (!IsStopped() && !m_bCanReconnectWhenActive) return VFW_E_NOT_STOPPED;

    HRESULT hr = NOERROR;
    const CMediaType type(*pmt, &hr);
    if (FAILED(hr)) return hr;
    hr = CheckConnect(pConnector);
    if (SUCCEEDED(hr)) hr = TypeVerdict(CheckMediaType(&type));
    if (FAILED(hr)) {
        BreakConnect();
        return hr;
    }
    m_Connected = pConnector;
    m_Connected->AddRef();
    hr = SetMediaType(&type);
    if (SUCCEEDED(hr)) hr = CompleteConnect(pConnector);
    if (FAILED(hr)) AbandonConnection();
    return hr;
}

void CBasePin::AbandonConnection() {
    BreakConnect();
    m_Connected->Release();
    m_Connected = nullptr;
    m_mt.InitMediaType();
}

STDMETHODIMP CBasePin::Disconnect() {
    const CAutoLock lock(m_pLock);
    if (!IsStopped()) return VFW_E_NOT_STOPPED;
    return DisconnectInternal();
}

HRESULT CBasePin::DisconnectInternal() {
    if (m_Connected == nullptr) return S_FALSE;
    const HRESULT hr = BreakConnect();
    if (FAILED(hr)) return hr;
    m_Connected->Release();
    m_Connected = nullptr;
    m_mt.InitMediaType();
    return S_OK;
}

STDMETHODIMP CBasePin::ConnectedTo(IPin** pPin) {
    if (pPin == nullptr) return E_POINTER;
    // The connection is made and ended by the control thread that also asks; streaming threads ask only while
    // it stands. The filter lock would make them wait for a Stop that waits for them.
    *pPin = m_Connected;
    if (*pPin == nullptr) return VFW_E_NOT_CONNECTED;
    (*pPin)->AddRef();
    return S_OK;
}

STDMETHODIMP CBasePin::ConnectionMediaType(AM_MEDIA_TYPE* pmt) {
    if (pmt == nullptr) return E_POINTER;
    const CAutoLock lock(m_pLock);
    if (m_Connected != nullptr) return CopyMediaType(pmt, &m_mt);
    *pmt = AM_MEDIA_TYPE{};
    return VFW_E_NOT_CONNECTED;
}

STDMETHODIMP CBasePin::QueryPinInfo(PIN_INFO* pInfo) {
    if (pInfo == nullptr) return E_POINTER;
    pInfo->pFilter = m_pFilter;
    m_pFilter->AddRef();
    lstrcpynW(pInfo->achName, m_pName, MAX_PIN_NAME);
    pInfo->dir = m_dir;
    return NOERROR;
}

STDMETHODIMP CBasePin::QueryDirection(PIN_DIRECTION* pPinDir) {
    if (pPinDir == nullptr) return E_POINTER;
    *pPinDir = m_dir;
    return NOERROR;
}

STDMETHODIMP CBasePin::QueryId(LPWSTR* Id) {
    return CopyToTaskMemory(m_pName, Id);
}

HRESULT CBasePin::CopyToTaskMemory(LPCWSTR text, LPWSTR* pCopy) {
    if (pCopy == nullptr) return E_POINTER;
    const std::size_t uSize = std::wcslen(text) + 1;
    *pCopy = static_cast<LPWSTR>(CoTaskMemAlloc(uSize * sizeof(WCHAR)));
    if (*pCopy == nullptr) return E_OUTOFMEMORY;
    std::copy_n(text, uSize, *pCopy);
    return NOERROR;
}

STDMETHODIMP CBasePin::QueryAccept(const AM_MEDIA_TYPE* pmt) {
    if (pmt == nullptr) return E_POINTER;
    HRESULT hr = NOERROR;
    const CMediaType type(*pmt, &hr);
    if (FAILED(hr)) return hr;
    return CheckMediaType(&type) == S_OK ? S_OK : S_FALSE;
}

STDMETHODIMP CBasePin::EnumMediaTypes(IEnumMediaTypes** ppEnum) {
    if (ppEnum == nullptr) return E_POINTER;
    *ppEnum = new (std::nothrow) CEnumMediaTypes(this, nullptr);
    return *ppEnum != nullptr ? NOERROR : E_OUTOFMEMORY;
}

STDMETHODIMP CBasePin::QueryInternalConnections(IPin**, ULONG*) {
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::EndOfStream() {
    return S_OK;
}

STDMETHODIMP CBasePin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    m_tStart = tStart;
    m_tStop = tStop;
    m_dRate = dRate;
    return S_OK;
}

STDMETHODIMP CBasePin::Notify(IBaseFilter*, Quality) {
    return E_NOTIMPL;
}

STDMETHODIMP CBasePin::SetSink(IQualityControl* piqc) {
    const CAutoLock lock(m_pLock);
    m_pQSink = piqc;
    return NOERROR;
}

BOOL CBasePin::IsStopped() const {
    return m_pFilter->IsStopped();
}

HRESULT CBasePin::Inactive() {
    m_bRunTimeError = false;
    return NOERROR;
}

HRESULT CBasePin::Run(REFERENCE_TIME) {
    return NOERROR;
}

HRESULT CBasePin::SetMediaType(const CMediaType* pmt) {
    return m_mt.Set(*pmt);
}

HRESULT CBasePin::CheckConnect(IPin* pPin) {
    PIN_DIRECTION other = m_dir;
    const HRESULT hr = pPin->QueryDirection(&other);
    if (FAILED(hr)) return hr;
    return other == m_dir ? VFW_E_INVALID_DIRECTION : NOERROR;
}

HRESULT CBasePin::CompleteConnect(IPin*) {
    return NOERROR;
}

HRESULT CBasePin::GetMediaType(int iPosition, CMediaType*) {
    return iPosition < 0 ? E_INVALIDARG : VFW_S_NO_MORE_ITEMS;
}
