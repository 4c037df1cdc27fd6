#include "dsp/Imager.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "hvBase/Util/DataStream.h"
#include "hvBase/Util/Text.h"

namespace DSP {

Imager::Imager(PluginContext& plugin) : ComponentImpl(plugin, "Imager::Imager") {
    for (std::uint32_t iBand = 0; iBand < kBands; ++iBand) {
        Float(Util::Format("IMG: Band %1 Width", iBand + 1), "", -1, 1, 0, &Imager::Width, &Imager::SetWidth,
              iBand)
            .InPreset(PresetGroup::Imager)
            .Automatable();
    }
    for (std::uint32_t iBand = 0; iBand < kBands; ++iBand) {
        Float(Util::Format("IMG: Band %1 Delay", iBand + 1), "", -ImagerBand::kMaxDelayMs,
              ImagerBand::kMaxDelayMs, 0, &Imager::Delay, &Imager::SetDelay, iBand)
            .InPreset(PresetGroup::Imager)
            .Automatable();
    }
    const auto declare = [this](const char* strName, SwitchIndex iSwitch) -> BoolRecord& {
        return Bool(strName, m_switches[iSwitch], &Imager::Switch, &Imager::SetSwitch, std::uint32_t{iSwitch})
            .InPreset(PresetGroup::Imager);
    };
    declare("IMG: Bypass", kBypass).Automatable();
    declare("IMG: Solo Mute", kSoloMute);
    declare("CHOPS: Mono", kMono).Automatable();
    declare("CHOPS: Switch L/R", kSwitchChannels).Automatable();
    declare("CHOPS: Invert L", kInvertLeft).Automatable();
    declare("CHOPS: Invert R", kInvertRight).Automatable();
    ReserveLines();
    FinishTables();
}

void Imager::SetWidth(std::uint32_t iBand, float fWidth) {
    fWidth = std::clamp(fWidth, -1.0f, 1.0f);
    if (fWidth == m_width[iBand]) return;
    MarkDirty();
    m_width[iBand] = fWidth;
}

void Imager::SetDelay(std::uint32_t iBand, float fDelayMs) {
    fDelayMs = std::clamp(fDelayMs, -ImagerBand::kMaxDelayMs, ImagerBand::kMaxDelayMs);
    if (fDelayMs == m_delay[iBand]) return;
    MarkDirty();
    // Value and lines change in one step, so that of two setters the later one has both.
    const std::lock_guard lock(m_lock);
    m_delay[iBand] = fDelayMs;
    m_bands[iBand].SetDelay(fDelayMs, m_uSampleRate);
}

void Imager::SetSwitch(std::uint32_t iSwitch, bool bOn) {
    if (bOn == m_switches[iSwitch]) return;
    MarkDirty();
    m_switches[iSwitch] = bOn;
    if (iSwitch == kBypass || iSwitch == kSoloMute) ActivityChanged();
}

void Imager::SetSampleRate(std::uint32_t uSampleRate) {
    const std::lock_guard lock(m_lock);
    if (uSampleRate == m_uSampleRate) return;
    m_uSampleRate = uSampleRate;
    ReserveLines();
    for (std::uint32_t iBand = 0; iBand < kBands; ++iBand)
        m_bands[iBand].SetDelay(m_delay[iBand], uSampleRate);
}

/// Room for the longest delay, so that an automated one allocates nothing.
void Imager::ReserveLines() {
    const int nLongest = ImagerBand::LineLength(ImagerBand::kMaxDelayMs, m_uSampleRate);
    for (ImagerBand& band : m_bands)
        band.ReserveDelay(nLongest);
}

std::uint32_t Imager::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    const auto nFrames = static_cast<std::int32_t>(uFrames);
    const std::uint32_t uStage = Component::Stage();
    if (uStage == kWholeSignal) {
        const ChannelOperations operations{m_switches[kMono], m_switches[kSwitchChannels],
                                           m_switches[kInvertLeft], m_switches[kInvertRight]};
        operations.Process(nFrames, left, right);
    } else if (uStage < kBands && right && IsActive()) {
        m_bands[uStage].Process(m_width[uStage], nFrames, left, right);
    }
    return uFrames;
}

void Imager::ClearState() {
    const std::lock_guard lock(m_lock);
    for (ImagerBand& band : m_bands)
        band.Reset();
}

void Imager::CopyBand(std::uint32_t uBand, Util::DataStream& stream) const {
    if (uBand >= kBands) return;
    stream.InsertElements({m_width[uBand], m_delay[uBand]});
}

void Imager::PasteBand(std::uint32_t uBand, Util::DataStream& stream) {
    if (uBand >= kBands) return;
    std::vector<float> values(2);
    stream.ExtractElements(values);
    ReplaceBand(uBand, values[0], values[1]);
}

void Imager::ResetBand(std::uint32_t uBand) {
    if (uBand < kBands) ReplaceBand(uBand, 0.0f, 0.0f);
}

/// Sets all settings of a band and tells the host.
void Imager::ReplaceBand(std::uint32_t uBand, float fWidth, float fDelayMs) {
    const auto replace = [this](std::uint32_t uIndex, float fValue) {
        SetFloat(uIndex, fValue);
        fValue = GetFloat(uIndex);
        m_plugin.NotifyParameterEvent(ParameterGroup::Float, ParameterPhase::Value, *this, uIndex, &fValue,
                                      nullptr, nullptr);
    };
    replace(uBand, fWidth);
    replace(kBands + uBand, fDelayMs);
}

}  // namespace DSP
