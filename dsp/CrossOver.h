#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "PluginBase/BandSplitter.h"
#include "PluginBase/ComponentImpl.h"
#include "dsp/AnalogCrossover.h"
#include "dsp/BufferSizes.h"
#include "dsp/DigitalCrossover.h"
#include "dsp/DisplayResponse.h"

namespace DSP {

/// Divides the signal into one to four bands for the multiband modules, with filters of one of two kinds:
///
///     Analog     fourth-order Linkwitz-Riley filters, no delay; a moved cutoff cross-fades
///     Digital    linear-phase filters behind the block buffer; the bands sum to the delayed input
///
/// Active while any band module is. The bypass and mute bits are only kept here; the chain obeys them.
///
/// Units:     cutoffs in Hz, 20 to 20000; Q, 1 to 40, is the steepness of the digital skirts and without
///            effect on the analogue ones. Cutoffs between the bands in use that do not ascend are kept, and
///            the filters stay as they were until the order is right again.
/// Design:    the analogue filters are designed in a microsecond, under the component's lock. A digital
///            design takes a hundred or two, outside it: a setter notes the wanted values under the lock,
///            designs, and installs the result under the lock unless that of a later request is there
///            already. So setters may meet on any two threads, and none waits for another's design.
///            Automation, which runs on the audio thread and has the lock anyway, designs in the filters that
///            are not in force; a change of the buffer size exchanges all that the digital type has, with
///            filters of the same taps, in one step.
/// Restarts:  type, number of bands and buffer size drop the audio history.
/// Real time: blocks, automation and analogue setters allocate nothing: the digital type has its memory from
///            the beginning, for any number of bands and for mono and stereo. An automated cutoff costs it a
///            design a stride on the audio thread.
/// NaN:       Analog loses the block in which a NaN or an infinity stands, Digital that sample; see
///            AnalogCrossover and Crossover.
class CrossOver final : public ComponentImpl<CrossOver>, public BandSplitter {
public:
    enum Type : std::int32_t { kAnalog = 0, kDigital = 1 };
    static constexpr std::uint32_t kBands = ComponentBlockBuffer::kBands;
    static constexpr std::uint32_t kCutoffs = kBands - 1;

    explicit CrossOver(PluginContext& plugin);
    ~CrossOver() override;

    /// The components that work on the bands: this one is active and automated when one of them is. Called
    /// once, before the engine asks.
    void SetBandModules(std::vector<const Component*> modules);

    /// The cutoffs in use, one fewer than bands. Any thread.
    std::vector<float> GetCutoffs() const;

    /// Sets cutoffs and number of bands in one step: one band more than the list has entries, and one band if
    /// that is more than four. An equal list changes nothing.
    void SetCutoffs(const std::vector<float>& cutoffs);

    /// The frequencies of the curve display in Hz.
    const ResponseCurve& Frequencies() const { return m_frequencies; }

    /// One band's response in dB at those frequencies, of the filters in force. With one band it is flat; a
    /// band that has no filters is silent, unless it is the lowest. Not on the audio thread.
    void ComputeBandResponse(std::uint32_t iBand, ResponseCurve& decibels);

    // BandSplitter: the bands that the latest block was, or the next will be, split into.
    std::uint32_t BandCount() const override { return m_uBandsInForce; }
    float UpperCutoff(std::uint32_t iBand) const override { return m_cutoffs[iBand]; }
    bool IsBandBypassed(std::uint32_t iBand) const override { return m_bypass[iBand]; }
    bool IsBandMuted(std::uint32_t iBand) const override { return m_mute[iBand]; }

    void SetSampleRate(std::uint32_t uSampleRate) override;
    bool IsActive() const override;
    bool HasAutomation() const override;
    std::uint32_t GetLatency() const override { return m_uLatency; }
    void ClearState() override;
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;

private:
    /// What the digital filters are designed from, taken under the lock.
    struct Request;

    /// What the digital type works with, made for one block length.
    struct Digital {
        explicit Digital(int nBlock);
        /// Goes on with the filters that another one has in force.
        void TakeFilters(const Digital& other);
        /// Designs in the spare filters and puts them into force.
        void Redesign(const DigitalFilters::Design& design);
        /// Puts filters into force, and leaves those before in the argument.
        void Install(std::shared_ptr<DigitalFilters>& filters);

        Crossover crossover;
        DigitalFilters::Work work;
        std::shared_ptr<DigitalFilters> inForce;  ///< the crossover's
        std::shared_ptr<DigitalFilters> spare;    ///< nobody else's
    };

    float Q() const { return m_fQ; }
    void SetQ(float fQ);
    float Cutoff(std::uint32_t i) const { return m_cutoffs[i]; }
    void SetCutoff(std::uint32_t i, float fCutoff);
    void SetBandBypassed(std::uint32_t iBand, bool bBypass);
    void SetBandMuted(std::uint32_t iBand, bool bMute);
    std::int32_t NumberOfBands() const { return m_nBands; }
    void SetNumberOfBands(std::int32_t nBands);
    std::int32_t GetType() const { return m_nType; }
    void SetType(std::int32_t nType);
    std::int32_t BufferSize() const { return m_nBufferSize; }
    void SetBufferSize(std::int32_t iSize);

    void SetAndRestart(Util::Relaxed<std::int32_t>& parameter, std::int32_t nValue);
    AnalogCrossover::Cutoffs AllCutoffs() const;
    void Restart();
    void RestartAnalog();
    void RedesignDigital(bool bRestart);
    Request TakeRequest(bool bRestart);
    void Enter(const Request& request);
    void RestartBlocks();
    void ResetFilters();
    void UpdateInForce(std::int32_t nBands);
    void ProcessDigital(int nFrames, float* const* inputs, int nChannels,
                        const Crossover::BandPointers* bands);

    // Set-up: written at construction only, the modules by SetBandModules.
    const ResponseCurve m_frequencies;
    std::vector<const Component*> m_modules;

    // Parameters: written by setters. Those that the filters depend on are stored under the lock.
    Util::Relaxed<float> m_fQ = 5.0f;
    std::array<Util::Relaxed<float>, kCutoffs> m_cutoffs = {120.0f, 2000.0f, 10000.0f};
    std::array<Util::Relaxed<bool>, kBands> m_bypass{};
    std::array<Util::Relaxed<bool>, kBands> m_mute{};
    Util::Relaxed<std::int32_t> m_nBands = std::int32_t{kBands};
    Util::Relaxed<std::int32_t> m_nType = std::int32_t{kAnalog};
    Util::Relaxed<std::int32_t> m_nBufferSize = kDefaultBufferSize;

    // What plays, under the lock. Digital requests are numbered; one that is older than what is installed is
    // dropped.
    std::uint32_t m_uSampleRate = 44100;
    bool m_bDigital = false;
    AnalogCrossover m_analog;
    std::unique_ptr<Digital> m_digital;
    std::uint64_t m_uRequested = 0;
    std::uint64_t m_uRestartRequested = 0;
    std::uint64_t m_uInstalled = 0;
    // The same, for readers without the lock.
    Util::Relaxed<std::uint32_t> m_uBandsInForce = kBands;
    Util::Relaxed<std::uint32_t> m_uLatency = 0;
};

}  // namespace DSP
