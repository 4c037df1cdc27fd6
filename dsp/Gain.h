#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/ComponentImpl.h"

namespace DSP {

/// The gain of the chain's input, of its output and of a bypassed chain, in one component. The caller sets
/// the stage before each call: 0 input, 1 output, 2 bypass; any other stage leaves the audio alone.
///
/// Units:  gains in dB, -144 to 10 (bypass -20 to 10), beyond that clamped. Always active, no latency.
/// Ramps:  a changed input or output gain is reached over the first 32 frames of a block along a raised
///         cosine, or over a shorter block along a line that stops one step short, because the next block
///         begins on the gain itself. After ClearState, and in bypass, gains jump. The samples of a ramp
///         thus depend on where the block begins.
/// Link:   with a pair's lock on, setting one channel sets the other, at the difference that was found by the
///         last state or preset load.
/// Real time: setters take no lock; a block uses the gains it finds at its head. Nothing allocates.
class Gain final : public ComponentImpl<Gain> {
public:
    enum Stage : std::uint32_t { kInput = 0, kOutput = 1, kBypass = 2 };

    /// The range of the input and output gains in dB, and the indices of the left ones in the Float table;
    /// each right one follows.
    static constexpr float kMinDb = -144.0f;
    static constexpr float kMaxDb = 10.0f;
    static constexpr std::uint32_t kInputLeftIndex = 1;
    static constexpr std::uint32_t kOutputLeftIndex = 3;

    explicit Gain(PluginContext& plugin);

    bool IsActive() const override { return true; }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;

    void BeginStateLoad() override { m_bStateLoading = true; }
    void EndStateLoad() override;
    /// A preset's gains are taken as they were saved, like a state's.
    void BeginPresetChange() override { BeginStateLoad(); }
    void EndPresetChange() override { EndStateLoad(); }

private:
    static constexpr std::uint32_t kGains = 4;  ///< input left, input right, output left, output right
    static constexpr std::int32_t kRampLength = 32;

    /// Both forms of a gain cross threads as one value: two setters at once leave a pair that belongs
    /// together.
    struct alignas(8) Value {
        float fDb = 0.0f;
        float fLinear = 1.0f;

        static Value OfDb(float fDb);
    };

    float GainDb(std::uint32_t iGain) const { return m_gains[iGain].Get().fDb; }
    void SetGainDb(std::uint32_t iGain, float fDb);
    float BypassGainDb() const { return m_bypass.Get().fDb; }
    void SetBypassGainDb(float fDb);
    bool InputLock() const { return m_bInputLock; }
    void SetInputLock(bool bLock) { m_bInputLock = bLock; }
    bool OutputLock() const { return m_bOutputLock; }
    void SetOutputLock(bool bLock) { m_bOutputLock = bLock; }
    void ProcessChannel(std::uint32_t uFrames, float* samples, float fPrevious, float fGain,
                        bool bRamp) const;

    // Set-up: written at construction only.
    std::array<float, kRampLength> m_rampTable;

    // Parameters: written by setters, read once at the head of a block.
    Util::Relaxed<Value> m_bypass = Value{};
    std::array<Util::Relaxed<Value>, kGains> m_gains = {Value{}, Value{}, Value{}, Value{}};
    Util::Relaxed<bool> m_bInputLock = true;
    Util::Relaxed<bool> m_bOutputLock = true;
    std::array<Util::Relaxed<float>, 2> m_fLinkOffset;  ///< right minus left in dB: input, output
    Util::Relaxed<bool> m_bStateLoading = false;

    // State: ClearState makes the next block jump to its gains.
    std::array<float, kGains> m_fPrevious{1.0f, 1.0f, 1.0f, 1.0f};
    std::array<bool, kGains> m_bPrimed{};
};

}  // namespace DSP
