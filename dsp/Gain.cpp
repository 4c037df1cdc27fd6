#include "dsp/Gain.h"

#include <algorithm>
#include <mutex>
#include <numbers>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/Elementwise.h"
#include "hvBase/Util/Text.h"

namespace DSP {

namespace {

constexpr float kMinBypassDb = -20.0f;
constexpr const char* kGainNames[] = {"Input Left", "Input Right", "Output Left", "Output Right"};

}  // namespace

Gain::Value Gain::Value::OfDb(float fDb) {
    return {fDb, DbToLinear(fDb)};
}

Gain::Gain(PluginContext& plugin) : ComponentImpl(plugin, "Gain") {
    for (std::size_t i = 0; i < m_rampTable.size(); ++i) {
        const double fAngle = (static_cast<double>(i) + 0.5) * std::numbers::pi / kRampLength;
        m_rampTable[i] = static_cast<float>((1.0 - Cos(fAngle)) / 2.0);
    }

    Float("Bypass Gain", "dB", kMinBypassDb, kMaxDb, 0, &Gain::BypassGainDb, &Gain::SetBypassGainDb)
        .InPreset(PresetGroup::Global);
    for (std::uint32_t i = 0; i < kGains; ++i) {
        Float(Util::Format("Gain: %1", kGainNames[i]), "dB", kMinDb, kMaxDb, 0, &Gain::GainDb,
              &Gain::SetGainDb, i)
            .InPreset(PresetGroup::Global)
            .Automatable();
    }
    Bool("Input Gain Slider Lock", true, &Gain::InputLock, &Gain::SetInputLock).InPreset(PresetGroup::Meters);
    Bool("Output Gain Slider Lock", true, &Gain::OutputLock, &Gain::SetOutputLock)
        .InPreset(PresetGroup::Meters);
    FinishTables();
}

void Gain::SetBypassGainDb(float fDb) {
    if (fDb == BypassGainDb()) return;
    MarkDirty();
    m_bypass = Value::OfDb(std::clamp(fDb, kMinBypassDb, kMaxDb));
}

void Gain::SetGainDb(std::uint32_t iGain, float fDb) {
    if (fDb == GainDb(iGain)) return;
    MarkDirty();
    fDb = std::clamp(fDb, kMinDb, kMaxDb);
    m_gains[iGain] = Value::OfDb(fDb);

    const std::uint32_t iPair = iGain / 2;
    const bool bLinked = iPair == 0 ? m_bInputLock : m_bOutputLock;
    if (!bLinked || m_bStateLoading) return;
    const bool bLeft = iGain % 2 == 0;
    const std::uint32_t iPartner = bLeft ? iGain + 1 : iGain - 1;
    const float fPartnerDb = bLeft ? fDb + m_fLinkOffset[iPair] : fDb - m_fLinkOffset[iPair];
    const float fOldDb = m_gains[iPartner].Exchange(Value::OfDb(fPartnerDb)).fDb;
    if (fOldDb != fPartnerDb) {
        m_plugin.NotifyParameterEvent(ParameterGroup::Float, ParameterPhase::Value, *this, iPartner + 1,
                                      &fPartnerDb, nullptr, nullptr);
    }
}

void Gain::EndStateLoad() {
    m_bStateLoading = false;
    for (std::uint32_t iPair = 0; iPair < 2; ++iPair) {
        m_fLinkOffset[iPair] = GainDb(2 * iPair + 1) - GainDb(2 * iPair);
    }
}

void Gain::ClearState() {
    const std::lock_guard lock(m_lock);
    m_bPrimed.fill(false);
}

std::uint32_t Gain::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    const std::lock_guard lock(m_lock);
    const std::uint32_t uStage = Component::Stage();
    if (uStage > kBypass || uFrames == 0) return uFrames;
    if (uStage == kBypass) {
        const float fGain = m_bypass.Get().fLinear;
        ProcessChannel(uFrames, left, fGain, fGain, false);
        if (right) ProcessChannel(uFrames, right, fGain, fGain, false);
        return uFrames;
    }

    const std::uint32_t iPair = 2 * uStage;
    const float fLeft = m_gains[iPair].Get().fLinear;
    const float fRight = m_gains[iPair + 1].Get().fLinear;
    const bool bRamp = m_bPrimed[iPair] && (fLeft != m_fPrevious[iPair] || fRight != m_fPrevious[iPair + 1]);
    ProcessChannel(uFrames, left, m_fPrevious[iPair], fLeft, bRamp);
    if (right) ProcessChannel(uFrames, right, m_fPrevious[iPair + 1], fRight, bRamp);
    m_bPrimed[iPair] = m_bPrimed[iPair + 1] = true;
    m_fPrevious[iPair] = fLeft;
    m_fPrevious[iPair + 1] = fRight;
    return uFrames;
}

void Gain::ProcessChannel(std::uint32_t uFrames, float* samples, float fPrevious, float fGain,
                          bool bRamp) const {
    const auto nFrames = static_cast<std::int32_t>(uFrames);
    std::int32_t nRamp = 0;
    if (bRamp) {
        const float fStep = fGain - fPrevious;
        nRamp = std::min(nFrames, kRampLength);
        if (nRamp == kRampLength) {
            for (std::int32_t n = 0; n < nRamp; ++n) {
                samples[n] *= fStep * m_rampTable[static_cast<std::size_t>(n)] + fPrevious;
            }
        } else {
            // One step short of the target on purpose: the next block begins on the target itself, so a ramp
            // cut short by a small block neither repeats a value nor jumps.
            for (std::int32_t n = 0; n < nRamp; ++n) {
                samples[n] *= fPrevious + static_cast<float>(n) * fStep / static_cast<float>(nRamp);
            }
        }
    }
    VectorScale(fGain, samples + nRamp, nFrames - nRamp);
}

}  // namespace DSP
