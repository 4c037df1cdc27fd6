#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/ComponentImpl.h"
#include "dsp/DynamicsBand.h"

namespace DSP {

/// The multiband dynamics: one DynamicsBand a band of the crossover. The chain passes all bands in one call,
/// with a null band left out, unless there is automation. A call without bands is for one band's audio, with
/// the band as the stage before it; a stage beyond the last band leaves the audio alone.
///
/// Active:    when neither bypassed nor muted by another module's solo. Otherwise audio passes unchanged
///            and without delay, also where automation has the module run.
/// Latency:   round(rate / 1000) - 1 frames: the look-ahead.
/// Setters:   clamp. Those of a band recompute what depends on the value, a few exponentials, under the
///            component's lock, on whichever thread; the others store one value.
/// Real time: SetSampleRate allocates, nothing else.
/// Recovery:  no state can be poisoned by a NaN, an infinity or a huge sample: see DynamicsBand. They
///            leave the look-ahead after 1 ms.
class Dynamics final : public ComponentImpl<Dynamics> {
public:
    static constexpr std::uint32_t kBands = 4;

    explicit Dynamics(PluginContext& plugin);

    bool IsActive() const override { return !m_switches[kBypass] && !m_switches[kSoloMute]; }
    std::uint32_t GetLatency() const override;
    void SetSampleRate(std::uint32_t uSampleRate) override;
    bool TakesAllBands() const override { return true; }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;

    /// A band as thirteen floats in the order of DynamicsField. Pasting takes all of them or, if the stream
    /// ends too soon and throws, none; the host is told of each. A NaN leaves its setting alone. A band
    /// beyond the last does nothing.
    void CopyBand(std::uint32_t uBand, Util::DataStream& stream) const override;
    void PasteBand(std::uint32_t uBand, Util::DataStream& stream) override;
    void ResetBand(std::uint32_t uBand) override;

    // For displays, on any thread. Levels and gains are linear. --------------------------------------------

    /// The greatest detected level of each band since ClearLevelPeaks.
    std::array<float, kBands> LevelPeaks();
    void ClearLevelPeaks();

    /// The least gain of the compressor and limiter, and of the gate, since the last call; 1 if there was
    /// none.
    float TakeMinimumCompGain(std::uint32_t uBand) { return m_bands[uBand].MinimumCompGain().Take(); }
    float TakeMinimumGateGain(std::uint32_t uBand) { return m_bands[uBand].MinimumGateGain().Take(); }

    /// How many of the last 44100 detected levels lay in each dB.
    LevelHistogram::CountTable Histogram(std::uint32_t uBand) const { return m_bands[uBand].Histogram(); }

private:
    /// The switches, in the order of their table.
    enum SwitchIndex : std::uint32_t {
        kBypass,
        kSoloMute,
        kMeanSquare,
        kSmooth,
        kHistogram,
        kGainMeter,
        kPeakHold,
        kCurveLevel,
        kSwitches
    };
    enum ChoiceIndex : std::uint32_t { kMeterSource, kPeakHoldTime, kChoices };
    using BandValues = std::array<float, DynamicsBand::kFields>;

    void DeclareFields();
    void DeclareSwitches();

    float GlobalGainDb() const { return m_fGlobalGainDb; }
    void SetGlobalGainDb(float fDb);
    float Field(std::uint32_t iField, std::uint32_t iBand) const;
    void SetField(std::uint32_t iField, std::uint32_t iBand, float fValue);
    bool Switch(std::uint32_t iSwitch) const { return m_switches[iSwitch]; }
    void SetSwitch(std::uint32_t iSwitch, bool bOn);
    std::int32_t Choice(std::uint32_t iChoice) const { return m_choices[iChoice]; }
    void SetChoice(std::uint32_t iChoice, std::int32_t nValue);
    void ReplaceBand(std::uint32_t uBand, const BandValues& values);

    // Parameters: written by setters, read once at the head of a block. A band's own settings stand in the
    // band.
    std::array<Util::Relaxed<bool>, kSwitches> m_switches{true, false, true, true, true, true, true, true};
    std::array<Util::Relaxed<std::int32_t>, kChoices> m_choices{0, 2};
    Util::Relaxed<float> m_fGlobalGainDb = 0.0f;

    // Set-up: under the component's lock.
    float m_fGlobalGain = 1.0f;  ///< linear
    float m_fPeakDecay = 0.5f;   ///< factor a sample; this value only before the first sample rate
    Util::Relaxed<std::uint32_t> m_uSampleRate = 44100;

    std::array<DynamicsBand, kBands> m_bands;
};

}  // namespace DSP
