#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/ComponentImpl.h"
#include "dsp/DepthShaper.h"

namespace DSP {

/// The last stage of the chain: quantises to a word length, with dither and noise shaping of three kinds. The
/// work is done by DepthShaper.
///
/// Types:     "Type 1" is uniform noise of half a step either way, or a whole one with 2 bits; "Type 2" is
///            high-passed triangular noise of twice that. Both may be shaped by the filter of the shape.
///            "DSHP+" (also called type 3) scales the noise of "Type 2" by its amount, and takes a filter
///            designed for the sample rate. Minimize Peaks works with "DSHP+" only, Auto Blanking only
///            with a filter. The types' amounts are 0.5, 1 and 0 to 1; twice the first two with 2 bits.
/// Active:    when the type is not "None"; otherwise the signal passes bit by bit. No latency.
/// Setters:   clamp. A new value configures the shaper anew under the component's lock, which copies a filter
///            of at most 60 taps, on whichever thread; the shaper then begins as at the start of a stream.
/// Real time: nothing allocates after construction.
/// Recovery:  a NaN or an infinity counts as silence: see DepthShaper.
class Dither final : public ComponentImpl<Dither> {
public:
    enum Type : std::int32_t { kNone = 0, kDshp = 1, kType1 = 2, kType2 = 3 };

    explicit Dither(PluginContext& plugin);

    bool IsActive() const override { return m_choices[kType] != kNone; }
    void SetSampleRate(std::uint32_t uSampleRate) override;
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;

    /// The word length in force, in bits: 8, 12, 16, 20 or 24.
    std::int32_t WordLength() const;

private:
    /// In the order of their tables.
    enum SwitchIndex : std::uint32_t { kAutoBlanking, kMinimizePeaks, kKillHarmonics, kSwitches };
    enum ChoiceIndex : std::uint32_t {
        kBitDepth,
        kType,
        kShape,
        kType3Shape,
        kType3Amount,
        kNumBits,
        kChoices
    };

    bool Switch(std::uint32_t iSwitch) const { return m_switches[iSwitch]; }
    void SetSwitch(std::uint32_t iSwitch, bool bOn);
    std::int32_t Choice(std::uint32_t iChoice) const { return m_choices[iChoice]; }
    void SetChoice(std::uint32_t iChoice, std::int32_t nValue);
    void Reconfigure();

    // Parameters: written by setters.
    std::array<Util::Relaxed<bool>, kSwitches> m_switches{};
    std::array<Util::Relaxed<std::int32_t>, kChoices> m_choices{2, 0, 2, 3, 2, 0};

    // Under the component's lock.
    std::uint32_t m_uSampleRate = 44100;
    DepthShaper m_shaper;
};

}  // namespace DSP
