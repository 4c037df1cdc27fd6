#include "tests/directx/support/GraphFilters.h"

#include <algorithm>

namespace {

/// Any: no test creates these filters by identifier.
constexpr CLSID kSourceId = {0x2b6f5a10, 0x3c1d, 0x4e57, {0x9a, 0x61, 0x10, 0x52, 0xd4, 0x7e, 0x83, 0x01}};
constexpr CLSID kSinkId = {0x2b6f5a11, 0x3c1d, 0x4e57, {0x9a, 0x61, 0x10, 0x52, 0xd4, 0x7e, 0x83, 0x01}};

constexpr long kBufferBytes = 64;

}  // namespace

CMediaType PcmType(int nChannels, int nRate) {
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(nChannels);
    format.nSamplesPerSec = static_cast<DWORD>(nRate);
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(2 * nChannels);
    format.nAvgBytesPerSec = format.nBlockAlign * format.nSamplesPerSec;
    CMediaType type;
    CreateAudioMediaType(&format, &type, TRUE);
    return type;
}

Parcel Unpack(IMediaSample* pSample) {
    Parcel parcel;
    BYTE* pData = nullptr;
    pSample->GetPointer(&pData);
    parcel.bytes.assign(pData, pData + pSample->GetActualDataLength());
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const HRESULT hr = pSample->GetTime(&start, &stop);
    if (SUCCEEDED(hr)) parcel.start = start;
    if (hr == S_OK) parcel.stop = stop;
    if (pSample->GetMediaTime(&start, &stop) == S_OK) {
        parcel.mediaStart = start;
        parcel.mediaStop = stop;
    }
    parcel.bSyncPoint = pSample->IsSyncPoint() == S_OK;
    parcel.bPreroll = pSample->IsPreroll() == S_OK;
    parcel.bDiscontinuity = pSample->IsDiscontinuity() == S_OK;
    return parcel;
}

PushSource::PushSource(CMediaType type)
    : CBaseFilter(TEXT("Push source"), nullptr, &m_lock, kSourceId), m_type(type), m_pin(*this, &m_hr) {}

HRESULT PushSource::Push(const Parcel& parcel, const CMediaType* newType) {
    ComRef<IMediaSample> sample;
    const HRESULT hr = m_pin.GetDeliveryBuffer(sample.Out(), nullptr, nullptr, 0);
    if (FAILED(hr)) return hr;
    BYTE* pData = nullptr;
    sample->GetPointer(&pData);
    std::copy(parcel.bytes.begin(), parcel.bytes.end(), pData);
    sample->SetActualDataLength(static_cast<long>(parcel.bytes.size()));
    REFERENCE_TIME start = parcel.start.value_or(0);
    REFERENCE_TIME stop = parcel.stop.value_or(0);
    sample->SetTime(parcel.start ? &start : nullptr, parcel.stop ? &stop : nullptr);
    LONGLONG mediaStart = parcel.mediaStart.value_or(0);
    LONGLONG mediaStop = parcel.mediaStop.value_or(0);
    sample->SetMediaTime(parcel.mediaStart ? &mediaStart : nullptr, parcel.mediaStart ? &mediaStop : nullptr);
    sample->SetSyncPoint(parcel.bSyncPoint);
    sample->SetPreroll(parcel.bPreroll);
    sample->SetDiscontinuity(parcel.bDiscontinuity);
    if (newType != nullptr) {
        CMediaType type(*newType);
        sample->SetMediaType(&type);
    }
    PlainSample plain(sample.Get());
    return m_pin.Deliver(m_bPlain ? static_cast<IMediaSample*>(&plain) : sample.Get());
}

PushSource::OutputPin::OutputPin(PushSource& source, HRESULT* phr)
    : CBaseOutputPin(TEXT("Push source output"), &source, &source.m_lock, phr, L"Source"), m_source(source) {}

STDMETHODIMP PushSource::OutputPin::NonDelegatingQueryInterface(REFIID riid, void** ppv) {
    if (riid == IID_IMediaSeeking) return GetInterface(static_cast<IMediaSeeking*>(this), ppv);
    return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT PushSource::OutputPin::CheckMediaType(const CMediaType* pmt) {
    return *pmt == m_source.m_type ? S_OK : E_INVALIDARG;
}

HRESULT PushSource::OutputPin::GetMediaType(int iPosition, CMediaType* pMediaType) {
    if (iPosition != 0) return CBaseOutputPin::GetMediaType(iPosition, pMediaType);
    return pMediaType->Set(m_source.m_type);
}

HRESULT PushSource::OutputPin::DecideBufferSize(IMemAllocator* pAlloc, ALLOCATOR_PROPERTIES* pRequest) {
    pRequest->cBuffers = std::max(pRequest->cBuffers, 1L);
    pRequest->cbBuffer = std::max(pRequest->cbBuffer, kBufferBytes);
    ALLOCATOR_PROPERTIES actual = {};
    return pAlloc->SetProperties(pRequest, &actual);
}

STDMETHODIMP PushSource::OutputPin::Notify(IBaseFilter*, Quality q) {
    m_source.m_quality.push_back(q);
    return S_OK;
}

STDMETHODIMP PushSource::OutputPin::SetPositions(LONGLONG* pCurrent, DWORD, LONGLONG*, DWORD) {
    m_source.m_positions.push_back(*pCurrent);
    return S_OK;
}

KeepingSink::KeepingSink()
    : CBaseFilter(TEXT("Keeping sink"), nullptr, &m_lock, kSinkId), m_pin(*this, &m_hr) {}

void KeepingSink::Drop() {
    std::vector<ComRef<IMediaSample>> gone;
    const std::lock_guard lock(m_mutex);
    m_held.swap(gone);
}

void KeepingSink::Keep(IMediaSample* pSample) {
    const std::lock_guard lock(m_mutex);
    m_parcels.push_back(Unpack(pSample));
    if (m_bHold) m_held.emplace_back(pSample);
}

KeepingSink::InputPin::InputPin(KeepingSink& sink, HRESULT* phr)
    : CBaseInputPin(TEXT("Keeping sink input"), &sink, &sink.m_lock, phr, L"Sink"), m_sink(sink) {}

HRESULT KeepingSink::InputPin::CheckMediaType(const CMediaType* pmt) {
    return pmt->majortype == MEDIATYPE_Audio ? S_OK : S_FALSE;
}

STDMETHODIMP KeepingSink::InputPin::Receive(IMediaSample* pSample) {
    const HRESULT hr = CBaseInputPin::Receive(pSample);
    if (hr == S_OK) m_sink.Keep(pSample);
    return hr;
}

STDMETHODIMP KeepingSink::InputPin::EndOfStream() {
    ++m_sink.m_nEnds;
    return S_OK;
}

STDMETHODIMP KeepingSink::InputPin::NewSegment(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) {
    m_sink.m_segmentRates.push_back(dRate);
    return CBaseInputPin::NewSegment(tStart, tStop, dRate);
}

STDMETHODIMP KeepingSink::InputPin::BeginFlush() {
    const HRESULT hr = CBaseInputPin::BeginFlush();
    ++m_sink.m_nFlushes;
    m_sink.Drop();
    return hr;
}

HRESULT KeepingSink::InputPin::Inactive() {
    const HRESULT hr = CBaseInputPin::Inactive();
    m_sink.Drop();
    return hr;
}
