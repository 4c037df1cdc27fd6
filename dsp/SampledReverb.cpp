#include "dsp/SampledReverb.h"

#include <algorithm>
#include <memory>

#include "dsp/vector/Elementwise.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

SampledReverb::SampledReverb() {
    Configure(m_made.nChannels, m_made.nChannels, m_made.nBlock);
}

void SampledReverb::LoadImpulse(const float* const* channels, int nFrames, int nChannels,
                                double fSampleRate) {
    m_impulse.Load(channels, nFrames, nChannels,
                   static_cast<std::uint32_t>(std::max(RoundHalfAway(fSampleRate), 1)));
    m_bMade = false;
}

bool SampledReverb::Update(const RoomTarget& target, const Util::Relaxed<bool>& stop) {
    if (m_bMade && target == m_made) return true;
    const bool bSameRoom =
        m_bMade && target.shape == m_made.shape && target.uSampleRate == m_made.uSampleRate;
    std::shared_ptr<const PartConvImpulse> impulse;
    if (!bSameRoom) {
        if (!m_impulse.Make(target.shape, target.uSampleRate, stop)) return false;
        impulse = std::make_shared<const PartConvImpulse>(m_impulse.Taps().data(), m_impulse.Length(),
                                                          m_impulse.Channels(), target.nBlock);
        if (stop) return false;
    }
    if (target.nChannels != InputChannels() || target.nBlock != m_made.nBlock)
        Configure(target.nChannels, target.nChannels, target.nBlock);
    m_convolver.Swap(std::move(impulse));
    m_made = target;
    m_bMade = true;
    return true;
}

void SampledReverb::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    AudioProcessor::Configure(nInputs, nOutputs, nMaxFrames);
    m_convolver.Configure(nInputs, nInputs, nMaxFrames);
    m_dry.SetUp(nInputs, nInputs, nMaxFrames, 0);
    Reset();
}

void SampledReverb::Grow(int nMaxFrames) {
    m_nMaxFrames = std::max(m_nMaxFrames, nMaxFrames);
    m_dry.Grow(nMaxFrames);
}

void SampledReverb::Reset() {
    m_convolver.Reset();
    m_dry.Reset();
}

void SampledReverb::Process(float* const* inputs, int nFrames, float* const* outputs) {
    AudioProcessor::Process(inputs, nFrames, outputs);
    if (outputs == nullptr) outputs = inputs;
    const float fDry = m_fDryGain, fWet = m_fWetGain;
    m_dry.Append(inputs, nFrames);
    m_convolver.Process(inputs, nFrames, outputs);
    for (int c = 0; c < InputChannels(); ++c) {
        VectorScale(fWet, outputs[c], nFrames);
        VectorScale(fDry, m_dry.Data(c), nFrames);
        VectorAdd(m_dry.Data(c), outputs[c], nFrames);
    }
    m_dry.Drop(nFrames);
}

}  // namespace DSP
