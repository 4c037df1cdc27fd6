#include "dsp/InterSampleDetector.h"

#include <algorithm>
#include <cstddef>

#include "dsp/vector/LimiterPeaks.h"

namespace DSP {

namespace {

constexpr int kTaps = 64;
constexpr double kBeta = 5.0;

static_assert(InterSampleDetector::kDelay == kOversampledLag);

}  // namespace

InterSampleDetector::InterSampleDetector() {
    m_oversampler.Design(kUp, 1, kTaps, kBeta);
    m_oversampler.Configure(2, 2, kChunk);
}

void InterSampleDetector::Reset() {
    m_oversampler.Reset();
    for (auto& channel : m_phases) {
        for (Phase& phase : channel)
            phase[0] = 0.0f;
    }
    std::fill_n(m_framePeaks.begin(), kDelay, 0.0f);
}

void InterSampleDetector::Prime(const float* left, const float* right, int nFrames) {
    std::array<float, kChunk> peaks;
    for (int i = 0; i < nFrames; i += kChunk) {
        const int nChunk = std::min(kChunk, nFrames - i);
        ProcessChunk(left + i, right ? right + i : nullptr, nChunk, peaks.data());
    }
}

void InterSampleDetector::Process(const float* left, const float* right, int nFrames, float* peaks) {
    for (int i = 0; i < nFrames; i += kChunk) {
        const int nChunk = std::min(kChunk, nFrames - i);
        ProcessChunk(left + i, right ? right + i : nullptr, nChunk, peaks + i);
    }
}

void InterSampleDetector::ProcessChunk(const float* left, const float* right, int nFrames, float* peaks) {
    std::array<std::array<float*, kUp>, 2> phases;
    for (std::size_t c = 0; c < phases.size(); ++c) {
        for (std::size_t p = 0; p < phases[c].size(); ++p)
            phases[c][p] = m_phases[c][p].data() + 1;
    }
    m_oversampler.ProcessPhases(0, left, nFrames, phases[0].data());
    if (right) m_oversampler.ProcessPhases(1, right, nFrames, phases[1].data());

    float* const framePeaks = m_framePeaks.data() + kDelay;
    FramePeaks(left, right, framePeaks, nFrames);
    OversampledPeaks(phases[0].data(), right ? phases[1].data() : nullptr, framePeaks, peaks, nFrames);

    std::copy_n(m_framePeaks.begin() + nFrames, kDelay, m_framePeaks.begin());
    for (auto& channel : m_phases)
        channel[kUp - 1][0] = channel[kUp - 1][static_cast<std::size_t>(nFrames)];
}

}  // namespace DSP
