#include "apps/vesca/TruePeak.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "dsp/vector/Elementary.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/Window.h"

namespace App {

namespace {

// A stop band 60 dB down, and a transition as narrow as that leaves it.
constexpr double kBeta = 6.0;
// 1 / cos(pi / 8), and as much more as the filters differ from ideal ones.
constexpr float kReach = 1.1f;

/// A sinc through a Kaiser window, with a gain of 1 at DC.
void SetUp(DSP::MultiRateFir& oversampler, int nUp, int nTapsPerPoint) {
    // Odd, so that there is a middle.
    std::vector<float> taps(static_cast<std::size_t>(nUp * nTapsPerPoint - 1));
    const double fMiddle = static_cast<double>(taps.size() - 1) / 2.0;
    for (std::size_t i = 0; i < taps.size(); ++i) {
        const double x = (static_cast<double>(i) - fMiddle) * std::numbers::pi / nUp;
        taps[i] = x == 0.0 ? 1.0f : static_cast<float>(DSP::Sin(x) / x);
    }
    const auto nTaps = static_cast<std::int32_t>(taps.size());
    DSP::VectorWinKaiser(taps.data(), nTaps, static_cast<float>(kBeta / fMiddle));
    const double fSum = std::accumulate(taps.begin(), taps.end(), 0.0);
    DSP::VectorScale(static_cast<float>(nUp / fSum), taps.data(), nTaps);
    oversampler.Configure(taps.data(), nTaps, nUp);
}

}  // namespace

TruePeak::TruePeak() {
    SetUp(m_coarse, kCoarse, kTapsPerPoint);
    SetUp(m_fine, kFine, kTapsPerPoint);
}

void TruePeak::Add(const float* samples, std::uint32_t uFrames) {
    while (uFrames > 0) {
        const std::uint32_t uCount = std::min(uFrames, static_cast<std::uint32_t>(kChunk - m_nFilled));
        std::copy_n(samples, uCount, m_window.begin() + kTapsPerPoint + m_nFilled);
        m_nFilled += static_cast<int>(uCount);
        samples += uCount;
        uFrames -= uCount;
        if (m_nFilled == kChunk) MeasureChunk();
    }
}

float TruePeak::Largest(DSP::MultiRateFir& oversampler, const float* samples, int nFrames) {
    std::array<float*, kFine> phases;
    for (std::size_t p = 0; p < kFine; ++p)
        phases[p] = m_points.data() + p * m_window.size();
    oversampler.ProcessPhases(samples, phases.data(), nFrames);
    float fLargest = 0.0f;
    for (std::size_t p = 0; p < static_cast<std::size_t>(oversampler.Up()); ++p) {
        for (int i = 0; i < nFrames; ++i)
            fLargest = std::max(fLargest, std::abs(phases[p][i]));
    }
    return fLargest;
}

void TruePeak::MeasureChunk() {
    const float* const chunk = m_window.data() + kTapsPerPoint;
    // The samples are points of the wave too, and exact ones.
    for (int i = 0; i < kChunk; ++i)
        m_fPeak = std::max(m_fPeak, std::abs(chunk[i]));
    const float fCoarse = Largest(m_coarse, chunk, kChunk);
    if (fCoarse * kReach > m_fPeak) {
        // What came before the chunk goes through the filter first; its points have been measured.
        m_fine.Reset();
        Largest(m_fine, m_window.data(), kTapsPerPoint);
        m_fPeak = std::max(m_fPeak, Largest(m_fine, chunk, kChunk));
    }
    std::copy(m_window.end() - kTapsPerPoint, m_window.end(), m_window.begin());
    m_nFilled = 0;
}

float TruePeak::Peak() const {
    TruePeak ended = *this;
    const std::array<float, kTapsPerPoint + kChunk> silence{};
    ended.Add(silence.data(), silence.size());
    return ended.m_fPeak;
}

}  // namespace App
