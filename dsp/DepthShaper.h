#pragma once

#include <array>
#include <cstdint>

#include "dsp/AudioProcessor.h"
#include "dsp/NoiseShapingFilter.h"
#include "dsp/vector/NoiseShaping.h"

namespace DSP {

/// What a DepthShaper is told, but for the filter.
struct DepthShaperSettings {
    std::int32_t nWordLength = 16;  ///< bits, 2 to 24
    float fNoiseAmount = 1.0f;      ///< steps: half of what the noise spans at most
    bool bHighPassNoise = true;     ///< the difference of successive random numbers, otherwise uniform
    bool bLimitPeaks = false;       ///< limits what shaping adds to a sample; with a filter of order above 0
    bool bAutoBlank = false;        ///< leaves long silence alone; with a filter of order above 0
    bool bKillHarmonics = false;    ///< dithers more where the signal lies between two steps
};

/// Quantises audio to a word length, with dither noise and error feedback. Samples stay floats, multiples of
/// step = 2^(1 - word length). Per channel, with x a sample, h the filter's taps and the error E of a sample
/// the value before dither less the output:
///
///     e = sum of h[k] E[n - 1 - k],  v = x + e,  w = v + noise,  output = step * nearest integer of w / step
///
/// Nearest is trunc(w / step + 0.5), or -0.5 below 0. So the output is x plus the total error through the
/// filter's noise transfer function (Lipshitz, Wannamaker and Vanderkooy, "Quantization and dither: a
/// theoretical survey", J. Audio Eng. Soc. 40, 1992).
///
/// Noise:     one random generator a channel, with a fixed start at every reset, so that a render repeats
///            exactly and the left channel does not know whether there is a right one. High-passed noise
///            draws one number a sample; uniform noise draws three and uses the third.
/// Limits:    with L = (peak + 0.499) steps, e is limited to L + 1 step and w to x plus or minus L.
/// Blanking:  a channel whose samples have stayed below a thousandth of half a step for 0.7 s is left as it
///            is until a sample is not. It begins at the sample of least magnitude among the 16 before,
///            behind which the block's samples become 0. A channel is blanked at reset.
/// Precision: float, in the stated order; e is summed from the oldest error to the newest.
/// Blocks:    the output does not depend on how a stream is cut, but for the moment at which blanking begins:
///            never on the first five samples of a block, and it looks back no further than the block goes.
/// NaN:       a NaN, an infinity or a sample from 2^64 up counts as silence, so nothing can stay behind.
/// Real time: nothing allocates after construction. At most two channels, any block length.
/// Delay:     none.
class DepthShaper final : public AudioProcessor {
public:
    DepthShaper();

    /// The state with which a channel's random generator starts, channel 0 or 1.
    static std::uint32_t Seed(std::size_t uChannel) noexcept;

    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;
    /// Hz; sets the time that blanking waits. Resets.
    void SetSampleRate(std::uint32_t uSampleRate) noexcept;
    /// A word length out of range is limited to it. Resets.
    void Set(const DepthShaperSettings& settings, const NoiseShapingFilter& filter) noexcept;

    void Process(float* const* inputs, int nFrames, float* const* outputs) override;
    void Reset() override { Clear(); }
    /// Blocks of any length need the same memory.
    void Grow(int nMaxFrames) override { m_nMaxFrames = nMaxFrames; }

private:
    static constexpr std::size_t kChannels = 2;

    struct Blanking {
        bool bBlanked = true;
        std::int64_t nSilence = 0;  ///< samples below the threshold in a row
    };

    void Clear() noexcept;
    bool IsSilent(float fSample) const noexcept;
    bool StaysAwake(std::size_t uChannel, const float* samples, std::size_t uFrames) noexcept;
    void ShapeAlone(std::size_t uChannel, float* samples, std::size_t uFrames) noexcept;
    bool Blank(std::size_t uChannel, float* samples, std::size_t i) noexcept;
    void ProcessChannel(std::size_t uChannel, float* samples, std::size_t uFrames) noexcept;
    float ShapeSample(std::size_t uChannel, float fSample) noexcept;
    float DrawNoise(std::size_t uChannel) noexcept;
    float HarmonicBias(std::size_t uChannel, float v) noexcept;

    // Set-up: written by SetSampleRate and Set only.
    NoiseShapingFilter m_filter;
    NoiseShapingMode m_mode;
    std::int64_t m_nHold = 0;  ///< samples
    float m_fSilence = 0.0f;   ///< what is below is silence
    float m_fBiasShare = 0.0f;
    bool m_bBlanks = false;
    bool m_bKillHarmonics = false;

    // State: Clear sets every member of this group.
    NoiseShapingState m_state;
    std::array<Blanking, kChannels> m_blanking;
    std::array<std::uint32_t, kChannels> m_toggles{};
};

}  // namespace DSP
