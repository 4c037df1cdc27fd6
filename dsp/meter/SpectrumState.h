#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/ComponentImpl.h"

namespace DSP::Meter {

/// The switches of the spectrum displays. It measures nothing; its activity says whether anybody wants a
/// spectrum: it is active while the equalizer's spectrum or the mini-spectrum is on.
///
/// Threads: any. Every switch is one value; no setter takes a lock.
class SpectrumState final : public ComponentImpl<SpectrumState> {
public:
    explicit SpectrumState(PluginContext& plugin);

    bool IsActive() const override { return m_switches[kEqSpectrum] || m_switches[kMiniSpectrum]; }

private:
    enum SwitchIndex : std::uint32_t {
        kMusicalUnits,
        kReadout,
        kEqSpectrum,
        kMiniSpectrum,
        kSliderHandles,
        kSwitches
    };

    bool Switch(std::uint32_t iSwitch) const { return m_switches[iSwitch]; }
    void SetSwitch(std::uint32_t iSwitch, bool bOn);

    std::array<Util::Relaxed<bool>, kSwitches> m_switches{false, true, true, true, true};
};

}  // namespace DSP::Meter
