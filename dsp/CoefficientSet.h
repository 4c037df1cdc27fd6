#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "dsp/BandFilter.h"
#include "dsp/vector/BandBank.h"

namespace DSP {

/// One half of the analogue crossover's double buffer: the filters of up to four bands, their gains and
/// their delay lines. All bands are filtered from the same input; each filter is a fourth-order
/// Linkwitz-Riley pair, without delay.
///
///     band 0       lowpass at the first cutoff, or the input as it is when there is no cutoff to split at
///     between      lowpass at the upper cutoff, gain, highpass at the lower cutoff
///     top band     highpass at the last cutoff
///
/// Gains:     the display gain makes a band unity in its passband. The audio gain of a band between two
///            cutoffs is 1 + 6 / r^3 times that, r the ratio of the two: it lifts a narrow band, whose skirts
///            overlap. That lift is heard and not shown.
/// Cutoffs:   one at or above half the sample rate removes the band above it, which is then silent.
/// Threads:   one at a time, under the owner's lock. Nothing allocates, so that automation can design
///            on the audio thread.
/// NaN:       see BandBank; the owner asks IsFinite once a block.
class CoefficientSet {
public:
    static constexpr std::size_t kBands = BandBank::kBands;
    using Cutoffs = std::array<float, kBands - 1>;  ///< Hz

    /// The filters and gains of one band, the same in both channels.
    struct Band {
        std::optional<BandFilter> filterA;
        std::optional<BandFilter> filterB;
        float fDisplayGain = 1.0f;
        float fAudioGain = 1.0f;
    };

    /// Whether the cutoffs between nBands bands ascend. Equal neighbours do.
    static bool Ascend(int nBands, const Cutoffs& cutoffs) noexcept;

    /// Replaces all filters by those for nBands bands and clears their delays. Does nothing and answers false
    /// if there are no bands or the cutoffs do not ascend.
    bool Design(int nBands, const Cutoffs& cutoffs, std::uint32_t uSampleRate) noexcept;

    /// Fills the four bands of each channel with nFrames frames; a band without filters, but for band 0, with
    /// silence. A null right input is mono: then the right bands are not touched.
    void Process(const float* left, const float* right, float* const* leftBands, float* const* rightBands,
                 int nFrames) noexcept;

    /// Clears the delays.
    void Reset() noexcept { m_bank.Reset(); }
    bool IsFinite() const noexcept { return m_bank.IsFinite(); }

    const Band& GetBand(std::size_t iBand) const noexcept { return m_bands[iBand]; }

private:
    void Enter(std::size_t iBand, const BandFilter& filterA, const BandFilter* filterB, double fDisplayGain,
               double fLift) noexcept;

    // Set-up: written by Design only.
    std::array<Band, kBands> m_bands;
    // State: Reset clears the delays in it.
    BandBank m_bank;
};

}  // namespace DSP
