#include "dsp/Dynamics.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"
#include "hvBase/Util/DataStream.h"
#include "hvBase/Util/Text.h"

namespace DSP {

namespace {

constexpr float kMaxGainDb = 30.0f;

struct FieldInfo {
    const char* strName;
    const char* strUnits;
    float fMin;
    float fMax;
};

// In the order of DynamicsField. The band's name stands where %1 does.
constexpr std::array<FieldInfo, DynamicsBand::kFields> kFields = {{
    {"DYN: %1 Gain", "dB", -kMaxGainDb, kMaxGainDb},
    {"DYN: %1 Comp Threshold", "dB", -130, 0},
    {"DYN: %1 Comp Ratio", "x:1", 1, 30},
    {"DYN: %1 Comp Attack", "ms", 0, 500},
    {"DYN: %1 Comp Release", "ms", 0, 5000},
    {"DYN: %1 Lim Threshold", "dB", -130, 0},
    {"DYN: %1 Lim Ratio", "x:1", 1, 30},
    {"DYN: %1 Lim Attack", "ms", 0, 500},
    {"DYN: %1 Lim Release", "ms", 0, 5000},
    {"DYN: %1 Gate Threshold", "dB", -130, 0},
    {"DYN: %1 Gate Ratio", "x:1", 0.1f, 30},
    {"DYN: %1 Gate Attack", "ms", 0, 500},
    {"DYN: %1 Gate Release", "ms", 0, 5000},
}};

// The peak detector falls to this share of a peak in this time.
constexpr double kPeakShare = 0.03;
constexpr double kPeakSeconds = 0.05;

}  // namespace

Dynamics::Dynamics(PluginContext& plugin) : ComponentImpl(plugin, "Squash") {
    DeclareFields();
    DeclareSwitches();
    FinishTables();
}

void Dynamics::DeclareFields() {
    Float("DYN: Global Gain", "dB", -kMaxGainDb, kMaxGainDb, 0, &Dynamics::GlobalGainDb,
          &Dynamics::SetGlobalGainDb)
        .InPreset(PresetGroup::Dynamics)
        .Automatable();
    for (std::uint32_t iField = 0; iField < kFields.size(); ++iField) {
        const FieldInfo& field = kFields[iField];
        const float fFactory = DynamicsBand::FactoryValue(static_cast<DynamicsField>(iField));
        for (std::uint32_t iBand = 0; iBand < kBands; ++iBand) {
            Float(Util::Format(field.strName, Util::Format("Band %1", iBand + 1)), field.strUnits, field.fMin,
                  field.fMax, fFactory, &Dynamics::Field, &Dynamics::SetField, iField, iBand)
                .InPreset(PresetGroup::Dynamics)
                .Automatable();
        }
    }
}

void Dynamics::DeclareSwitches() {
    const auto declare = [this](const char* strName, SwitchIndex iSwitch, PresetGroup group) -> BoolRecord& {
        return Bool(strName, m_switches[iSwitch], &Dynamics::Switch, &Dynamics::SetSwitch,
                    std::uint32_t{iSwitch})
            .InPreset(group);
    };
    declare("DYN: Bypass", kBypass, PresetGroup::Dynamics).Automatable();
    declare("DYN: Solo Mute", kSoloMute, PresetGroup::Dynamics);
    declare("DYN: RMS Detection", kMeanSquare, PresetGroup::Dynamics).Automatable();
    declare("DYN: Auto-smoothing", kSmooth, PresetGroup::Dynamics).Automatable();
    declare("DYN: Enable Histogram", kHistogram, PresetGroup::Meters);
    declare("DYN: Enable Gain Reduction Meter", kGainMeter, PresetGroup::Meters);
    declare("DYN: Gain Reduction Meter Peak Hold", kPeakHold, PresetGroup::Meters);
    declare("DYN: Enable Curve Level Meter", kCurveLevel, PresetGroup::Meters);

    Int("DYN: Gain Reduction Meter Source", "", 0, 2, 0, &Dynamics::Choice, &Dynamics::SetChoice,
        std::uint32_t{kMeterSource})
        .InPreset(PresetGroup::Meters)
        .Labelled({"Comp", "Gate", "All"});
    Int("DYN: Gain Reduction Meter Peak Hold Time", "", 0, 5, 2, &Dynamics::Choice, &Dynamics::SetChoice,
        std::uint32_t{kPeakHoldTime})
        .InPreset(PresetGroup::Meters)
        .Labelled({"5", "250", "500", "1000", "5000", "Infinite"});
}

void Dynamics::SetGlobalGainDb(float fDb) {
    fDb = std::clamp(fDb, -kMaxGainDb, kMaxGainDb);
    if (fDb == m_fGlobalGainDb) return;
    MarkDirty();
    const std::lock_guard lock(m_lock);
    m_fGlobalGainDb = fDb;
    m_fGlobalGain = DbToLinear(fDb);
}

float Dynamics::Field(std::uint32_t iField, std::uint32_t iBand) const {
    return m_bands[iBand].Get(static_cast<DynamicsField>(iField));
}

void Dynamics::SetField(std::uint32_t iField, std::uint32_t iBand, float fValue) {
    fValue = std::clamp(fValue, kFields[iField].fMin, kFields[iField].fMax);
    if (fValue == Field(iField, iBand)) return;
    MarkDirty();
    // The design stands under the lock because it reads other settings of the band; it takes less time than a
    // few samples do.
    const std::lock_guard lock(m_lock);
    m_bands[iBand].Set(static_cast<DynamicsField>(iField), fValue);
}

void Dynamics::SetSwitch(std::uint32_t iSwitch, bool bOn) {
    if (bOn == m_switches[iSwitch]) return;
    MarkDirty();
    m_switches[iSwitch] = bOn;
    if (iSwitch == kBypass || iSwitch == kSoloMute) ActivityChanged();
}

void Dynamics::SetChoice(std::uint32_t iChoice, std::int32_t nValue) {
    nValue = std::clamp(nValue, m_ints[iChoice].nMin, m_ints[iChoice].nMax);
    if (nValue == m_choices[iChoice]) return;
    MarkDirty();
    m_choices[iChoice] = nValue;
}

std::uint32_t Dynamics::GetLatency() const {
    return static_cast<std::uint32_t>(DynamicsBand::LookAhead(m_uSampleRate) - 1);
}

void Dynamics::SetSampleRate(std::uint32_t uSampleRate) {
    const std::lock_guard lock(m_lock);
    m_uSampleRate = uSampleRate;
    m_fPeakDecay = static_cast<float>(Pow(kPeakShare, 1.0 / (uSampleRate * kPeakSeconds)));
    for (DynamicsBand& band : m_bands)
        band.SetSampleRate(uSampleRate);
}

std::uint32_t Dynamics::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    if (!IsActive()) return uFrames;
    const DynamicsMode mode{m_switches[kMeanSquare], m_switches[kSmooth], m_switches[kHistogram],
                            m_fPeakDecay, m_fGlobalGain};
    static_assert(kBands <= DynamicsBand::kMostBands);
    std::array<DynamicsBand::Audio, kBands> audio;
    std::size_t uBands = 0;
    for (std::uint32_t b = 0; b < kBands; ++b) {
        if (m_bandsLeft[b]) audio[uBands++] = {&m_bands[b], m_bandsLeft[b], m_bandsRight[b]};
    }
    if (uBands == 0 && Component::Stage() < kBands)
        audio[uBands++] = {&m_bands[Component::Stage()], left, right};
    DynamicsBand::ProcessBands(mode, static_cast<std::int32_t>(uFrames), {audio.data(), uBands});
    return uFrames;
}

void Dynamics::ClearState() {
    const std::lock_guard lock(m_lock);
    for (DynamicsBand& band : m_bands)
        band.Reset();
}

void Dynamics::CopyBand(std::uint32_t uBand, Util::DataStream& stream) const {
    if (uBand >= kBands) return;
    std::vector<float> values;
    for (std::uint32_t iField = 0; iField < kFields.size(); ++iField)
        values.push_back(Field(iField, uBand));
    stream.InsertElements(values);
}

void Dynamics::PasteBand(std::uint32_t uBand, Util::DataStream& stream) {
    if (uBand >= kBands) return;
    std::vector<float> values(kFields.size());
    stream.ExtractElements(values);
    BandValues band;
    std::copy(values.begin(), values.end(), band.begin());
    ReplaceBand(uBand, band);
}

void Dynamics::ResetBand(std::uint32_t uBand) {
    if (uBand >= kBands) return;
    BandValues band;
    for (std::uint32_t iField = 0; iField < kFields.size(); ++iField)
        band[iField] = DynamicsBand::FactoryValue(static_cast<DynamicsField>(iField));
    ReplaceBand(uBand, band);
}

/// Sets all settings of a band and tells the host.
void Dynamics::ReplaceBand(std::uint32_t uBand, const BandValues& values) {
    for (std::uint32_t iField = 0; iField < kFields.size(); ++iField) {
        const std::uint32_t uIndex = 1 + kBands * iField + uBand;
        SetFloat(uIndex, values[iField]);
        const float fValue = GetFloat(uIndex);
        m_plugin.NotifyParameterEvent(ParameterGroup::Float, ParameterPhase::Value, *this, uIndex, &fValue,
                                      nullptr, nullptr);
    }
}

std::array<float, Dynamics::kBands> Dynamics::LevelPeaks() {
    std::array<float, kBands> peaks;
    for (std::uint32_t b = 0; b < kBands; ++b)
        peaks[b] = m_bands[b].LevelPeak().Read();
    return peaks;
}

void Dynamics::ClearLevelPeaks() {
    for (DynamicsBand& band : m_bands)
        band.LevelPeak().Clear();
}

}  // namespace DSP
