#include "apps/dxhost/Feeder.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace DxHost {

void Feeder::SetPlan(SourcePlan plan) {
    m_plan = std::move(plan);
    m_uStart = 0;
    m_uPosition = 0;
}

std::uint32_t Feeder::LongestBlock() const {
    return std::max(1u, *std::max_element(m_plan.blocks.begin(), m_plan.blocks.end()));
}

void Feeder::Start(IMemAllocator* allocator, IPin* peer, IMemInputPin* transport) {
    Halt();
    m_allocator = allocator;
    m_peer = peer;
    m_transport = transport;
    m_uPosition = m_uStart;
    m_bHalt = false;
    m_hrLast = S_OK;
    m_iBlock = 0;
    m_bFirst = true;
    m_nJump = 0;
    m_bFed = false;
    m_thread = std::thread([this] { Run(); });
}

void Feeder::Halt() {
    m_bHalt = true;
    if (m_thread.joinable()) m_thread.join();
    m_allocator = nullptr;
    m_peer = nullptr;
    m_transport = nullptr;
}

void Feeder::Run() {
    const std::uint64_t uEnd = m_plan.sound.Frames();
    HRESULT hr = S_OK;
    while (hr == S_OK && m_uPosition < uEnd && !m_bHalt) {
        hr = DeliverBlock(NextBlock());
        m_hrLast = hr;
    }
    if (hr == S_OK && !m_bHalt && m_plan.bEndOfStream) m_hrLast = m_peer->EndOfStream();
    const std::lock_guard lock(m_lock);
    m_bFed = true;
    m_fed.notify_all();
}

const Mark* Feeder::MarkHere() const {
    for (const Mark& mark : m_plan.marks)
        if (mark.uFrame == m_uPosition) return &mark;
    return nullptr;
}

std::uint32_t Feeder::NextBlock() {
    std::uint64_t uEnd = m_plan.sound.Frames();
    for (const Mark& mark : m_plan.marks)
        if (mark.uFrame > m_uPosition) uEnd = std::min(uEnd, mark.uFrame);
    const std::uint32_t uWanted = m_plan.blocks[m_iBlock++ % m_plan.blocks.size()];
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(uWanted, uEnd - m_uPosition));
}

HRESULT Feeder::DeliverBlock(std::uint32_t uFrames) {
    ComPtr<IMediaSample> sample;
    HRESULT hr = m_allocator->GetBuffer(sample.GetAddressOf(), nullptr, nullptr, 0);
    if (FAILED(hr)) return hr;
    BYTE* target = nullptr;
    hr = sample->GetPointer(&target);
    if (FAILED(hr)) return hr;
    const std::uint32_t uFrameBytes = m_plan.sound.format.FrameBytes();
    const std::size_t uBytes = std::size_t{uFrames} * uFrameBytes;
    if (uBytes != 0) std::memcpy(target, m_plan.sound.bytes.data() + m_uPosition * uFrameBytes, uBytes);
    sample->SetActualDataLength(static_cast<long>(uBytes));
    Stamp(sample.Get(), uFrames);
    m_uPosition += uFrames;
    return m_transport->Receive(sample.Get());
}

void Feeder::Stamp(IMediaSample* sample, std::uint32_t uFrames) {
    const std::uint32_t uRate = m_plan.sound.format.uSampleRate;
    const std::uint64_t uPosition = m_uPosition;
    const Mark* const mark = MarkHere();
    if (mark && mark->jumpTo) m_nJump = *mark->jumpTo - m_plan.nStart - TimeOfFrame(uPosition, uRate);
    const std::int64_t nOffset = m_plan.nStart + m_nJump;
    REFERENCE_TIME nFrom = nOffset + TimeOfFrame(uPosition, uRate);
    REFERENCE_TIME nTo = nOffset + TimeOfFrame(uPosition + uFrames, uRate);
    sample->SetTime(m_plan.bTimes ? &nFrom : nullptr, m_plan.bTimes ? &nTo : nullptr);
    auto nMediaFrom = static_cast<LONGLONG>(uPosition);
    LONGLONG nMediaTo = nMediaFrom + uFrames;
    sample->SetMediaTime(m_plan.bMediaTimes ? &nMediaFrom : nullptr,
                         m_plan.bMediaTimes ? &nMediaTo : nullptr);
    sample->SetSyncPoint(TRUE);
    sample->SetPreroll(mark && mark->bPreroll);
    sample->SetDiscontinuity(m_bFirst || (mark && mark->jumpTo));
    m_bFirst = false;
}

bool Feeder::WaitUntilFed(std::uint32_t uMilliseconds) {
    std::unique_lock lock(m_lock);
    return m_fed.wait_for(lock, std::chrono::milliseconds(uMilliseconds), [this] { return m_bFed; });
}

}  // namespace DxHost
