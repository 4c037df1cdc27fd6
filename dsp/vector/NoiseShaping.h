#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "dsp/vector/DitherRandom.h"

/// Quantising with dither and error feedback: the kernel behind DSP::DepthShaper.
///
/// All arithmetic inside is in steps of the word length. The scale is a power of two, so every rounding
/// falls as it does in units of full scale.
namespace DSP {

/// The feedback's taps: the sum of tap k times the error of k + 1 samples ago is added to a sample.
struct NoiseShapingTaps {
    static constexpr std::size_t kMaxOrder = 60;
    /// Two floats a tap, and two taps of zeros that the kernel reads behind the last.
    static constexpr std::size_t kLength = 2 * (kMaxOrder + 4);

    std::size_t uOrder = 0;                          ///< kMaxOrder at most
    alignas(16) std::array<float, kLength> pairs{};  ///< tap k at 2 k and 2 k + 1; zeros behind the last

    void Set(std::size_t k, float fTap) noexcept { pairs[2 * k] = pairs[2 * k + 1] = fTap; }
    float Tap(std::size_t k) const noexcept { return pairs[2 * k]; }
};

/// How the noise of a sample is made of random numbers.
enum class DitherNoise {
    kUniform,   ///< three draws a sample; noise is 2 * the third - 32767
    kHighPass,  ///< one draw a sample; noise is the number less the channel's one before
};

struct NoiseShapingMode {
    float fScale = 32768.0f;  ///< steps in 1.0, a power of two
    float fNoise = 0.0f;      ///< steps in one unit of a random number
    DitherNoise noise = DitherNoise::kHighPass;
    bool bLimit = false;          ///< limits the feedback and what a sample is moved by
    float fFeedbackLimit = 0.0f;  ///< steps
    float fMoveLimit = 0.0f;      ///< steps
};

struct NoiseShapingState {
    std::array<DitherRandom, 2> random;
    std::array<std::int32_t, 2> last{};  ///< each channel's last random number

    /// What past errors add to the samples to come: sample k ahead at 2 k for the left channel and 2 k + 1
    /// for the right. Each sum grows from the oldest error to the newest.
    alignas(16) std::array<float, NoiseShapingTaps::kLength> sums{};
};

/// A sample that is NaN or at least this great is read as 0: no error can come to be that is not finite.
inline constexpr float kNoiseShapingGreatest = 0x1p64f;

/// Quantises a block in place. Per channel, with x the sample in steps and e the feedback (limited first if
/// the mode says so):
///
///     v = x + e,  w = v + noise,  r = trunc(w + 0.5) or, below 0, trunc(w - 0.5)
///
/// With limits, a w further than the limit from x is set to x plus or minus the limit before rounding. r is
/// the output, v - r the error. A null right is mono; then the right half of the state means nothing.
///
/// The bits are those of the plain loop in float at every processor level, with the feedback summed from the
/// oldest error to the newest. They do not depend on how a stream is cut. Nothing allocates, locks or
/// throws. Any thread.
void ShapeNoise(const NoiseShapingTaps& taps, const NoiseShapingMode& mode, NoiseShapingState& state,
                float* left, float* right, std::size_t uFrames) noexcept;

/// The parts of one sample's way that the plain loop shares with the slower paths. -------------------------

inline float NoiseShapingRead(float fSample) noexcept {
    const bool bSound = fSample < kNoiseShapingGreatest && fSample > -kNoiseShapingGreatest;
    return bSound ? fSample : 0.0f;
}

/// Towards zero. From 2^23 on every float is whole. std::trunc gives the same value by a call.
inline float NoiseShapingTruncate(float x) noexcept {
    return x < 0x1p23f && x > -0x1p23f ? static_cast<float>(static_cast<std::int32_t>(x)) : x;
}

/// Enters a channel's newest error, and turns the sums to the next sample.
inline void NoiseShapingAdvance(const NoiseShapingTaps& taps, std::size_t uChannel, float fError,
                                NoiseShapingState& state) noexcept {
    float* const sums = state.sums.data() + uChannel;
    for (std::size_t k = 0; k < taps.uOrder; ++k) {
        sums[2 * k] = sums[2 * k + 2] + taps.Tap(k) * fError;
    }
}

}  // namespace DSP
