#include "dsp/DCOffsetFilter.h"

#include <cmath>

namespace DSP {

namespace {

constexpr float kScale = 32768.0f;
constexpr float kLeak = 3.2768f;  // (1 - 0.9999) times the scale

}  // namespace

void DCOffsetFilter::Process(std::int32_t nFrames, float* left, float* right, bool bMeter,
                             bool bReplace) noexcept {
    float* const channels[] = {left, right};
    if (right) {
        Choose<2>(nFrames, channels, bMeter, bReplace);
    } else {
        Choose<1>(nFrames, channels, bMeter, bReplace);
    }
}

template <int nChannels>
void DCOffsetFilter::Choose(std::int32_t nFrames, float* const* channels, bool bMeter,
                            bool bReplace) noexcept {
    if (bMeter) {
        bReplace ? Run<nChannels, true, true>(nFrames, channels)
                 : Run<nChannels, true, false>(nFrames, channels);
    } else {
        bReplace ? Run<nChannels, false, true>(nFrames, channels)
                 : Run<nChannels, false, false>(nFrames, channels);
    }
}

// Both channels in one pass: each waits for its own sample before, and side by side they wait together.
template <int nChannels, bool bMeter, bool bReplace>
void DCOffsetFilter::Run(std::int32_t nFrames, float* const* channels) noexcept {
    Recurrence states[nChannels];
    Extremes meters[nChannels];
    for (int c = 0; c < nChannels; ++c) {
        states[c] = m_states[c];
        meters[c] = {m_meters[c].fCurrent, m_meters[c].fMinimum, m_meters[c].fMaximum};
    }
    for (std::int32_t n = 0; n < nFrames; ++n) {
        for (int c = 0; c < nChannels; ++c) {
            Recurrence& state = states[c];
            const float x = channels[c][n];
            // Scaling by a power of two is exact in either precision.
            const float fScaled = x * kScale;
            state.fAccumulator -= state.fPrevious;
            state.fPrevious = fScaled;
            state.fAccumulator += fScaled;
            state.fAccumulator -= state.fOutput * kLeak;
            state.fOutput = state.fAccumulator * (1.0f / kScale);
            if (!(std::abs(state.fAccumulator) <= kMostOffset)) [[unlikely]] {
                state = {};
                continue;
            }
            if constexpr (bMeter) {
                Extremes& meter = meters[c];
                meter.fCurrent = x - state.fOutput;
                if (meter.fCurrent < meter.fMinimum) meter.fMinimum = meter.fCurrent;
                if (meter.fCurrent > meter.fMaximum) meter.fMaximum = meter.fCurrent;
            }
            if constexpr (bReplace) channels[c][n] = state.fOutput;
        }
    }
    for (int c = 0; c < nChannels; ++c) {
        m_states[c] = states[c];
        if constexpr (bMeter) {
            m_meters[c].fCurrent = meters[c].fCurrent;
            m_meters[c].fMinimum = meters[c].fMinimum;
            m_meters[c].fMaximum = meters[c].fMaximum;
        }
    }
}

void DCOffsetFilter::Reset() noexcept {
    for (Recurrence& state : m_states)
        state = {};
    ClearMeter();
}

void DCOffsetFilter::ClearMeter() noexcept {
    for (Meter& meter : m_meters)
        meter = {};
}

}  // namespace DSP
