#include "dsp/Dither.h"

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

namespace DSP {

namespace {

constexpr std::array<std::int32_t, 5> kBitDepths = {8, 12, 16, 20, 24};
constexpr std::array<float, 4> kType3Amounts = {0.0f, 0.5f, 0.8f, 1.0f};

}  // namespace

Dither::Dither(PluginContext& plugin) : ComponentImpl(plugin, "Dither::Dither") {
    constexpr const char* kSwitchNames[kSwitches] = {"DTR: Auto Blanking", "DTR: Minimize Peaks",
                                                     "DTR: Kill Harmonics"};
    for (std::uint32_t i = 0; i < kSwitches; ++i) {
        Bool(kSwitchNames[i], false, &Dither::Switch, &Dither::SetSwitch, i)
            .InPreset(PresetGroup::Dither)
            .Automatable();
    }

    const auto choice = [this](ChoiceIndex index, const char* name,
                               std::vector<std::string> labels) -> IntRecord& {
        const auto nLast = static_cast<std::int32_t>(labels.size()) - 1;
        return Int(name, "", 0, nLast, m_choices[index], &Dither::Choice, &Dither::SetChoice,
                   static_cast<std::uint32_t>(index))
            .InPreset(PresetGroup::Dither)
            .Labelled(std::move(labels));
    };
    choice(kBitDepth, "DTR: Dithering Bit Depth", {"8", "12", "16", "20", "24"});
    choice(kType, "DTR: Dithering Type", {"None", "DSHP+", "Type 1", "Type 2"}).Automatable();
    choice(kShape, "DTR: Dithering Shape", {"None", "Simple", "Clear", "Psych5", "Psych9"});
    choice(kType3Shape, "DTR: Dithering Type 3 Shape", {"None", "Light", "Medium", "High", "Ultra"});
    choice(kType3Amount, "DTR: Dithering Type 3 Amount", {"None", "Low", "Normal", "High"});
    choice(kNumBits, "DTR: Dithering Num Bits", {"1", "2"});
    m_shaper.Configure(2, 2, 0);
    Reconfigure();
    FinishTables();
}

std::int32_t Dither::WordLength() const {
    return kBitDepths[static_cast<std::size_t>(m_choices[kBitDepth].Get())];
}

void Dither::SetSwitch(std::uint32_t iSwitch, bool bOn) {
    if (bOn == m_switches[iSwitch]) return;
    MarkDirty();
    m_switches[iSwitch] = bOn;
    Reconfigure();
}

void Dither::SetChoice(std::uint32_t iChoice, std::int32_t nValue) {
    nValue = std::clamp(nValue, IntInfo(iChoice).nMin, IntInfo(iChoice).nMax);
    if (nValue == m_choices[iChoice]) return;
    MarkDirty();
    m_choices[iChoice] = nValue;
    Reconfigure();
    if (iChoice == kType) ActivityChanged();
}

/// Sets the shaper up from all parameters, whichever has changed: two setters on two threads leave it with
/// both their values.
void Dither::Reconfigure() {
    const std::lock_guard lock(m_lock);
    const std::int32_t nType = m_choices[kType];
    DepthShaperSettings settings;
    settings.nWordLength = WordLength();
    settings.bAutoBlank = m_switches[kAutoBlanking];
    settings.bKillHarmonics = m_switches[kKillHarmonics];
    NoiseShapingFilter filter;
    if (nType == kDshp) {
        const std::uint32_t uClass = NoiseShapingFilter::RateClass(m_uSampleRate);
        filter = NoiseShapingFilter(
            NoiseShapingFilter::ForRate(uClass, static_cast<std::uint32_t>(m_choices[kType3Shape].Get())),
            true);
        settings.bLimitPeaks = m_switches[kMinimizePeaks];
        settings.fNoiseAmount = kType3Amounts[static_cast<std::size_t>(m_choices[kType3Amount].Get())];
    } else {
        const bool bHighPass = nType != kType1;
        filter = NoiseShapingFilter(
            NoiseShapingFilter::ForShape(static_cast<std::uint32_t>(m_choices[kShape].Get())), bHighPass);
        settings.bHighPassNoise = bHighPass;
        settings.fNoiseAmount = bHighPass ? 1.0f : 0.5f;
        if (m_choices[kNumBits] == 1) settings.fNoiseAmount *= 2.0f;
    }
    filter.Rebuild(settings.fNoiseAmount);
    m_shaper.Set(settings, filter);
    m_blockBuffer.Clear();
}

void Dither::SetSampleRate(std::uint32_t uSampleRate) {
    const std::lock_guard lock(m_lock);
    m_uSampleRate = uSampleRate;
    m_shaper.SetSampleRate(uSampleRate);
    m_shaper.Configure(2, 2, 0);
    Reconfigure();
}

std::uint32_t Dither::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    const std::lock_guard lock(m_lock);
    if (m_choices[kType] == kNone) return uFrames;
    const int nChannels = right ? 2 : 1;
    const auto nFrames = static_cast<int>(uFrames);
    if (m_shaper.InputChannels() != nChannels) m_shaper.Configure(nChannels, nChannels, nFrames);
    float* const channels[] = {left, right};
    m_shaper.Process(channels, nFrames, nullptr);
    return uFrames;
}

void Dither::ClearState() {
    const std::lock_guard lock(m_lock);
    m_shaper.Reset();
}

}  // namespace DSP
