#include "dsp/ImagerBand.h"

#include <algorithm>

#include "dsp/vector/ImagerKernels.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

int ImagerBand::LineLength(float fDelayMs, std::uint32_t uSampleRate) {
    // The product in float is what decides about halves.
    const float fSamples = static_cast<float>(uSampleRate) * (fDelayMs / 1000.0f);
    return std::max(RoundHalfAway(double{fSamples}), 1);
}

void ImagerBand::SetDelay(float fDelayMs, std::uint32_t uSampleRate) {
    m_left.SetLength(fDelayMs < 0.0f ? LineLength(-fDelayMs, uSampleRate) : 1);
    m_right.SetLength(fDelayMs < 0.0f ? 1 : LineLength(fDelayMs, uSampleRate));
}

void ImagerBand::ReserveDelay(int nLength) {
    m_left.Reserve(nLength);
    m_right.Reserve(nLength);
}

void ImagerBand::Process(float fWidth, std::int32_t nFrames, float* left, float* right) noexcept {
    m_left.Process(left, nFrames);
    m_right.Process(right, nFrames);
    StereoWidth(static_cast<float>(1.0 + double{fWidth}), left, right, nFrames);
}

void ImagerBand::Reset() noexcept {
    m_left.Reset();
    m_right.Reset();
}

}  // namespace DSP
