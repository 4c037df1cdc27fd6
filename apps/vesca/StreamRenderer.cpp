#include "apps/vesca/StreamRenderer.h"

#include <algorithm>
#include <utility>

namespace App {

namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;

}  // namespace

StreamRenderer::StreamRenderer(Plugin& plugin, std::uint32_t uSampleRate, std::uint32_t uChannels,
                               std::vector<std::uint32_t> blocks)
    : m_plugin(plugin), m_uSampleRate(uSampleRate), m_uChannels(uChannels), m_blocks(std::move(blocks)) {
    const std::uint32_t uLongest = *std::max_element(m_blocks.begin(), m_blocks.end());
    for (auto* plane : {&m_inLeft, &m_inRight, &m_outLeft, &m_outRight})
        plane->resize(uLongest);
}

std::uint32_t StreamRenderer::NextBlock() {
    return m_blocks[m_iBlock++ % m_blocks.size()];
}

std::int64_t StreamRenderer::Position() const {
    // In two pieces: the product of a long stream's frames and the ticks would not fit.
    const std::uint64_t uSeconds = m_uFed / m_uSampleRate;
    const std::uint64_t uRest = m_uFed % m_uSampleRate;
    return static_cast<std::int64_t>(uSeconds * kTicksPerSecond + uRest * kTicksPerSecond / m_uSampleRate);
}

void StreamRenderer::Process(std::uint32_t uFrames, const Sink& sink) {
    // Automation may have sent work to another thread in the block before: waiting for it here makes a render
    // a function of its command and not of the machine's load.
    m_plugin.FinishBackgroundWork();
    m_plugin.SetBlockStart(Position());
    const std::uint32_t uProduced =
        m_plugin.Process(uFrames, m_inLeft.data(), Right(m_inRight), m_outLeft.data(), Right(m_outRight));
    m_uFed += uFrames;
    m_uFramesOut += uProduced;
    if (uProduced != 0) sink(uProduced, m_outLeft.data(), Right(m_outRight));
}

void StreamRenderer::FeedSilence(std::uint64_t uFrames, const Sink& sink) {
    while (uFrames != 0) {
        const auto uBlock = static_cast<std::uint32_t>(std::min<std::uint64_t>(NextBlock(), uFrames));
        std::fill_n(m_inLeft.begin(), uBlock, 0.0f);
        std::fill_n(m_inRight.begin(), uBlock, 0.0f);
        Process(uBlock, sink);
        uFrames -= uBlock;
    }
}

/// Fetches what still stands in the chain, up to uWanted frames of output in all.
void StreamRenderer::Flush(std::uint64_t uWanted, const Sink& sink) {
    Transform& transform = m_plugin.GetTransform();
    std::vector<float> left;
    std::vector<float> right;
    const std::uint32_t uDelay = transform.SystemDelay();
    // A stream shorter than the delay has not filled the head yet: the rest of the head comes first.
    const std::uint32_t uHead = uDelay - std::min(transform.DelayTrimmed(), uDelay);
    transform.SetStreamPosition(Position());
    const std::uint32_t uFlushed = transform.Flush(left, m_uChannels == 2 ? &right : nullptr);
    if (uFlushed <= uHead || m_uFramesOut >= uWanted) return;
    const auto uKept =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(uFlushed - uHead, uWanted - m_uFramesOut));
    m_uFramesOut += uKept;
    sink(uKept, left.data() + uHead, m_uChannels == 2 ? right.data() + uHead : nullptr);
}

void StreamRenderer::Render(const Source& source, std::uint64_t uTailFrames, const Sink& sink) {
    m_plugin.GetTransform().SetChannels(m_uChannels, m_uChannels);
    m_plugin.FinishBackgroundWork();
    m_plugin.BeginStreaming(m_uSampleRate);

    for (bool bMore = true; bMore;) {
        const std::uint32_t uBlock = NextBlock();
        const std::uint32_t uRead = source(uBlock, m_inLeft.data(), Right(m_inRight));
        bMore = uRead == uBlock;
        m_uFramesIn += uRead;
        if (uRead != 0) Process(uRead, sink);
    }
    FeedSilence(uTailFrames, sink);
    const std::uint64_t uWanted = m_uFramesIn + uTailFrames;
    Flush(uWanted, sink);
    // Automation that switches the chain's delay or its bypass in mid-stream has the head trimmed again, and
    // the flush brings back only one delay.
    while (m_uFramesOut < uWanted)
        FeedSilence(uWanted - m_uFramesOut, sink);

    m_uSystemDelay = m_plugin.GetTransform().SystemDelay();
    m_meters = m_plugin.GetTransform().ReadMeters();
    m_plugin.EndStreaming();
}

}  // namespace App
