#pragma once

#include <array>
#include <cstdint>

#include "PluginBase/ComponentImpl.h"
#include "dsp/HeldExtreme.h"
#include "dsp/LevelHistogram.h"
#include "dsp/LookAheadStreamer.h"
#include "dsp/PeakLimiter.h"
#include "dsp/VantageLimiter.h"

namespace DSP {

/// The loudness maximizer: raises the level by margin minus threshold and keeps peaks under the margin, in
/// one of three modes: "Soft" and "Brickwall" (PeakLimiter), and "Intelligent" (VantageLimiter under a
/// LookAheadStreamer). All of them feed one histogram of the detected levels and one minimum of the gain.
///
/// Active:    when neither bypassed nor muted by another module's solo. Where automation has the module run
///            all the same, the histogram goes on, the audio passes unchanged and without delay, and what was
///            on its way through the limiters is dropped.
/// Latency:   262 frames in Soft and Brickwall, the limiter's look-ahead in Intelligent: 706 at 44100 Hz.
/// Setters:   clamp, store one value and take no lock; a block uses what it finds at its head. The mode's
///            takes the lock, because it drops the audio history, and tells the engine of the new latency.
/// Blocks:    any length; the samples do not depend on how the stream is cut.
/// Real time: SetSampleRate allocates, nothing else.
/// Recovery:  a sample that is not finite, or beyond 120 dB over full scale, is no audio and reads as 0, so
/// no
///            state is ever poisoned: the sound is clean again with the first clean sample.
class Maximizer final : public ComponentImpl<Maximizer> {
public:
    enum Mode : std::int32_t { kSoft = 0, kBrickwall = 1, kIntelligent = 2 };

    explicit Maximizer(PluginContext& plugin);

    bool IsActive() const override { return !m_switches[kBypass] && !m_switches[kSoloMute]; }
    std::uint32_t GetLatency() const override;
    void SetSampleRate(std::uint32_t uSampleRate) override;
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;

    // For displays, on any thread. --------------------------------------------------------------------------

    /// The least gain since the last Take, linear, without the make-up gain; 1 if there was no reduction.
    float MinimumGain() const { return m_minimumGain.Read(); }
    float TakeMinimumGain() { return m_minimumGain.Take(); }

    /// How many of the last 44100 detected levels lay in each dB.
    LevelHistogram::CountTable Histogram() const { return m_histogram.Counts(); }

private:
    /// The settings of each table, in its order.
    enum FloatIndex : std::uint32_t {
        kThreshold,
        kMargin,
        kRatio,
        kAttack,
        kReleaseTime,
        kCharacter,
        kFloatCount
    };
    enum SwitchIndex : std::uint32_t {
        kBypass,
        kSoloMute,
        kHistogram,
        kGainMeter,
        kPeakHold,
        kInterSample,
        kSwitchCount
    };
    enum ChoiceIndex : std::uint32_t { kMode, kPeakHoldTime, kChoiceCount };

    static constexpr int kChunk = 512;

    float Value(std::uint32_t i) const { return m_values[i]; }
    void SetValue(std::uint32_t i, float fValue);
    bool Switch(std::uint32_t i) const { return m_switches[i]; }
    void SetSwitch(std::uint32_t i, bool bOn);
    std::int32_t Choice(std::uint32_t i) const { return m_choices[i]; }
    void SetChoice(std::uint32_t i, std::int32_t nValue);

    void SetUp(std::uint32_t uSampleRate);
    void ClearHistory();
    void ClearLimiters();
    void TakeSettings();
    void UpdateCoefficients();
    void MeasureInput(const float* left, const float* right, int nFrames);
    void RunIntelligent(float* left, float* right, int nFrames);

    // Parameters: written by setters, read once at the head of a block.
    std::array<Util::Relaxed<float>, kFloatCount> m_values{0.0f, 0.0f, 20.0f, 100.0f, 100.0f, 4.0f};
    std::array<Util::Relaxed<bool>, kSwitchCount> m_switches{true, false, true, true, true, false};
    std::array<Util::Relaxed<std::int32_t>, kChoiceCount> m_choices{kIntelligent, 2};

    // Set-up: written by SetSampleRate only.
    std::uint32_t m_uSampleRate = 44100;
    Util::Relaxed<std::uint32_t> m_uLookAhead = 0;  ///< of the streamer, in frames

    // What the block in progress goes by; under the lock.
    std::array<float, kFloatCount> m_current{};  ///< the values from which the rest was computed
    bool m_bCurrent = false;                     ///< they are those of the present rate
    PeakLimiter::Settings m_settings;
    float m_fMakeUp = 1.0f;
    float m_fSoftAttack = 0.0f;
    float m_fBrickwallAttack = 0.0f;

    // State: ClearState clears every member of this group.
    PeakLimiter m_peakLimiter;
    VantageLimiter m_limiter;
    LookAheadStreamer m_streamer{m_limiter};
    bool m_bLimitersClear = true;
    bool m_bStereo = true;  ///< channels of the block before
    LevelHistogram m_histogram;
    HeldMinimum m_minimumGain{1.0f};

    // Scratch.
    std::array<float, kChunk> m_levels{};
    /// The right channel of a mono stream for the streamer, which always has two, so that a change of the
    /// count allocates nothing. A reduction leaves it silent.
    std::array<float, kChunk> m_silence{};
};

}  // namespace DSP
