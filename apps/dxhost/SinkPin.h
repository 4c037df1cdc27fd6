#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "apps/dxhost/PinBase.h"
#include "apps/dxhost/SinkAllocator.h"

namespace DxHost {

/// One sample as it came.
struct Arrival {
    std::vector<std::uint8_t> bytes;
    /// Start and end in 100 ns units, and in frames.
    std::optional<std::pair<std::int64_t, std::int64_t>> time;
    std::optional<std::pair<std::int64_t, std::int64_t>> mediaTime;
    bool bSyncPoint = false;
    bool bPreroll = false;
    bool bDiscontinuity = false;
    /// How many flushes came before.
    std::uint32_t uFlushes = 0;
};

/// The sink's input pin: takes every plain audio format and keeps what arrives.
///
/// Threads: samples on the streaming thread; the rest anywhere.
class SinkPin final : public PinBase, public IMemInputPin {
public:
    /// `onEnd` is called on the streaming thread at every end of the stream, under no lock.
    SinkPin(IBaseFilter& filter, std::function<void()> onEnd)
        : PinBase(filter, PINDIR_INPUT, L"In"), m_onEnd(std::move(onEnd)) {}

    // What a test sets before it streams. ---------------------------------------------------------------

    /// The size of buffers that the pin's allocator gives whatever is asked for; 0 gives what is asked for.
    void SetBufferBytes(long nBytes) { m_nBufferBytes = nBytes; }
    /// From this sample on the pin holds the delivery up, until it is flushed or stopped.
    void BlockAfter(std::uint64_t uSamples) { m_uBlockAfter = uSamples; }
    /// The pin keeps this many samples, until it is flushed or stopped: their buffers are missing upstream.
    void Withhold(std::size_t uSamples) { m_uWithhold = uSamples; }
    /// Samples that arrive from now on are answered with this.
    void AnswerWith(HRESULT hr) { m_hrAnswer = hr; }

    // What arrived. -------------------------------------------------------------------------------------

    std::vector<Arrival> Arrivals() const;
    /// All bytes behind one another.
    std::vector<std::uint8_t> Bytes() const;
    std::uint32_t EndsOfStream() const;
    std::uint32_t Flushes() const;
    void Clear();
    /// Waits for a count of samples, or for the end of the stream. False after the milliseconds.
    bool WaitForSamples(std::uint64_t uSamples, std::uint32_t uMilliseconds);
    bool WaitForEnd(std::uint32_t uMilliseconds);
    /// What the upstream pin has agreed on.
    ALLOCATOR_PROPERTIES Buffers() const;

    // The filter's states. ------------------------------------------------------------------------------

    void Activate();
    void Deactivate();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override {
        return PinBase::QueryInterface(riid, ppv);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return PinBase::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return PinBase::Release(); }
    STDMETHODIMP EndOfStream() override;
    STDMETHODIMP BeginFlush() override;
    STDMETHODIMP EndFlush() override;

    // IMemInputPin
    STDMETHODIMP GetAllocator(IMemAllocator** ppAllocator) override;
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL bReadOnly) override;
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    STDMETHODIMP Receive(IMediaSample* sample) override;
    STDMETHODIMP ReceiveMultiple(IMediaSample** samples, long nCount, long* pProcessed) override;
    STDMETHODIMP ReceiveCanBlock() override { return S_OK; }

private:
    void* FindInterface(REFIID riid) override;
    bool Accepts(const AM_MEDIA_TYPE& type) const override;
    void BreakConnect() override;

    // Set-up.
    const std::function<void()> m_onEnd;
    std::atomic<long> m_nBufferBytes{0};
    std::atomic<std::uint64_t> m_uBlockAfter{UINT64_MAX};
    std::atomic<std::size_t> m_uWithhold{0};
    std::atomic<HRESULT> m_hrAnswer{S_OK};
    ComPtr<IMemAllocator> m_allocator;

    // What arrived, under the lock.
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Arrival> m_arrivals;
    std::vector<ComPtr<IMediaSample>> m_withheld;
    std::uint32_t m_uEnds = 0;
    std::uint32_t m_uFlushes = 0;
    bool m_bFlushing = false;
    bool m_bActive = false;
};

}  // namespace DxHost
