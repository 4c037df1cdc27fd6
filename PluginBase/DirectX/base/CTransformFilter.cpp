#include "PluginBase/DirectX/base/CTransformFilter.h"

#include <new>

#include "PluginBase/DirectX/base/CTransformInputPin.h"
#include "PluginBase/DirectX/base/CTransformOutputPin.h"

CTransformFilter::CTransformFilter(LPCTSTR pObjectName, LPUNKNOWN pUnk, REFCLSID clsid)
    : CBaseFilter(pObjectName, pUnk, &m_csFilter, clsid) {}

CTransformFilter::~CTransformFilter() {
    delete m_pInput;
    delete m_pOutput;
}

int CTransformFilter::GetPinCount() {
    return 2;
}

CBasePin* CTransformFilter::GetPin(int n) {
    if (m_pInput == nullptr || m_pOutput == nullptr) CreatePins();
    if (n == 0) return m_pInput;
    return n == 1 ? m_pOutput : nullptr;
}

void CTransformFilter::CreatePins() {
    const CAutoLock filterLock(&m_csFilter);
    HRESULT hr = NOERROR;
    if (m_pInput == nullptr)
        m_pInput = new (std::nothrow) CTransformInputPin(TEXT("Transform input"), this, &hr, L"In");
    if (m_pOutput == nullptr)
        m_pOutput = new (std::nothrow) CTransformOutputPin(TEXT("Transform output"), this, &hr, L"Out");
    if (SUCCEEDED(hr) && m_pInput != nullptr && m_pOutput != nullptr) return;
    // One pin alone is of no use. The next call tries again.
    delete m_pInput;
    delete m_pOutput;
    m_pInput = nullptr;
    m_pOutput = nullptr;
}

STDMETHODIMP CTransformFilter::FindPin(LPCWSTR Id, IPin** ppPin) {
    if (Id == nullptr || ppPin == nullptr) return E_POINTER;
    *ppPin = nullptr;
    if (lstrcmpW(Id, L"In") == 0)
        *ppPin = GetPin(0);
    else if (lstrcmpW(Id, L"Out") == 0)
        *ppPin = GetPin(1);
    if (*ppPin == nullptr) return VFW_E_NOT_FOUND;
    (*ppPin)->AddRef();
    return S_OK;
}

BOOL CTransformFilter::BothConnected() const {
    return m_pInput != nullptr && m_pOutput != nullptr && m_pInput->IsConnected() && m_pOutput->IsConnected();
}

STDMETHODIMP CTransformFilter::Stop() {
    const CAutoLock filterLock(&m_csFilter);
    if (m_State == State_Stopped) return NOERROR;
    if (!m_bStreaming) {
        m_State = State_Stopped;
        m_bEOSDelivered = false;
        return NOERROR;
    }
    // A sample on its way may wait for a buffer while it holds the receive lock: this lets it go.
    m_pInput->Inactive();
    m_pOutput->Inactive();
    const CAutoLock receiveLock(&m_csReceive);
    const HRESULT hr = StopStreaming();
    m_bStreaming = false;
    m_State = State_Stopped;
    m_bEOSDelivered = false;
    return hr;
}

STDMETHODIMP CTransformFilter::Pause() {
    const CAutoLock filterLock(&m_csFilter);
    if (m_State == State_Stopped && BothConnected()) {
        const CAutoLock receiveLock(&m_csReceive);
        HRESULT hr = StartStreaming();
        if (FAILED(hr)) return hr;
        hr = CBaseFilter::Pause();
        if (FAILED(hr)) {
            StopStreaming();
            return hr;
        }
        m_bStreaming = true;
        m_bSampleSkipped = false;
        m_bQualityChanged = false;
        return hr;
    }
    if (m_State == State_Stopped && m_pOutput != nullptr && m_pOutput->IsConnected() && !m_bEOSDelivered) {
        // Nothing will ever come: downstream waits for the end of a stream that has no beginning.
        m_pOutput->DeliverEndOfStream();
        m_bEOSDelivered = true;
    }
    m_State = State_Paused;
    return NOERROR;
}

HRESULT CTransformFilter::Transform(IMediaSample*, IMediaSample*) {
    return E_UNEXPECTED;
}

HRESULT CTransformFilter::SetMediaType(PIN_DIRECTION, const CMediaType*) {
    return NOERROR;
}

HRESULT CTransformFilter::CheckConnect(PIN_DIRECTION, IPin*) {
    return NOERROR;
}

HRESULT CTransformFilter::BreakConnect(PIN_DIRECTION) {
    return NOERROR;
}

HRESULT CTransformFilter::CompleteConnect(PIN_DIRECTION, IPin*) {
    return NOERROR;
}

HRESULT CTransformFilter::Receive(IMediaSample* pSample) {
    // What is no media passes by.
    if (m_pInput->SampleProps()->dwStreamId != AM_STREAM_MEDIA) return m_pOutput->Deliver(pSample);

    IMediaSample* pOut = nullptr;
    HRESULT hr = InitializeOutputSample(pSample, &pOut);
    if (FAILED(hr)) return hr;
    hr = Transform(pSample, pOut);
    if (hr == S_OK) {
        hr = m_pOutput->Deliver(pOut);
        m_bSampleSkipped = false;
    } else if (hr == S_FALSE) {
        m_bSampleSkipped = true;
        if (!m_bQualityChanged) {
            NotifyEvent(EC_QUALITY_CHANGE, 0, 0);
            m_bQualityChanged = true;
        }
        // S_FALSE would tell upstream that no more samples are wanted.
        hr = S_OK;
    }
    pOut->Release();
    return hr;
}

HRESULT CTransformFilter::InitializeOutputSample(IMediaSample* pSample, IMediaSample** ppOutSample) {
    AM_SAMPLE2_PROPERTIES& props = *m_pInput->SampleProps();
    const bool bStart = (props.dwSampleFlags & AM_SAMPLE_TIMEVALID) != 0;
    const bool bStop = (props.dwSampleFlags & AM_SAMPLE_STOPVALID) != 0;
    DWORD dwFlags = m_bSampleSkipped ? AM_GBF_PREVFRAMESKIPPED : 0;
    if ((props.dwSampleFlags & AM_SAMPLE_SPLICEPOINT) == 0) dwFlags |= AM_GBF_NOTASYNCPOINT;

    IMediaSample* pOut = nullptr;
    const HRESULT hr = m_pOutput->GetDeliveryBuffer(&pOut, bStart ? &props.tStart : nullptr,
                                                    bStart && bStop ? &props.tStop : nullptr, dwFlags);
    if (FAILED(hr)) return hr;

    // Every property is set, also to "none": buffers come back with what their last use left in them.
    pOut->SetTime(bStart ? &props.tStart : nullptr, bStart && bStop ? &props.tStop : nullptr);
    pOut->SetSyncPoint((props.dwSampleFlags & AM_SAMPLE_SPLICEPOINT) != 0);
    pOut->SetPreroll((props.dwSampleFlags & AM_SAMPLE_PREROLL) != 0);
    pOut->SetDiscontinuity(m_bSampleSkipped || (props.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY) != 0);
    LONGLONG nMediaStart = 0;
    LONGLONG nMediaEnd = 0;
    const bool bMediaTime = pSample->GetMediaTime(&nMediaStart, &nMediaEnd) == NOERROR;
    pOut->SetMediaTime(bMediaTime ? &nMediaStart : nullptr, bMediaTime ? &nMediaEnd : nullptr);
    *ppOutSample = pOut;
    return NOERROR;
}

HRESULT CTransformFilter::EndOfStream() {
    return m_pOutput->DeliverEndOfStream();
}

HRESULT CTransformFilter::BeginFlush() {
    return m_pOutput->DeliverBeginFlush();
}

HRESULT CTransformFilter::EndFlush() {
    return m_pOutput->DeliverEndFlush();
}

HRESULT CTransformFilter::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    return m_pOutput->DeliverNewSegment(tStart, tStop, dRate);
}
