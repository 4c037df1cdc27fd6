#include "dsp/meter/SpectrumState.h"

namespace DSP::Meter {

SpectrumState::SpectrumState(PluginContext& plugin) : ComponentImpl(plugin, "SpectrumState") {
    const auto add = [this](const char* strName, SwitchIndex iSwitch) {
        Bool(strName, m_switches[iSwitch], &SpectrumState::Switch, &SpectrumState::SetSwitch,
             std::uint32_t{iSwitch})
            .InPreset(PresetGroup::Meters);
    };
    add("Spectrum Show Musical Units", kMusicalUnits);
    add("Spectrum Show Hz/dB Readout", kReadout);
    add("Spectrum Enable EQ Spectrum", kEqSpectrum);
    add("Spectrum Enable Mini-Spectrum", kMiniSpectrum);
    add("Spectrum Show Mini-Spectrum Slider Handles", kSliderHandles);
    FinishTables();
}

void SpectrumState::SetSwitch(std::uint32_t iSwitch, bool bOn) {
    if (bOn == m_switches[iSwitch]) return;
    MarkDirty();
    m_switches[iSwitch] = bOn;
    if (iSwitch == kEqSpectrum || iSwitch == kMiniSpectrum) ActivityChanged();
}

}  // namespace DSP::Meter
