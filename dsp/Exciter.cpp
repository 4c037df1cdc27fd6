#include "dsp/Exciter.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "hvBase/Util/DataStream.h"
#include "hvBase/Util/Text.h"

namespace DSP {

// In the order of the table, of a copied band and of every format.
constexpr std::array<Exciter::FieldInfo, Exciter::kFields> Exciter::kFieldInfo = {{
    {"EXC: Band %1 Amount", "", ExciterBand::kMaxAmount, 0.0f},
    {"EXC: Band %1 Mix", "%", 100.0f, 100.0f},
    {"EXC: Band %1 Delay", "", ExciterBand::kMaxDelayMs, 0.0f},
}};

Exciter::Exciter(PluginContext& plugin, const BandSplitter* bands)
    : ComponentImpl(plugin, "Exciter::Exciter"), m_splitter(bands) {
    for (std::uint32_t iField = 0; iField < kFields; ++iField) {
        const FieldInfo& field = kFieldInfo[iField];
        for (std::uint32_t iBand = 0; iBand < kBands; ++iBand) {
            m_values[iField][iBand] = field.fFactory;
            Float(Util::Format(field.strName, iBand + 1), field.strUnits, 0, field.fMax, field.fFactory,
                  &Exciter::Value, &Exciter::SetValue, iField, iBand)
                .InPreset(PresetGroup::Exciter)
                .Automatable();
        }
    }
    Bool("EXC: Bypass", true, &Exciter::Bypass, &Exciter::SetBypass)
        .InPreset(PresetGroup::Exciter)
        .Automatable();
    Bool("EXC: Solo Mute", false, &Exciter::SoloMute, &Exciter::SetSoloMute).InPreset(PresetGroup::Exciter);
    Int("EXC: Mode", "", 0, 2, static_cast<std::int32_t>(ExciterMode::Tube), &Exciter::Mode,
        &Exciter::SetMode)
        .InPreset(PresetGroup::Exciter)
        .Automatable()
        .Labelled({"Retro", "Tape", "Tube"});
    ReserveLines();
    FinishTables();
}

void Exciter::SetValue(std::uint32_t iField, std::uint32_t iBand, float fValue) {
    fValue = std::clamp(fValue, 0.0f, kFieldInfo[iField].fMax);
    if (fValue == m_values[iField][iBand]) return;
    MarkDirty();
    if (iField != kDelay) {
        m_values[iField][iBand] = fValue;
        return;
    }
    // Value and lines change in one step, so that of two setters the later one has both.
    const std::lock_guard lock(m_lock);
    m_values[iField][iBand] = fValue;
    RebuildLine(iBand);
}

void Exciter::SetBypass(bool bBypass) {
    if (bBypass == m_bBypass) return;
    MarkDirty();
    m_bBypass = bBypass;
    ActivityChanged();
}

void Exciter::SetSoloMute(bool bMute) {
    if (bMute == m_bSoloMute) return;
    MarkDirty();
    m_bSoloMute = bMute;
    ActivityChanged();
}

void Exciter::SetMode(std::int32_t nMode) {
    nMode = std::clamp(nMode, 0, 2);
    if (nMode == m_nMode) return;
    MarkDirty();
    m_nMode = nMode;
}

void Exciter::SetSampleRate(std::uint32_t uSampleRate) {
    const std::lock_guard lock(m_lock);
    if (uSampleRate == m_uSampleRate) return;
    m_uSampleRate = uSampleRate;
    ReserveLines();
    for (std::uint32_t iBand = 0; iBand < kBands; ++iBand)
        RebuildLine(iBand);
}

/// Room for the longest delay, so that an automated one allocates nothing.
void Exciter::ReserveLines() {
    const int nLongest = ExciterBand::LineLength(ExciterBand::kMaxDelayMs, m_uSampleRate);
    for (ExciterBand& band : m_bands)
        band.ReserveDelay(nLongest);
}

void Exciter::RebuildLine(std::uint32_t iBand) {
    m_bands[iBand].SetDelay(ExciterBand::LineLength(Value(kDelay, iBand), m_uSampleRate));
}

float Exciter::UpperEdge(std::uint32_t iBand) const {
    if (m_splitter && iBand + 1 < m_splitter->BandCount()) return m_splitter->UpperCutoff(iBand);
    return static_cast<float>(m_uSampleRate) * 0.5f;
}

std::uint32_t Exciter::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    const std::uint32_t iBand = Component::Stage();
    if (iBand >= kBands || !IsActive()) return uFrames;
    const ExciterSettings settings{static_cast<ExciterMode>(m_nMode.Get()), Value(kAmount, iBand),
                                   Value(kMix, iBand), UpperEdge(iBand), m_uSampleRate};
    m_bands[iBand].Process(settings, static_cast<std::int32_t>(uFrames), left, right);
    return uFrames;
}

void Exciter::ClearState() {
    const std::lock_guard lock(m_lock);
    for (ExciterBand& band : m_bands)
        band.Reset();
}

void Exciter::CopyBand(std::uint32_t uBand, Util::DataStream& stream) const {
    if (uBand >= kBands) return;
    std::vector<float> values;
    for (std::uint32_t iField = 0; iField < kFields; ++iField)
        values.push_back(Value(iField, uBand));
    stream.InsertElements(values);
}

void Exciter::PasteBand(std::uint32_t uBand, Util::DataStream& stream) {
    if (uBand >= kBands) return;
    std::vector<float> values(kFields);
    stream.ExtractElements(values);
    ReplaceBand(uBand, {values[kAmount], values[kMix], values[kDelay]});
}

void Exciter::ResetBand(std::uint32_t uBand) {
    if (uBand >= kBands) return;
    BandValues values;
    for (std::uint32_t iField = 0; iField < kFields; ++iField)
        values[iField] = kFieldInfo[iField].fFactory;
    ReplaceBand(uBand, values);
}

/// Sets all settings of a band and tells the host.
void Exciter::ReplaceBand(std::uint32_t uBand, const BandValues& values) {
    for (std::uint32_t iField = 0; iField < kFields; ++iField) {
        const std::uint32_t uIndex = kBands * iField + uBand;
        SetFloat(uIndex, values[iField]);
        const float fValue = GetFloat(uIndex);
        m_plugin.NotifyParameterEvent(ParameterGroup::Float, ParameterPhase::Value, *this, uIndex, &fValue,
                                      nullptr, nullptr);
    }
}

}  // namespace DSP
