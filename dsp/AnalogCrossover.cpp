#include "dsp/AnalogCrossover.h"

#include <algorithm>
#include <numbers>

#include "dsp/vector/Elementary.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

void AnalogCrossover::SetSampleRate(std::uint32_t uSampleRate) {
    m_uSampleRate = uSampleRate;
    // In single precision, which is part of the length.
    const float fLength = static_cast<float>(uSampleRate) * 64.0f / 44100.0f;
    const auto uLength = static_cast<std::size_t>(std::max(RoundHalfAway(double{fLength}), 1));
    m_fadeIn.resize(uLength);
    m_fadeOut.resize(uLength);
    for (std::size_t i = 0; i < uLength; ++i) {
        const double fAngle =
            (static_cast<double>(i) + 0.5) * std::numbers::pi / static_cast<double>(uLength);
        m_fadeIn[i] = static_cast<float>((1.0 - Cos(fAngle)) * 0.5);
        m_fadeOut[i] = 1.0f - m_fadeIn[i];
    }
    for (auto& band : m_scratch)
        band.resize(uLength);
    m_nFadeRemaining = 0;
}

void AnalogCrossover::Design(int nBands, const Cutoffs& cutoffs) {
    m_sets[m_uCurrent].Design(nBands, cutoffs, m_uSampleRate);
}

void AnalogCrossover::FadeTo(int nBands, const Cutoffs& cutoffs) {
    if (!CoefficientSet::Ascend(nBands, cutoffs)) return;
    if (m_nFadeRemaining == 0) m_uCurrent = 1 - m_uCurrent;
    m_nFadeRemaining = FadeLength();
    Design(nBands, cutoffs);
}

void AnalogCrossover::Process(const float* left, const float* right, float* const* leftBands,
                              float* const* rightBands, int nFrames) {
    CoefficientSet& current = m_sets[m_uCurrent];
    current.Process(left, right, leftBands, rightBands, nFrames);
    if (!current.IsFinite()) current.Reset();
    if (const int nFade = std::min(nFrames, m_nFadeRemaining); nFade > 0) {
        Fade(left, right, leftBands, rightBands, nFade);
        m_nFadeRemaining -= nFade;
    }
}

void AnalogCrossover::Fade(const float* left, const float* right, float* const* leftBands,
                           float* const* rightBands, int nFrames) {
    std::array<float*, kBands> leftScratch;
    std::array<float*, kBands> rightScratch;
    for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
        leftScratch[iBand] = m_scratch[iBand].data();
        rightScratch[iBand] = m_scratch[kBands + iBand].data();
    }
    CoefficientSet& outgoing = m_sets[1 - m_uCurrent];
    outgoing.Process(left, right, leftScratch.data(), rightScratch.data(), nFrames);
    if (!outgoing.IsFinite()) outgoing.Reset();

    const auto uPosition = m_fadeIn.size() - static_cast<std::size_t>(nFrames);
    const auto mix = [&](float* band, float* old) {
        VectorMultiply(m_fadeIn.data() + uPosition, band, nFrames);
        VectorMultiply(m_fadeOut.data() + uPosition, old, nFrames);
        VectorAdd(old, band, nFrames);
    };
    for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
        mix(leftBands[iBand], leftScratch[iBand]);
        if (right) mix(rightBands[iBand], rightScratch[iBand]);
    }
}

void AnalogCrossover::Reset() {
    m_nFadeRemaining = 0;
    m_sets[m_uCurrent].Reset();
}

}  // namespace DSP
