#pragma once

#include <array>

#include "dsp/InterSampleDetector.h"

namespace DSP {

class LevelHistogram;

/// A limiter with a look-ahead of 199 samples and attack and release times, in two laws:
///
///     soft       a compressor of 20:1 above the threshold, whose gain may come late: short overshoots pass
///     brickwall  the gain is never above threshold / peak for any peak of the look-ahead: a ceiling
///
/// One gain serves both channels; the make-up gain then puts the threshold at the ceiling. The detected level
/// is the frame's peak, between the samples too if asked for, of the sound 63 samples on, held by a
/// follower that decays.
///
/// Delay:     kDelay frames. The first ones out after a reset are zeros.
/// Units:     everything linear, full scale 1; times as one-pole coefficients. Finite samples are the
///            caller's care.
/// Settings:  take effect with the next block.
/// Blocks:    any length, in place; the samples do not depend on how the stream is cut.
/// Threads:   no lock; one thread at a time.
/// Real time: nothing allocates but the constructor.
class PeakLimiter {
public:
    enum class Law { Soft, Brickwall };

    struct Settings {
        Law law = Law::Soft;
        bool bInterSample = false;
        float fThreshold = 1.0f;
        float fMakeUp = 1.0f;   ///< ceiling / threshold
        float fCeiling = 1.0f;  ///< brickwall: what the three roundings of the gains carry over it is cut off
        float fPeakDecay = 0.0f;  ///< factor a sample
        /// Coefficients c of a one-pole, gain = gain c + target (1 - c).
        float fAttack = 0.0f;
        float fRelease = 0.0f;
    };

    /// Of the detected levels, and in all.
    static constexpr int kDetectionDelay = 63;
    static constexpr int kLookAhead = 199;
    static constexpr int kDelay = kDetectionDelay + kLookAhead;

    PeakLimiter();

    void Set(const Settings& settings) { m_settings = settings; }

    /// Returns the least gain of the block, without the make-up; 1 for none. Each detected level goes into
    /// the histogram, unless that is null. A null right is mono.
    float Process(float* left, float* right, int nFrames, LevelHistogram* histogram);

    void Reset();

private:
    static constexpr int kChunk = 512;
    static constexpr float kRatioExponent = 0.05f - 1.0f;
    using Chunk = std::array<float, kChunk>;
    /// What the delay still holds, oldest first, and a chunk behind it.
    using Line = std::array<float, kDelay + kChunk>;

    float ProcessChunk(float* const* channels, int nFrames, LevelHistogram* histogram);
    void DetectLevels(const float* left, const float* right, int nFrames);
    void FollowPeaks(int nFrames);
    void FindTargets(int nFrames);
    void FollowTargets(const float* targets, int nFrames);

    Settings m_settings;

    // State: Reset clears every member of this group.
    std::array<Line, 2> m_lines{};
    InterSampleDetector m_detector;
    bool m_bDetectorReady = false;  ///< it has seen the frames before the next that it is to see
    float m_fFollower = 0.0f;
    float m_fGain = 1.0f;
    /// The targets of the look-ahead, oldest first, and those of a chunk behind them.
    std::array<float, kLookAhead + kChunk> m_targets{};

    // Scratch: means nothing between two calls.
    Chunk m_levels{};
    Chunk m_gains{};
    std::array<float, kLookAhead + kChunk> m_window{};
};

}  // namespace DSP
