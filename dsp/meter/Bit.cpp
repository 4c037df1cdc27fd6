#include "dsp/meter/Bit.h"

#include <algorithm>

namespace DSP::Meter {

namespace {

constexpr float kFullScale = 2147483648.0f;
constexpr std::uint32_t kRounding = 128;

std::uint32_t Word(float fSample) {
    const float fValue = fSample * kFullScale;
    if (fValue >= kFullScale) return 0x7fffffffu;
    if (fValue <= -kFullScale) return 0x80000000u;
    if (fValue != fValue) return 0;
    return static_cast<std::uint32_t>(fValue < 0.0f ? -fValue : fValue);
}

}  // namespace

Bit::Bit(PluginContext& plugin) : ComponentImpl(plugin, "BitMeter") {
    Bool("BitMeter Enable", true, &Bit::Switch, &Bit::SetSwitch, std::uint32_t{kEnable})
        .InPreset(PresetGroup::Meters);
    Bool("BitMeter Show Peak Hold", true, &Bit::Switch, &Bit::SetSwitch, std::uint32_t{kShowPeakHold})
        .InPreset(PresetGroup::Meters);
    Int("BitMeter Peak Hold Time", "", 0, 5, 2, &Bit::PeakHoldTime, &Bit::SetPeakHoldTime)
        .InPreset(PresetGroup::Meters)
        .Labelled({"5", "250", "500", "1000", "5000", "Infinite"});
    FinishTables();
}

void Bit::SetSwitch(std::uint32_t iSwitch, bool bOn) {
    if (bOn == m_switches[iSwitch]) return;
    MarkDirty();
    m_switches[iSwitch] = bOn;
    if (iSwitch == kEnable) ActivityChanged();
}

void Bit::SetPeakHoldTime(std::int32_t nTime) {
    nTime = std::clamp(nTime, m_ints[0].nMin, m_ints[0].nMax);
    if (nTime == m_nPeakHoldTime) return;
    MarkDirty();
    m_nPeakHoldTime = nTime;
}

void Bit::Measure(std::uint32_t uFrames, const float* left, const float* right) noexcept {
    if (uFrames == 0) return;
    const float samples[kChannels] = {left[0], right ? right[0] : left[0]};
    for (std::uint32_t iChannel = 0; iChannel < kChannels; ++iChannel) {
        const std::uint32_t uWord = Word(samples[iChannel]) + kRounding;
        for (std::uint32_t k = 1; k < kEntries; ++k)
            m_bits[iChannel][k] = static_cast<std::uint8_t>(uWord >> (31 - k) & 1u);
    }
    m_bConsumed = false;
}

}  // namespace DSP::Meter
