#include "PluginBase/DirectX/base/CBaseOutputPin.h"

#include <algorithm>

#include "PluginBase/DirectX/base/CBaseFilter.h"

CBaseOutputPin::CBaseOutputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                               LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_OUTPUT) {}

CBaseOutputPin::~CBaseOutputPin() {
    if (m_pAllocator != nullptr) m_pAllocator->Release();
    if (m_pInputPin != nullptr) m_pInputPin->Release();
}

STDMETHODIMP CBaseOutputPin::EndOfStream() {
    return E_UNEXPECTED;
}

STDMETHODIMP CBaseOutputPin::BeginFlush() {
    return E_UNEXPECTED;
}

STDMETHODIMP CBaseOutputPin::EndFlush() {
    return E_UNEXPECTED;
}

HRESULT CBaseOutputPin::CheckConnect(IPin* pPin) {
    const HRESULT hr = CBasePin::CheckConnect(pPin);
    if (FAILED(hr)) return hr;
    void* pInput = nullptr;
    const HRESULT found = pPin->QueryInterface(IID_IMemInputPin, &pInput);
    if (FAILED(found)) return found;
    if (m_pInputPin != nullptr) m_pInputPin->Release();
    m_pInputPin = static_cast<IMemInputPin*>(pInput);
    return NOERROR;
}

HRESULT CBaseOutputPin::BreakConnect() {
    if (m_pAllocator != nullptr) {
        const HRESULT hr = m_pAllocator->Decommit();
        if (FAILED(hr)) return hr;
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    if (m_pInputPin != nullptr) {
        m_pInputPin->Release();
        m_pInputPin = nullptr;
    }
    return NOERROR;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin*) {
    return DecideAllocator(m_pInputPin, &m_pAllocator);
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pPin, IMemAllocator** ppAlloc) {
    *ppAlloc = nullptr;
    ALLOCATOR_PROPERTIES request = {};
    // Without wishes, whatever the other side may have left in the record counts for nothing.
    if (FAILED(pPin->GetAllocatorRequirements(&request))) request = {};
    request.cbAlign = std::max(request.cbAlign, 1L);

    HRESULT hr = pPin->GetAllocator(ppAlloc);
    if (SUCCEEDED(hr)) {
        hr = OfferAllocator(pPin, *ppAlloc, request);
        if (SUCCEEDED(hr)) return hr;
        (*ppAlloc)->Release();
        *ppAlloc = nullptr;
    }
    hr = InitAllocator(ppAlloc);
    if (FAILED(hr)) return hr;
    hr = OfferAllocator(pPin, *ppAlloc, request);
    if (FAILED(hr)) {
        (*ppAlloc)->Release();
        *ppAlloc = nullptr;
    }
    return hr;
}

HRESULT CBaseOutputPin::OfferAllocator(IMemInputPin* pPin, IMemAllocator* pAlloc,
                                       const ALLOCATOR_PROPERTIES& request) {
    // A copy: DecideBufferSize may write into it.
    ALLOCATOR_PROPERTIES wanted = request;
    HRESULT hr = DecideBufferSize(pAlloc, &wanted);
    if (FAILED(hr)) return hr;
    ALLOCATOR_PROPERTIES actual = {};
    hr = pAlloc->GetProperties(&actual);
    if (FAILED(hr)) return hr;
    if (actual.cBuffers < 1 || actual.cbBuffer < 1) return VFW_E_SIZENOTSET;
    return pPin->NotifyAllocator(pAlloc, FALSE);
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** ppAlloc) {
    void* pNew = nullptr;
    const HRESULT hr =
        CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator, &pNew);
    *ppAlloc = SUCCEEDED(hr) ? static_cast<IMemAllocator*>(pNew) : nullptr;
    return hr;
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** ppSample, REFERENCE_TIME* pStartTime,
                                          REFERENCE_TIME* pEndTime, DWORD dwFlags) {
    if (m_pAllocator == nullptr) return E_NOINTERFACE;
    return m_pAllocator->GetBuffer(ppSample, pStartTime, pEndTime, dwFlags);
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* pSample) {
    return m_pInputPin != nullptr ? m_pInputPin->Receive(pSample) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
    return m_Connected != nullptr ? m_Connected->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
    return m_Connected != nullptr ? m_Connected->BeginFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
    return m_Connected != nullptr ? m_Connected->EndFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    return m_Connected != nullptr ? m_Connected->NewSegment(tStart, tStop, dRate) : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::Active() {
    return m_pAllocator != nullptr ? m_pAllocator->Commit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Inactive() {
    m_bRunTimeError = false;
    return m_pAllocator != nullptr ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
}
