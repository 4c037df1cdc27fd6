#pragma once

#include <cstdint>
#include <vector>

#include "dsp/ReverbFilter.h"
#include "dsp/vector/Iir.h"
#include "hvBase/Util/Relaxed.h"

namespace DSP {

/// What a room is made to sound like.
struct RoomShape {
    float fSize = 0.8f;        ///< the share of the stored impulse that is kept, 0 to 1
    float fDamping = 0.73f;    ///< 0.7 leaves the highs alone; above they decay sooner, below later
    float fPreDelayMs = 0.0f;  ///< before the first sound
    float fWidth = 1.0f;       ///< 0 left alone in the middle, 1 as stored, above that wider
    ReverbCutoffs cutoffs;

    bool operator==(const RoomShape&) const = default;
};

/// Makes the impulse of a room from a stored one, at any sample rate.
///
/// In this order, in float, where whatever is below 1e-10 becomes 0:
///
///     the stored impulse at the working rate (see ImpulseResampler)
///     its first n = int(frames * size + 0.49) frames, at least 2, faded out along half a cosine
///     width: left and right are mixed with 1 + width and 1 - width, scaled to equal energy
///     damping: a one-pole low-pass, run forwards and backwards, splits off the highs above some 6 kHz;
///         they are multiplied by a curve over time and put back
///     the pre-delay's zeros in front
///     the low cut and the high cut, one after the other
///
/// What lies behind the n frames is gone, and the filters' tails end with the buffer.
///
/// Threads:   one at a time; no lock. All of it allocates: set-up, or the thread that rebuilds. Where memory
///            is reserved for the rate and the delay, Make does not.
/// Memory:    keeps the stored impulse, the resampled one, the damping curve and the result's.
class RoomImpulse {
public:
    /// Copies an impulse of nChannels, 1 or 2, channels. A frame count below 1 reads as 1.
    void Load(const float* const* channels, int nFrames, int nChannels, std::uint32_t uSampleRate);

    /// Makes the impulse for a rate in Hz. False if `stop` was seen to be true in between: then there is no
    /// impulse until the next call.
    bool Make(const RoomShape& shape, std::uint32_t uSampleRate, const Util::Relaxed<bool>& stop);

    /// Takes memory for any room with pre-delays up to the given one, and returns the longest impulse's
    /// length.
    int Reserve(std::uint32_t uSampleRate, float fMaxPreDelayMs);

    int Channels() const { return static_cast<int>(m_taps.size()); }
    int Length() const { return m_taps.empty() ? 0 : static_cast<int>(m_work[0].size()); }
    /// What Make made, until the next call: a pointer a channel.
    const std::vector<const float*>& Taps() const { return m_taps; }

private:
    void Resample(std::uint32_t uSampleRate);
    void BuildWindow(std::size_t uLength);
    void BuildDamping(std::size_t uLength, float fDamping);
    void ApplyWidth(float fWidth);
    void ApplyDamping(std::vector<float>& channel, std::uint32_t uSampleRate);
    void AddDelay(std::vector<float>& channel, float fMs, std::uint32_t uSampleRate) const;
    void ApplyCutoffs(std::vector<float>& channel, const ReverbCutoffs& cutoffs, std::uint32_t uSampleRate);

    using ChannelList = std::vector<std::vector<float>>;
    // Set-up: written by Load only.
    ChannelList m_stored;
    std::uint32_t m_uStoredRate = 44100;
    // Kept between two calls of Make.
    ChannelList m_resampled;
    std::uint32_t m_uResampledRate = 0;
    std::vector<float> m_window;
    std::vector<float> m_damping;  ///< of the highs, over time
    float m_fDampingOf = -1.0f;
    // The result.
    ChannelList m_work;
    std::vector<const float*> m_taps;  ///< none while there is no impulse
    // Scratch: means nothing between two calls.
    std::vector<float> m_low;
    std::vector<float> m_kaiser;
    IirCascade m_filter{ReverbTaps{1, 0, 0, 1, 0, 0}.data(), 1};
};

}  // namespace DSP
