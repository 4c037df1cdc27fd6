#pragma once

#include <array>
#include <vector>

#include "dsp/InterSampleDetector.h"
#include "dsp/LimiterCharacter.h"
#include "dsp/LimiterRelease.h"
#include "dsp/LookAheadProcessor.h"

namespace DSP {

/// A limiter that looks 16 ms ahead and thinks in dB: what exceeds the threshold, one value a frame for all
/// channels, is held for a while to either side, given a release that the signal's own activity shapes
/// (LimiterRelease), smoothed by a raised cosine, and taken off the samples. At the narrow end of the
/// character it is a clipper.
///
/// Block:     as LookAheadProcessor: the first frames of each pointer are limited in place, and the
///            LookAhead() frames behind them are read. A LookAheadStreamer drives it.
/// Units:     threshold and reductions in dB, full scale 1. Samples below the threshold, with no reduction
///            around, pass bit by bit. Finite samples of at most 120 dB are the caller's care.
/// Channels:  1 or 2.
/// Settings:  take effect with the next block. A threshold holds for frames that are detected from then on,
///            LookAhead() ahead of the sound; a character from the next block's first sample on.
/// Blocks:    any length; the samples do not depend on how the stream is cut.
/// Threads:   as AudioProcessor; the setters too belong to its owner's lock.
/// Real time: Initialise and Configure allocate, nothing else: long blocks are worked off in pieces.
class VantageLimiter final : public LookAheadProcessor {
public:
    static constexpr int kMinSampleRate = 8000;

    VantageLimiter();

    /// Below kMinSampleRate, where the look-ahead would be shorter than what looks at it, the rate reads as
    /// that. Resets.
    void Initialise(int nChannels, int nSampleRate, int nMaxFrames);

    /// Initialise with the rate as it is.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;
    void Grow(int nMaxFrames) override;

    void SetThreshold(float fThresholdDb);
    float Threshold() const noexcept { return m_fThresholdDb; }
    /// 0 to 1.5, see LimiterCharacter.
    void SetCharacter(float fCharacter);
    float Character() const noexcept { return m_fCharacter; }
    /// Whether peaks between the samples count.
    void SetInterSampleDetection(bool bEnable) { m_bInterSample = bEnable; }

    void Process(float* const* channels, int nFrames, float* const* outputs) override;
    void Reset() override;

    /// L = 1 + rate * 0.016, the fraction cut off: 706 frames at 44100 Hz.
    int LookAhead() const noexcept override { return m_nLookAhead; }
    int Delay() const noexcept override { return 0; }

    /// The greatest reduction of the last block in dB, 0 or more.
    float LargestReduction() const noexcept { return m_fLargestReduction; }

private:
    static constexpr int kChunk = 512;
    static constexpr int kPiece = 256;
    // The look-ahead is long; its over values move to the front only once in so many frames.
    static constexpr int kOverSlack = 4 * kChunk;

    void ProcessChunk(float* const* channels, int nFrames);
    void Detect(float* const* channels, int nFrames);
    void FindPeaks(float* const* channels, int nFirst, int nCount, float* peaks);
    void ComputeCurve(int nFrames);
    void Apply(float* const* channels, int nFrames);
    void DropFrames(int nFrames);

    // Positions in the buffers below count from the block's first frame; each begins with the frames before
    // it that are still looked at, as many as the smoothing filter has to one side.
    float* Over(int nPosition) { return m_over.data() + m_nOverStart + m_character.nHalfWidth + nPosition; }
    float* Curve(int nPosition) { return m_curve.data() + m_character.nHalfWidth + nPosition; }

    // Set-up: written by Initialise only.
    int m_nSampleRate = 44100;
    int m_nLookAhead = 0;

    // Settings.
    float m_fThresholdDb = -3.0f;
    float m_fThreshold = 0.0f;  ///< linear
    float m_fCharacter = 0.5f;
    bool m_bInterSample = false;
    LimiterCharacter m_character;

    // State: Reset clears every member of this group.
    InterSampleDetector m_detector;
    bool m_bDetectorReady = false;  ///< it has seen the frames before the next that it is to see
    std::vector<float> m_over;      ///< dB above the threshold
    int m_nOverStart = 0;           ///< where in m_over its positions begin
    int m_nDetected = 0;            ///< positions from 0 on in m_over
    std::vector<float> m_curve;     ///< dB, before the smoothing
    int m_nCurve = 0;               ///< positions from 0 on in m_curve
    LimiterRelease m_release;
    float m_fLargestReduction = 0.0f;

    // Scratch: means nothing between two calls.
    std::vector<float> m_held;
    std::array<float, kChunk> m_reduction{};
    std::array<float, kChunk> m_gains{};
};

}  // namespace DSP
