#include "PluginBase/DirectX/base/CBaseInputPin.h"

#include "PluginBase/DirectX/base/CBaseFilter.h"

CBaseInputPin::CBaseInputPin(LPCTSTR pObjectName, CBaseFilter* pFilter, CCritSec* pLock, HRESULT* phr,
                             LPCWSTR pName)
    : CBasePin(pObjectName, pFilter, pLock, phr, pName, PINDIR_INPUT) {}

CBaseInputPin::~CBaseInputPin() {
    if (m_pAllocator != nullptr) m_pAllocator->Release();
    FreeSampleType();
}

STDMETHODIMP CBaseInputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMemInputPin) return GetInterface(static_cast<IMemInputPin*>(this), ppv);
    return CBasePin::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseInputPin::GetAllocator(IMemAllocator** ppAllocator) {
    if (ppAllocator == nullptr) return E_POINTER;
    *ppAllocator = nullptr;
    const CAutoLock lock(m_pLock);
    if (m_pAllocator == nullptr) {
        void* pNew = nullptr;
        const HRESULT hr =
            CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator, &pNew);
        if (FAILED(hr)) return hr;
        m_pAllocator = static_cast<IMemAllocator*>(pNew);
    }
    m_pAllocator->AddRef();
    *ppAllocator = m_pAllocator;
    return NOERROR;
}

STDMETHODIMP CBaseInputPin::NotifyAllocator(IMemAllocator* pAllocator, BOOL bReadOnly) {
    if (pAllocator == nullptr) return E_POINTER;
    const CAutoLock lock(m_pLock);
    pAllocator->AddRef();
    if (m_pAllocator != nullptr) m_pAllocator->Release();
    m_pAllocator = pAllocator;
    m_bReadOnly = bReadOnly != FALSE;
    return NOERROR;
}

STDMETHODIMP CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) {
    return E_NOTIMPL;
}

STDMETHODIMP CBaseInputPin::Receive(IMediaSample* pSample) {
    if (pSample == nullptr) return E_POINTER;
    HRESULT hr = CheckStreaming();
    if (hr != S_OK) return hr;
    hr = ReadSampleProps(pSample);
    if (FAILED(hr)) return hr;
    return (m_SampleProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED) != 0 ? CheckTypeChange() : NOERROR;
}

HRESULT CBaseInputPin::CheckTypeChange() {
    HRESULT hr = NOERROR;
    {
        const CMediaType type(*m_SampleProps.pMediaType, &hr);
        if (SUCCEEDED(hr)) hr = CheckMediaType(&type);
    }
    if (hr == S_OK) return NOERROR;
    // The end of the stream first: with the error set, this pin would refuse it.
    EndOfStream();
    m_bRunTimeError = true;
    m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
}

HRESULT CBaseInputPin::ReadSampleProps(IMediaSample* pSample) {
    FreeSampleType();
    m_SampleProps = {};
    m_SampleProps.cbData = sizeof m_SampleProps;
    HRESULT hr = NOERROR;
    void* pSample2 = nullptr;
    if (SUCCEEDED(pSample->QueryInterface(IID_IMediaSample2, &pSample2))) {
        auto* pProperties = static_cast<IMediaSample2*>(pSample2);
        hr = pProperties->GetProperties(sizeof m_SampleProps, reinterpret_cast<BYTE*>(&m_SampleProps));
        pProperties->Release();
    } else {
        DWORD& flags = m_SampleProps.dwSampleFlags;
        if (pSample->IsSyncPoint() == S_OK) flags |= AM_SAMPLE_SPLICEPOINT;
        if (pSample->IsPreroll() == S_OK) flags |= AM_SAMPLE_PREROLL;
        if (pSample->IsDiscontinuity() == S_OK) flags |= AM_SAMPLE_DATADISCONTINUITY;
        const HRESULT hrTime = pSample->GetTime(&m_SampleProps.tStart, &m_SampleProps.tStop);
        if (SUCCEEDED(hrTime)) flags |= AM_SAMPLE_TIMEVALID;
        if (hrTime == S_OK) flags |= AM_SAMPLE_STOPVALID;
        if (pSample->GetMediaType(&m_pSampleType) == S_OK) flags |= AM_SAMPLE_TYPECHANGED;
        m_SampleProps.pMediaType = m_pSampleType;
        m_SampleProps.lActual = pSample->GetActualDataLength();
        m_SampleProps.cbBuffer = pSample->GetSize();
        hr = pSample->GetPointer(&m_SampleProps.pbBuffer);
    }
    if (m_SampleProps.pMediaType == nullptr)
        m_SampleProps.dwSampleFlags &= ~static_cast<DWORD>(AM_SAMPLE_TYPECHANGED);
    return hr;
}

void CBaseInputPin::FreeSampleType() {
    DeleteMediaType(m_pSampleType);
    m_pSampleType = nullptr;
}

STDMETHODIMP CBaseInputPin::ReceiveMultiple(IMediaSample** pSamples, long nSamples, long* nSamplesProcessed) {
    if (pSamples == nullptr || nSamplesProcessed == nullptr) return E_POINTER;
    for (*nSamplesProcessed = 0; *nSamplesProcessed < nSamples; ++*nSamplesProcessed) {
        const HRESULT hr = Receive(pSamples[*nSamplesProcessed]);
        if (hr != S_OK) return hr;
    }
    return S_OK;
}

STDMETHODIMP CBaseInputPin::ReceiveCanBlock() {
    int nOutputs = 0;
    for (int i = 0; i < m_pFilter->GetPinCount(); ++i) {
        CBasePin* pPin = m_pFilter->GetPin(i);
        if (pPin == nullptr || pPin->PinDirection() != PINDIR_OUTPUT || !pPin->IsConnected()) continue;
        ++nOutputs;
        void* pInput = nullptr;
        if (FAILED(pPin->GetConnected()->QueryInterface(IID_IMemInputPin, &pInput))) return S_OK;
        auto* pMemInput = static_cast<IMemInputPin*>(pInput);
        const HRESULT hr = pMemInput->ReceiveCanBlock();
        pMemInput->Release();
        if (hr != S_FALSE) return S_OK;
    }
    return nOutputs == 0 ? S_OK : S_FALSE;
}

STDMETHODIMP CBaseInputPin::BeginFlush() {
    const CAutoLock lock(m_pLock);
    m_bFlushing = true;
    return S_OK;
}

STDMETHODIMP CBaseInputPin::EndFlush() {
    const CAutoLock lock(m_pLock);
    m_bFlushing = false;
    m_bRunTimeError = false;
    return S_OK;
}

HRESULT CBaseInputPin::BreakConnect() {
    if (m_pAllocator != nullptr) {
        const HRESULT hr = m_pAllocator->Decommit();
        if (FAILED(hr)) return hr;
        m_pAllocator->Release();
        m_pAllocator = nullptr;
    }
    return S_OK;
}

HRESULT CBaseInputPin::Inactive() {
    m_bRunTimeError = false;
    m_bFlushing = false;
    return m_pAllocator != nullptr ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseInputPin::CheckStreaming() {
    if (IsStopped()) return VFW_E_WRONG_STATE;
    if (m_bFlushing) return S_FALSE;
    if (m_bRunTimeError) return VFW_E_RUNTIME_ERROR;
    return S_OK;
}

HRESULT CBaseInputPin::PassNotify(Quality& q) {
    if (m_pQSink != nullptr) return m_pQSink->Notify(m_pFilter, q);
    void* pUpstream = nullptr;
    if (m_Connected == nullptr || FAILED(m_Connected->QueryInterface(IID_IQualityControl, &pUpstream)))
        return VFW_E_NOT_FOUND;
    auto* pControl = static_cast<IQualityControl*>(pUpstream);
    const HRESULT hr = pControl->Notify(m_pFilter, q);
    pControl->Release();
    return hr;
}
