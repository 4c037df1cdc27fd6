#pragma once

#include <cstdint>
#include <optional>

#include "PluginBase/ComponentImpl.h"
#include "dsp/Gain.h"
#include "dsp/HeldExtreme.h"

namespace DSP::Meter {

/// Finds the highest peak of the chain's input and output, and the gain that brings one of them to a target.
/// It measures while a dialog has it switched on, and keeps the peaks until they are cleared.
///
/// Peaks:   linear magnitudes, 0 for silence. NaNs count for nothing, and an infinity as little: no gain
///          could bring it to a target.
/// Threads: measuring on the audio thread, everything else on any; nothing locks, no peak is lost.
class AutoNormalize final : public ComponentImpl<AutoNormalize> {
public:
    enum class Source { Input, Output };
    enum class Unit { Percent, Decibels };

    explicit AutoNormalize(PluginContext& plugin) : ComponentImpl(plugin, "AutoNormalize") { FinishTables(); }

    /// Takes a block into the peak; a null right is mono.
    void MeasureInput(std::uint32_t uFrames, const float* left, const float* right) noexcept;
    void MeasureOutput(std::uint32_t uFrames, const float* left, const float* right) noexcept;

    bool IsActive() const override { return MetersEnabled() && m_bEnabled; }
    void SetEnabled(bool bEnable);

    float InputPeak() const noexcept { return m_inputPeak.Read(); }
    float OutputPeak() const noexcept { return m_outputPeak.Read(); }
    void Clear() noexcept;

    /// The gain in dB, -144 to 10, that takes the source's peak to a target in percent of full scale or in
    /// dB. Nothing while the source has been silent, or for a target that is not a number.
    std::optional<float> GainDb(Source source, float fTarget, Unit unit) const noexcept;

    /// Sets both channels of the source's gain stage to that gain. False, and nothing changes, if there is
    /// none.
    bool Apply(Gain& gain, Source source, float fTarget, Unit unit) const;

private:
    Util::Relaxed<bool> m_bEnabled = false;
    HeldMaximum m_inputPeak{0.0f};
    HeldMaximum m_outputPeak{0.0f};
};

}  // namespace DSP::Meter
