#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "dsp/CoefficientSet.h"

namespace DSP {

/// The analogue crossover: a bank of Linkwitz-Riley filters in a double buffer. A new design goes into one
/// coefficient set while the other plays on, and the two are cross-faded over 64 samples at 44.1 kHz, as many
/// milliseconds at every rate.
///
/// The fade takes each block's piece of the windows from their end: in a block of n frames with m left of the
/// fade it begins min(n, m) before the end. A fade over several short blocks thus repeats the last
/// pieces, and its samples depend on where blocks begin; without a fade they do not.
///
/// Delay:     none.
/// Threads:   one at a time, under the owner's lock.
/// Real time: only SetSampleRate allocates; designing does not.
/// NaN:       a NaN or an infinity in the input spoils the block that it stands in; the filters are then
///            cleared.
class AnalogCrossover {
public:
    static constexpr std::size_t kBands = CoefficientSet::kBands;
    using Cutoffs = CoefficientSet::Cutoffs;

    explicit AnalogCrossover(std::uint32_t uSampleRate) { SetSampleRate(uSampleRate); }

    /// Builds the windows for a rate in Hz and ends a fade at once. The filters stay as they are until the
    /// next design.
    void SetSampleRate(std::uint32_t uSampleRate);

    /// Designs into the set in force, in place and without a fade. Cutoffs out of order leave it alone.
    void Design(int nBands, const Cutoffs& cutoffs);

    /// Designs into the other set and fades to it. During a fade the set that is coming in is designed again
    /// in place, and the fade starts anew. Cutoffs out of order change nothing.
    void FadeTo(int nBands, const Cutoffs& cutoffs);

    /// Fills four bands a channel; see CoefficientSet.
    void Process(const float* left, const float* right, float* const* leftBands, float* const* rightBands,
                 int nFrames);

    /// Ends a fade and clears the delays of the set in force.
    void Reset();

    /// The set that plays, or is coming in.
    const CoefficientSet& Current() const { return m_sets[m_uCurrent]; }
    int FadeLength() const { return static_cast<int>(m_fadeIn.size()); }
    int FadeRemaining() const { return m_nFadeRemaining; }

private:
    void Fade(const float* left, const float* right, float* const* leftBands, float* const* rightBands,
              int nFrames);

    // Set-up: written by SetSampleRate only.
    std::uint32_t m_uSampleRate = 0;
    std::vector<float> m_fadeIn;
    std::vector<float> m_fadeOut;

    // Set-up and state: Design and FadeTo write the filters, Reset clears the delays in them.
    std::array<CoefficientSet, 2> m_sets;
    std::size_t m_uCurrent = 0;
    // State: Reset clears it.
    int m_nFadeRemaining = 0;

    // Scratch: the outgoing set's bands, left and then right.
    std::array<std::vector<float>, 2 * kBands> m_scratch;
};

}  // namespace DSP
