#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "PluginBase/ComponentImpl.h"
#include "dsp/meter/SpectrumAnalyzer.h"

namespace DSP::Meter {

/// The spectrum meter: a SpectrumAnalyzer with the user's choices, fed where the module order says, or with
/// one band of the crossover.
///
/// Threads:   Meter on the audio thread, readings on any; each takes the component's lock, a reading for the
///            time of one copy.
/// Setters:   a changed choice builds a new analyzer before it takes the lock, and begins a new measurement.
/// Real time: Meter allocates nothing.
class Spectrum final : public ComponentImpl<Spectrum> {
public:
    static constexpr std::uint32_t kMaxValues = SpectrumAnalyzer::kMaxValues;

    /// `demand` tells by its IsActive whether the measurement is wanted. It must outlive this object.
    Spectrum(PluginContext& plugin, const Component& demand);

    /// Adds a block; a null right is mono.
    void Meter(std::uint32_t uFrames, const float* left, const float* right) noexcept;

    bool IsActive() const override { return MetersEnabled() && m_demand.IsActive(); }
    void SetSampleRate(std::uint32_t uSampleRate) override;
    void ClearState() override;

    /// Feeds the meter with a band of the crossover as well, or with none (the default).
    void SetBandAnalysis(bool bEnable) noexcept { m_bBandAnalysis = bEnable; }
    void SetAnalysedBand(std::uint32_t uBand) noexcept { m_uBand = uBand; }
    bool AnalysesBand(std::uint32_t uBand) const noexcept { return m_bBandAnalysis && m_uBand == uBand; }

    // For displays and snapshots. -------------------------------------------------------------------------

    /// Copies the magnitudes, linear, if there are new ones since the last call, and returns their number;
    /// otherwise 0. Each call that returns some makes a real-time spectrum fall by one step.
    std::uint32_t Read(std::span<float, kMaxValues> magnitudes);

    struct Reading {
        SpectrumType type = SpectrumType::Linear;
        std::string strType;                ///< the type's label
        std::uint32_t uSampleRate = 44100;  ///< Hz
        std::vector<float> frequencies;     ///< Hz: of a bin, of the middle of a band
        std::vector<float> magnitudes;      ///< linear
    };

    /// The present values, which stay as they are. Allocates.
    Reading Current();

private:
    enum ChoiceIndex : std::uint32_t {
        kType,
        kAverage,
        kPeakHoldTime,
        kWindowSize,
        kOverlap,
        kWindowType,
        kChoices
    };

    bool ShowPeakHold() const { return m_bShowPeakHold; }
    void SetShowPeakHold(bool bShow);
    std::int32_t Choice(std::uint32_t iChoice) const { return m_choices[iChoice]; }
    void SetChoice(std::uint32_t iChoice, std::int32_t nValue);
    SpectrumSettings Settings(std::uint32_t uSampleRate) const;
    void Install(std::unique_ptr<SpectrumAnalyzer> analyzer);

    const Component& m_demand;

    /// Taken outside the component's lock by whatever sets up, never by the audio thread.
    Util::NamedLock m_setUpLock{"Spectrum set-up"};

    // Parameters: written by setters.
    Util::Relaxed<bool> m_bShowPeakHold = false;
    std::array<Util::Relaxed<std::int32_t>, kChoices> m_choices{0, 0, 2, 3, 5, 4};
    Util::Relaxed<bool> m_bBandAnalysis = false;
    Util::Relaxed<std::uint32_t> m_uBand = 0;

    Util::Relaxed<std::uint32_t> m_uSampleRate = SpectrumSettings{}.uSampleRate;
    std::unique_ptr<SpectrumAnalyzer> m_analyzer;  ///< replaced under both locks
};

}  // namespace DSP::Meter
