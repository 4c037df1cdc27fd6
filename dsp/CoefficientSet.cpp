#include "dsp/CoefficientSet.h"

#include <algorithm>

#include "dsp/ButterworthDesign.h"
#include "dsp/vector/Elementwise.h"

namespace DSP {

namespace {

struct Pair {
    BandFilter filter;
    double fGain;
};

Pair DesignPair(ButterworthDesign::Kind kind, float fCutoff, std::uint32_t uSampleRate) noexcept {
    const ButterworthDesign design(kind, double{fCutoff} / static_cast<double>(uSampleRate));
    return {BandFilter(design.Taps()), design.PairGain()};
}

BandBank::Biquad Section(const BandFilter& filter) noexcept {
    const auto& taps = filter.Taps();
    return {taps[1], taps[4], taps[5]};
}

}  // namespace

bool CoefficientSet::Ascend(int nBands, const Cutoffs& cutoffs) noexcept {
    return nBands < 3 || std::is_sorted(cutoffs.begin(), cutoffs.begin() + (nBands - 1));
}

void CoefficientSet::Enter(std::size_t iBand, const BandFilter& filterA, const BandFilter* filterB,
                           double fDisplayGain, double fLift) noexcept {
    Band& band = m_bands[iBand];
    band.filterA = filterA;
    if (filterB) band.filterB = *filterB;
    band.fDisplayGain = static_cast<float>(fDisplayGain);
    band.fAudioGain = static_cast<float>(fDisplayGain * fLift);
    const BandBank::Biquad second = filterB ? Section(*filterB) : BandBank::Biquad{};
    m_bank.SetBand(static_cast<int>(iBand), Section(filterA), filterB ? &second : nullptr, band.fAudioGain);
}

bool CoefficientSet::Design(int nBands, const Cutoffs& cutoffs, std::uint32_t uSampleRate) noexcept {
    using Kind = ButterworthDesign::Kind;
    if (nBands < 1 || !Ascend(nBands, cutoffs)) return false;
    m_bands.fill(Band{});
    m_bank.Clear();

    const float fNyquist = static_cast<float>(uSampleRate) * 0.5f;
    bool bAny = false;
    for (std::size_t i = static_cast<std::size_t>(nBands) - 1; i-- > 0;) {
        if (cutoffs[i] >= fNyquist) continue;
        const Pair highpass = DesignPair(Kind::Highpass, cutoffs[i], uSampleRate);
        if (!bAny) {
            Enter(i + 1, highpass.filter, nullptr, highpass.fGain, 1.0);
        } else {
            const Pair lowpass = DesignPair(Kind::Lowpass, cutoffs[i + 1], uSampleRate);
            // The lift in single precision is part of the sound.
            const float fRatio = cutoffs[i + 1] / cutoffs[i];
            const float fLift = 1.0f + 6.0f / (fRatio * fRatio * fRatio);
            Enter(i + 1, lowpass.filter, &highpass.filter, lowpass.fGain * highpass.fGain, double{fLift});
        }
        bAny = true;
    }
    if (bAny) {
        const Pair lowpass = DesignPair(Kind::Lowpass, cutoffs[0], uSampleRate);
        Enter(0, lowpass.filter, nullptr, lowpass.fGain, 1.0);
    }
    return true;
}

void CoefficientSet::Process(const float* left, const float* right, float* const* leftBands,
                             float* const* rightBands, int nFrames) noexcept {
    const auto pass = [nFrames](const float* input, float* const* bands, std::size_t iBand) {
        if (iBand == 0) {
            VectorCopy(input, bands[iBand], nFrames);
        } else {
            VectorZero(bands[iBand], nFrames);
        }
    };
    bool bAny = false;
    for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
        if (m_bands[iBand].filterA) {
            bAny = true;
            continue;
        }
        pass(left, leftBands, iBand);
        if (right) pass(right, rightBands, iBand);
    }
    if (bAny) m_bank.Process(left, right, leftBands, rightBands, nFrames);
}

}  // namespace DSP
