#include "dsp/AudioProcessor.h"

#include <algorithm>

namespace DSP {

AudioProcessor::~AudioProcessor() = default;

void AudioProcessor::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    m_nInputs = std::max(nInputs, 0);
    m_nOutputs = std::max(nOutputs, 0);
    m_nMaxFrames = std::max(nMaxFrames, 0);
}

void AudioProcessor::Process(float* const* /*inputs*/, int nFrames, float* const* /*outputs*/) {
    if (nFrames > m_nMaxFrames) Grow(nFrames);
}

void AudioProcessor::Reset() {}

void AudioProcessor::Grow(int nMaxFrames) {
    Configure(m_nInputs, m_nOutputs, nMaxFrames);
}

}  // namespace DSP
