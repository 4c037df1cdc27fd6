#include "dsp/SampledReverb.h"

#include <algorithm>
#include <array>

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
    m_bMade = m_bReserved = false;
}

/// Makes the spare impulse.
void SampledReverb::Prepare(const float* const* taps, int nLength, int nChannels, int nBlock) {
    if (!m_spare) m_spare = std::make_shared<PartConvImpulse>();
    m_spare->Set(taps, nLength, nChannels, nBlock, m_workshop);
}

bool SampledReverb::Update(const RoomTarget& target, const Util::Relaxed<bool>& stop) {
    if (m_bMade && target == m_made) return true;
    const bool bSameRoom =
        m_bMade && target.shape == m_made.shape && target.uSampleRate == m_made.uSampleRate;
    const bool bSameBlock = m_inForce && target.nBlock == m_made.nBlock;
    if (!bSameRoom) {
        if (!m_impulse.Make(target.shape, target.uSampleRate, stop)) return false;
        Prepare(m_impulse.Taps().data(), m_impulse.Length(), m_impulse.Channels(), target.nBlock);
        if (stop) return false;
    } else if (!bSameBlock) {
        PartConvImpulse& impulse = *m_inForce;
        std::array<const float*, 2> taps{impulse.Taps(0), impulse.Taps(1)};
        Prepare(taps.data(), impulse.Length(), impulse.Channels(), target.nBlock);
    }
    if (!bSameRoom || !bSameBlock) {
        // Memory for two channels first: the audio thread changes between one and two.
        if (!bSameBlock || !m_convolver.Fits(*m_spare)) Configure(2, 2, target.nBlock);
        m_convolver.Swap(m_spare);
        m_inForce.swap(m_spare);
        if (!m_bReserved) m_spare.reset();
    }
    if (target.nChannels != InputChannels()) Configure(target.nChannels, target.nChannels, target.nBlock);
    m_made = target;
    m_bMade = true;
    return true;
}

void SampledReverb::Reserve(float fMaxPreDelayMs) {
    if (m_bReserved && m_reserved.uSampleRate == m_made.uSampleRate && m_reserved.nBlock == m_made.nBlock)
        return;
    const int nLongest = m_impulse.Reserve(m_made.uSampleRate, fMaxPreDelayMs);
    if (!m_spare) m_spare = std::make_shared<PartConvImpulse>();
    for (PartConvImpulse* const impulse : {m_inForce.get(), m_spare.get()})
        impulse->Reserve(nLongest, m_inForce->Channels(), m_made.nBlock);
    m_workshop.Reserve();
    m_convolver.Reserve(nLongest, 2);
    m_reserved = m_made;
    m_bReserved = true;
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
