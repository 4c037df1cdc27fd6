#pragma once

#include <cstdint>

#include "dsp/DelayLine.h"

namespace DSP {

/// Stereo width and the shift of one channel against the other, for one band.
///
/// Units:     width -1 (mono) to 1 (twice the side signal), 0 leaves the band as it is; no compensation for
///            level. Delay in ms: below 0 it holds the left channel back, above 0 the right.
/// Order:     first the delay, then the width: mid and side are taken of the delayed channels.
/// Blocks:    any length, in place; the output does not depend on how a stream is cut.
/// Threads:   under the owner's lock, all of it.
/// Real time: Process and Reset neither allocate nor wait. SetDelay allocates only beyond what was reserved.
/// Recovery:  nothing is fed back: a NaN or an infinity passes the delay and leaves.
class ImagerBand {
public:
    static constexpr float kMaxDelayMs = 30.0f;

    /// The length of the held-back channel's line for a time of 0 or more: rounded to nearest, halves away
    /// from zero, in single precision; at least 1. A line of length N delays by N - 1 samples.
    static int LineLength(float fDelayMs, std::uint32_t uSampleRate);

    /// Sets both lines and clears them.
    void SetDelay(float fDelayMs, std::uint32_t uSampleRate);
    void ReserveDelay(int nLength);

    /// Stereo only.
    void Process(float fWidth, std::int32_t nFrames, float* left, float* right) noexcept;

    void Reset() noexcept;

private:
    // State: Reset clears every member of this group.
    DelayLine m_left;
    DelayLine m_right;
};

}  // namespace DSP
