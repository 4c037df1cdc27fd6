#include "apps/dxhost/SinkPin.h"

#include <chrono>

namespace DxHost {

namespace {

Arrival Keep(IMediaSample& sample) {
    Arrival arrival;
    BYTE* data = nullptr;
    if (SUCCEEDED(sample.GetPointer(&data))) arrival.bytes.assign(data, data + sample.GetActualDataLength());
    REFERENCE_TIME nFrom = 0;
    REFERENCE_TIME nTo = 0;
    if (sample.GetTime(&nFrom, &nTo) == S_OK) arrival.time.emplace(nFrom, nTo);
    LONGLONG nMediaFrom = 0;
    LONGLONG nMediaTo = 0;
    if (sample.GetMediaTime(&nMediaFrom, &nMediaTo) == S_OK) arrival.mediaTime.emplace(nMediaFrom, nMediaTo);
    arrival.bSyncPoint = sample.IsSyncPoint() == S_OK;
    arrival.bPreroll = sample.IsPreroll() == S_OK;
    arrival.bDiscontinuity = sample.IsDiscontinuity() == S_OK;
    return arrival;
}

}  // namespace

void* SinkPin::FindInterface(REFIID riid) {
    return riid == IID_IMemInputPin ? static_cast<IMemInputPin*>(this) : nullptr;
}

bool SinkPin::Accepts(const AM_MEDIA_TYPE& type) const {
    AudioFormat format;
    return MediaType::Read(type, &format);
}

void SinkPin::BreakConnect() {
    m_allocator = nullptr;
}

// What arrived. -------------------------------------------------------------------------------------------

std::vector<Arrival> SinkPin::Arrivals() const {
    const std::lock_guard lock(m_lock);
    return m_arrivals;
}

std::vector<std::uint8_t> SinkPin::Bytes() const {
    const std::lock_guard lock(m_lock);
    std::vector<std::uint8_t> bytes;
    for (const Arrival& arrival : m_arrivals)
        bytes.insert(bytes.end(), arrival.bytes.begin(), arrival.bytes.end());
    return bytes;
}

std::uint32_t SinkPin::EndsOfStream() const {
    const std::lock_guard lock(m_lock);
    return m_uEnds;
}

std::uint32_t SinkPin::Flushes() const {
    const std::lock_guard lock(m_lock);
    return m_uFlushes;
}

void SinkPin::Clear() {
    const std::lock_guard lock(m_lock);
    m_arrivals.clear();
    m_uEnds = 0;
    m_uFlushes = 0;
}

bool SinkPin::WaitForSamples(std::uint64_t uSamples, std::uint32_t uMilliseconds) {
    std::unique_lock lock(m_lock);
    return m_changed.wait_for(lock, std::chrono::milliseconds(uMilliseconds),
                              [&] { return m_arrivals.size() >= uSamples || m_uEnds != 0; });
}

bool SinkPin::WaitForEnd(std::uint32_t uMilliseconds) {
    std::unique_lock lock(m_lock);
    return m_changed.wait_for(lock, std::chrono::milliseconds(uMilliseconds), [&] { return m_uEnds != 0; });
}

ALLOCATOR_PROPERTIES SinkPin::Buffers() const {
    ALLOCATOR_PROPERTIES properties{};
    if (m_allocator) m_allocator->GetProperties(&properties);
    return properties;
}

// States. -------------------------------------------------------------------------------------------------

void SinkPin::Activate() {
    const std::lock_guard lock(m_lock);
    m_bActive = true;
    m_bFlushing = false;
}

void SinkPin::Deactivate() {
    // Samples go back outside the lock: their release runs code of the allocator.
    std::vector<ComPtr<IMediaSample>> withheld;
    {
        const std::lock_guard lock(m_lock);
        m_bActive = false;
        withheld.swap(m_withheld);
        m_changed.notify_all();
    }
    if (m_allocator) m_allocator->Decommit();
}

STDMETHODIMP SinkPin::EndOfStream() {
    {
        const std::lock_guard lock(m_lock);
        if (m_bFlushing) return S_FALSE;
        ++m_uEnds;
        m_changed.notify_all();
    }
    m_onEnd();
    return S_OK;
}

STDMETHODIMP SinkPin::BeginFlush() {
    std::vector<ComPtr<IMediaSample>> withheld;
    const std::lock_guard lock(m_lock);
    m_bFlushing = true;
    withheld.swap(m_withheld);
    m_changed.notify_all();
    return S_OK;
}

STDMETHODIMP SinkPin::EndFlush() {
    const std::lock_guard lock(m_lock);
    m_bFlushing = false;
    ++m_uFlushes;
    m_uEnds = 0;
    return S_OK;
}

// Transport. ----------------------------------------------------------------------------------------------

STDMETHODIMP SinkPin::GetAllocator(IMemAllocator** ppAllocator) {
    if (!ppAllocator) return E_POINTER;
    *ppAllocator = nullptr;
    if (m_nBufferBytes == 0) return VFW_E_NO_ALLOCATOR;
    *ppAllocator = SinkAllocator::Create(m_nBufferBytes).Detach();
    return S_OK;
}

STDMETHODIMP SinkPin::NotifyAllocator(IMemAllocator* allocator, BOOL /*bReadOnly*/) {
    if (!allocator) return E_POINTER;
    m_allocator = allocator;
    return S_OK;
}

STDMETHODIMP SinkPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* /*properties*/) {
    return E_NOTIMPL;
}

STDMETHODIMP SinkPin::Receive(IMediaSample* sample) {
    if (!sample) return E_POINTER;
    Arrival arrival = Keep(*sample);
    std::unique_lock lock(m_lock);
    if (!m_bActive) return VFW_E_WRONG_STATE;
    if (m_bFlushing) return S_FALSE;
    if (m_hrAnswer != S_OK) return m_hrAnswer;
    arrival.uFlushes = m_uFlushes;
    m_arrivals.push_back(std::move(arrival));
    if (m_withheld.size() < m_uWithhold) m_withheld.emplace_back(sample);
    m_changed.notify_all();
    if (m_arrivals.size() > m_uBlockAfter) m_changed.wait(lock, [this] { return m_bFlushing || !m_bActive; });
    return m_bFlushing ? S_FALSE : m_bActive ? S_OK : VFW_E_WRONG_STATE;
}

STDMETHODIMP SinkPin::ReceiveMultiple(IMediaSample** samples, long nCount, long* pProcessed) {
    if (!samples || !pProcessed) return E_POINTER;
    for (*pProcessed = 0; *pProcessed < nCount; ++*pProcessed) {
        const HRESULT hr = Receive(samples[*pProcessed]);
        if (hr != S_OK) return hr;
    }
    return S_OK;
}

}  // namespace DxHost
