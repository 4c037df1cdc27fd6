#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "dsp/DelayLine.h"
#include "dsp/HeldExtreme.h"
#include "dsp/LevelHistogram.h"
#include "dsp/vector/DynamicsKernels.h"
#include "hvBase/Util/Relaxed.h"

namespace DSP {

/// The settings of one band, in the order of every format. Thresholds and the gain are in dB, times in ms.
enum class DynamicsField : std::uint32_t {
    Gain,
    CompThreshold,
    CompRatio,
    CompAttack,
    CompRelease,
    LimThreshold,
    LimRatio,
    LimAttack,
    LimRelease,
    GateThreshold,
    GateRatio,
    GateAttack,
    GateRelease
};

/// What all bands have in common, for one block.
struct DynamicsMode {
    bool bMeanSquare = true;  ///< the detector: mean square, or else peak
    bool bSmooth = true;      ///< the gains run through a one-pole each
    bool bHistogram = true;
    float fPeakDecay = 0.5f;  ///< factor a sample of the peak detector
    float fGlobalGain = 1.0f;
};

/// One band of dynamics: a compressor, a limiter that takes its place above a second threshold, and a
/// downward gate. All three are static laws of one detected level; the compressor and the limiter share one
/// gain, the gate has another, and each gain moves with its own attack and release. Both channels get the
/// same gain.
///
/// Level:     x is the peak detector's state, the larger magnitude of both channels, which falls by the
///            peak decay while it is not exceeded; or the root of the mean square of one channel, or of
///            both averaged. At least -100 dB.
/// Laws:      comp (x / T)^(1 / ratio - 1) from its threshold T up; limiter likewise, times the comp's
///            gain at the limiter's threshold, which joins the two curves; gate (x / T)^(ratio - 1) below
///            its threshold, so a ratio below 1 lifts what is soft. A ratio of 1 is an idle stage.
/// Times:     the one-pole coefficient of OnePole.h. The gain falls with the attack of the law that acts,
///            and rises with the comp's release, always towards 1 and not towards the target. The
///            limiter's release is stored and not used. The gate closes with its release time and opens
///            with its attack time. Smoothing and mean square take a half and an eighth of the shorter of
///            attack and release.
/// Delay:     the audio is late against the gain by 1 ms: round(rate / 1000) - 1 samples.
/// Output:    delayed audio times the gains, plus 1e-10 (right: 2e-10) whose sign turns over every 128
///            samples, which keeps the filters behind out of the subnormal numbers.
/// Edges:     a NaN, an infinity or a sample beyond +120 dB passes the delay as it is and leaves; the
///            detector takes it for silence, so that no state can be poisoned.
/// Threads:   Set, SetSampleRate, Reset and Process under the owning component's lock. Get and what
///            displays read, on any thread.
/// Real time: SetSampleRate allocates. Nothing else does, and no Set costs more than a few exponentials.
/// Blocks:    any length, in place; the output does not depend on how a stream is cut. A null right is
///            mono.
class DynamicsBand {
public:
    static constexpr std::uint32_t kFields = 13;

    /// Every setting at its factory value, at 44100 Hz.
    DynamicsBand();

    /// Length of the look-ahead line, in samples, at a rate in Hz.
    static std::int32_t LookAhead(std::uint32_t uSampleRate) noexcept;
    static float FactoryValue(DynamicsField field) noexcept;

    /// Recomputes every coefficient and clears the look-ahead; at another rate than before, the histogram
    /// too.
    void SetSampleRate(std::uint32_t uSampleRate);

    /// Stores a setting, which the caller has clamped, and recomputes what depends on it.
    void Set(DynamicsField field, float fValue) noexcept;
    float Get(DynamicsField field) const noexcept { return m_settings[Index(field)]; }

    void Process(const DynamicsMode& mode, std::int32_t nFrames, float* left, float* right) noexcept {
        const Audio audio{this, left, right};
        ProcessBands(mode, nFrames, {&audio, 1});
    }

    /// A band and its audio.
    struct Audio {
        DynamicsBand* band;
        float* left;
        float* right;
    };
    static constexpr std::size_t kMostBands = 4;

    /// Processes up to kMostBands different bands. The samples are those of as many calls of Process, sooner:
    /// what waits in one band for the sample before leaves time for the others.
    static void ProcessBands(const DynamicsMode& mode, std::int32_t nFrames,
                             std::span<const Audio> bands) noexcept;

    /// Drops all history: detectors, gains, look-ahead, histogram and what displays read. Settings stay.
    void Reset() noexcept;

    // For displays, on any thread. ----------------------------------------------------------------------

    HeldMaximum& LevelPeak() noexcept { return m_levelPeak; }          ///< linear
    HeldMinimum& MinimumCompGain() noexcept { return m_minimumComp; }  ///< linear, without the band's gain
    HeldMinimum& MinimumGateGain() noexcept { return m_minimumGate; }
    LevelHistogram::CountTable Histogram() const noexcept { return m_histogram.Counts(); }

private:
    static constexpr std::size_t Index(DynamicsField field) { return static_cast<std::size_t>(field); }

    float Coefficient(double fTimeMs) const noexcept;
    float Step(double fTimeMs) const noexcept;
    float ShorterTime(DynamicsField attack, DynamicsField release) const noexcept;
    void Update(DynamicsField field) noexcept;
    void UpdateJoin() noexcept;
    void UpdateCompTimes() noexcept;
    void UpdateGateTimes() noexcept;

    DynamicsTrack Track(std::size_t iChunk) noexcept;
    bool IsAtRest(bool bSmooth) const noexcept;
    bool FindTargets(const DynamicsMode& mode, DynamicsChunk& chunk) noexcept;
    void Output(const DynamicsMode& mode, const DynamicsChunk& chunk, float* left, float* right) noexcept;

    // Set-up: written by Set and SetSampleRate.
    std::array<Util::Relaxed<float>, kFields> m_settings;
    std::uint32_t m_uSampleRate = 44100;
    DynamicsCoefficients m_coefficients;
    float m_fGain = 1.0f;  ///< linear

    // State: Reset clears every member of this group.
    DynamicsDetector m_detector;
    DynamicsGains m_gains;
    DelayLine m_delayLeft;
    DelayLine m_delayRight;
    std::uint8_t m_uNoisePhase = 0;
    LevelHistogram m_histogram;
    HeldMaximum m_levelPeak{0.0f};
    HeldMinimum m_minimumComp{1.0f};
    HeldMinimum m_minimumGate{1.0f};

    // Scratch: means nothing between two calls. The chunk in work, and the one whose detector runs ahead, in
    // turn.
    std::array<DynamicsChunk, 2> m_chunks;
};

}  // namespace DSP
