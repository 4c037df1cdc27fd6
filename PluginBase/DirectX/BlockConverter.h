#pragma once

#include <cstdint>
#include <vector>

#include "PluginBase/DirectX/StreamFormat.h"
#include "dsp/vector/HostFormat.h"

/// The way of a block from the host's interleaved buffer to the engine's planes and back, with the four
/// planes in between.
///
/// Threads:   Select while nothing streams; the rest on the streaming thread.
/// Real time: Resize allocates only for a block longer than every block before; nothing else allocates.
class BlockConverter {
public:
    /// Chooses the conversions for one connection. 0 channels on one side, which is not connected yet, count
    /// as those of the other. False, and not ready, if there are no such conversions.
    bool Select(const StreamFormat& format, std::uint32_t uInputChannels, std::uint32_t uOutputChannels);
    bool IsReady() const { return m_conversion.deinterleave != nullptr; }

    /// Bytes of a frame.
    std::uint32_t InputFrameSize() const { return m_uBytesPerSample * m_uInputChannels; }
    std::uint32_t OutputFrameSize() const { return m_uBytesPerSample * m_uOutputChannels; }

    /// Makes room for a block. The planes are twice as long.
    void Resize(std::uint32_t uFrames);

    /// Host to input planes, and output planes from a frame on to host.
    void Read(std::uint32_t uFrames, const void* host);
    void Write(std::uint32_t uFirst, std::uint32_t uFrames, void* host) const;

    float* InputLeft() { return m_inLeft.data(); }
    float* InputRight() { return m_uInputChannels == 2 ? m_inRight.data() : nullptr; }
    float* OutputLeft() { return m_outLeft.data(); }
    float* OutputRight() { return m_uOutputChannels == 2 ? m_outRight.data() : nullptr; }

    /// The output planes themselves, for what grows them; the right one is null if the chain runs mono.
    std::vector<float>& OutputLeftPlane() { return m_outLeft; }
    std::vector<float>* OutputRightPlane() {
        return m_uInputChannels == 2 && m_uOutputChannels == 2 ? &m_outRight : nullptr;
    }

private:
    // Set-up: written by Select only.
    DSP::HostConversion m_conversion;
    std::uint32_t m_uBytesPerSample = 0;
    std::uint32_t m_uInputChannels = 0;
    std::uint32_t m_uOutputChannels = 0;

    // Scratch: means nothing between two blocks. Never shrinks.
    std::vector<float> m_inLeft;
    std::vector<float> m_inRight;
    std::vector<float> m_outLeft;
    std::vector<float> m_outRight;
};
