#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "apps/dxhost/SourcePlan.h"

namespace DxHost {

/// The streaming thread of a source: takes buffers from an allocator, fills them as the plan says, and hands
/// them to the next filter.
///
/// Threads: Start, Halt and SetPosition on the control thread; the rest of the world sees the one thread that
///          Start makes. It ends by itself after the end of the stream, and when a buffer or a receiver
///          refuses.
class Feeder {
public:
    Feeder() = default;
    ~Feeder() { Halt(); }
    Feeder(const Feeder&) = delete;
    Feeder& operator=(const Feeder&) = delete;

    /// While halted only.
    void SetPlan(SourcePlan plan);
    const SourcePlan& Plan() const noexcept { return m_plan; }
    /// Frames of the longest sample.
    std::uint32_t LongestBlock() const;

    /// The frame with which the next Start begins. While halted only.
    void SetPosition(std::uint64_t uFrame) { m_uStart = uFrame; }
    /// The first frame that has not been delivered yet.
    std::uint64_t Position() const noexcept { return m_uPosition; }

    void Start(IMemAllocator* allocator, IPin* peer, IMemInputPin* transport);
    /// Asks the thread to end after the sample in hand. Whoever calls Halt next has first made sure that no
    /// buffer and no receiver keeps it waiting.
    void RequestHalt() { m_bHalt = true; }
    void Halt();

    /// Waits until the thread has delivered all it will, for a plan without an end of stream. False after the
    /// milliseconds.
    bool WaitUntilFed(std::uint32_t uMilliseconds);
    /// What the receiver said to the last sample, or the allocator to the last request.
    HRESULT LastResult() const noexcept { return m_hrLast; }

private:
    void Run();
    HRESULT DeliverBlock(std::uint32_t uFrames);
    void Stamp(IMediaSample* sample, std::uint32_t uFrames);
    std::uint32_t NextBlock();
    const Mark* MarkHere() const;

    // Set-up: written while halted.
    SourcePlan m_plan;
    ComPtr<IMemAllocator> m_allocator;
    ComPtr<IPin> m_peer;
    ComPtr<IMemInputPin> m_transport;
    std::uint64_t m_uStart = 0;

    // State of the thread.
    std::thread m_thread;
    std::atomic<std::uint64_t> m_uPosition{0};
    std::atomic<bool> m_bHalt{false};
    std::atomic<HRESULT> m_hrLast{S_OK};
    std::size_t m_iBlock = 0;
    bool m_bFirst = true;
    /// How far the times have jumped from those of the position.
    std::int64_t m_nJump = 0;

    std::mutex m_lock;
    std::condition_variable m_fed;
    bool m_bFed = false;
};

}  // namespace DxHost
