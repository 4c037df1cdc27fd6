#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "PluginBase/Plugin.h"

namespace App {

/// Drives a plug-in over one stream as a real-time host does: block after block, each with its start time,
/// then the flush. What comes out is as long as what went in. With "Global: Delay Compensation" on it is also
/// aligned with it: the system delay is cut off the head and fetched at the end.
class StreamRenderer {
public:
    /// Fills up to uFrames frames and returns their number; fewer than asked is the end of the stream. A null
    /// right is mono.
    using Source = std::function<std::uint32_t(std::uint32_t uFrames, float* left, float* right)>;
    /// Takes frames; it may change the samples.
    using Sink = std::function<void(std::uint32_t uFrames, float* left, float* right)>;

    /// Blocks have the given lengths, in turn and over again; there is at least one, all above 0.
    StreamRenderer(Plugin& plugin, std::uint32_t uSampleRate, std::uint32_t uChannels,
                   std::vector<std::uint32_t> blocks);

    /// Renders the whole of the source, and uTailFrames frames of silence behind it.
    void Render(const Source& source, std::uint64_t uTailFrames, const Sink& sink);

    std::uint64_t FramesIn() const { return m_uFramesIn; }  ///< of the source
    std::uint64_t FramesOut() const { return m_uFramesOut; }
    std::uint32_t SystemDelay() const { return m_uSystemDelay; }  ///< at the end of the stream
    const MeterReadings& Meters() const { return m_meters; }      ///< at the end of the stream

private:
    std::uint32_t NextBlock();
    std::int64_t Position() const;
    float* Right(std::vector<float>& plane) const { return m_uChannels == 2 ? plane.data() : nullptr; }
    void Process(std::uint32_t uFrames, const Sink& sink);
    void FeedSilence(std::uint64_t uFrames, const Sink& sink);
    void Flush(std::uint64_t uWanted, const Sink& sink);

    Plugin& m_plugin;
    std::uint32_t m_uSampleRate;
    std::uint32_t m_uChannels;
    std::vector<std::uint32_t> m_blocks;
    std::size_t m_iBlock = 0;

    std::uint64_t m_uFed = 0;  ///< frames that the plug-in has been given
    std::uint64_t m_uFramesIn = 0;
    std::uint64_t m_uFramesOut = 0;
    std::uint32_t m_uSystemDelay = 0;
    MeterReadings m_meters;

    std::vector<float> m_inLeft, m_inRight, m_outLeft, m_outRight;  ///< as long as the longest block
};

}  // namespace App
