#include "dsp/ResampleInt.h"

#include <algorithm>
#include <numbers>

#include "dsp/KaiserWindow.h"
#include "dsp/vector/Elementary.h"

namespace DSP {

ResampleInt::ResampleInt() : m_taps{1.0f, 0.0f} {}

void ResampleInt::Design(int nUp, int nDown, int nLength, double fBeta) {
    m_nUp = std::max(nUp, 1);
    m_nDown = std::max(nDown, 1);
    const int nTaps = std::max(nLength, 2) - 1;  // the last one is 0
    std::vector<double> taps(static_cast<std::size_t>(nTaps));
    const double fMiddle = (nTaps - 1) / 2.0;
    for (int i = 0; i < nTaps; ++i) {
        const double x = (i - fMiddle) * std::numbers::pi / std::max(m_nUp, m_nDown);
        taps[static_cast<std::size_t>(i)] = x == 0.0 ? 1.0 : Sin(x) / x;
    }
    ApplyKaiserWindow(taps.data(), nTaps, fBeta);
    double fSum = 0.0;
    for (const double tap : taps)
        fSum += tap;
    m_taps.assign(taps.size() + 1, 0.0f);
    for (std::size_t i = 0; i < taps.size(); ++i)
        m_taps[i] = static_cast<float>(taps[i] * (m_nUp / fSum));
    BuildFilters();
}

void ResampleInt::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    AudioProcessor::Configure(nInputs, nOutputs, nMaxFrames);
    BuildFilters();
}

void ResampleInt::BuildFilters() {
    m_filters.clear();
    m_filters.resize(static_cast<std::size_t>(m_nInputs));
    for (MultiRateFir& filter : m_filters)
        filter.Configure(m_taps.data(), Length(), m_nUp, 0, m_nDown);
    Reset();
}

void ResampleInt::Process(float* const* inputs, int nFrames, float* const* outputs) {
    AudioProcessor::Process(inputs, nFrames, outputs);
    if (outputs == nullptr) outputs = inputs;
    const int nIterations = nFrames / m_nDown;
    const auto uCount = static_cast<std::size_t>(std::min(m_nInputs, m_nOutputs));
    for (std::size_t c = 0; c < uCount; ++c)
        m_filters[c].Process(inputs[c], outputs[c], nIterations);
}

void ResampleInt::ProcessPhases(int iChannel, const float* input, int nFrames, float* const* phases) {
    if (nFrames > m_nMaxFrames) Grow(nFrames);
    m_filters[static_cast<std::size_t>(iChannel)].ProcessPhases(input, phases, nFrames);
}

void ResampleInt::Reset() {
    for (MultiRateFir& filter : m_filters)
        filter.Reset();
}

void ResampleInt::Grow(int nMaxFrames) {
    m_nMaxFrames = std::max(nMaxFrames, m_nMaxFrames);
}

}  // namespace DSP
