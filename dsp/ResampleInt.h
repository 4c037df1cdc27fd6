#pragma once

#include <vector>

#include "dsp/AudioProcessor.h"
#include "dsp/vector/MultiRateFir.h"

namespace DSP {

/// Changes the sample rate by a ratio of integers with a windowed-sinc filter.
///
/// The taps, for the factors U and D and the length N: for i = 0 .. N - 2
///
///     taps[i] = sinc((i - (N - 2) / 2) / max(U, D)) w[i],   scaled so that they sum to U
///
/// with sinc(x) = sin(pi x) / (pi x) and w the Kaiser window over N - 1 positions; the last tap is 0, so the
/// filter is symmetric about Delay(). The gain at DC is 1.
///
/// Delay:     Delay() samples at the high rate, U times the input's; the owner accounts for it.
/// Blocks:    input frames are taken D at a time: a count is a multiple of D, or its rest is left out. The
///            output does not depend on how the stream is cut.
/// Real time: Process neither allocates nor waits, at any length, once a block of that length has passed.
/// Threads:   as AudioProcessor; Design belongs to set-up.
class ResampleInt final : public AudioProcessor {
public:
    /// Designed with factors 1 and 1 and a single tap: a wire, until Design.
    ResampleInt();

    /// Computes the taps and resets. Factors 1 or more, a length of 2 or more; less is limited.
    void Design(int nUp, int nDown, int nLength, double fBeta);

    /// One filter a channel; as many outputs as inputs are written.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;

    /// nFrames counts input samples; each output gets nFrames * U / D. An output is its input itself or does
    /// not overlap it. Null outputs: in place, and the buffers hold whichever count is greater.
    void Process(float* const* inputs, int nFrames, float* const* outputs) override;

    /// For D = 1: the same samples of one channel, phase by phase: phases[p][i] is output U i + p.
    void ProcessPhases(int iChannel, const float* input, int nFrames, float* const* phases);

    void Reset() override;

    /// Keeps the history.
    void Grow(int nMaxFrames) override;

    int Up() const noexcept { return m_nUp; }
    int Down() const noexcept { return m_nDown; }
    /// N.
    int Length() const noexcept { return static_cast<int>(m_taps.size()); }
    const std::vector<float>& Taps() const noexcept { return m_taps; }
    /// N / 2 - 1, in samples of the high rate.
    int Delay() const noexcept { return Length() / 2 - 1; }

private:
    void BuildFilters();

    // Set-up: written by Design and Configure only.
    int m_nUp = 1;
    int m_nDown = 1;
    std::vector<float> m_taps;
    // State: Reset clears it.
    std::vector<MultiRateFir> m_filters;  // one a channel
};

}  // namespace DSP
