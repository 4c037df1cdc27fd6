#include "dsp/PeakLimiter.h"

#include <algorithm>
#include <limits>

#include "dsp/LevelHistogram.h"
#include "dsp/vector/ElementaryVector.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/LimiterCurve.h"
#include "dsp/vector/LimiterPeaks.h"

namespace DSP {

namespace {

// The follower stops here, far below every threshold, and does not decay into subnormal numbers.
constexpr float kLeastPeak = 1e-30f;

}  // namespace

PeakLimiter::PeakLimiter() {
    Reset();
}

void PeakLimiter::Reset() {
    for (Line& line : m_lines)
        line.fill(0.0f);
    m_detector.Reset();
    m_bDetectorReady = false;
    m_fFollower = 0.0f;
    m_fGain = 1.0f;
    m_targets.fill(1.0f);
}

float PeakLimiter::Process(float* left, float* right, int nFrames, LevelHistogram* histogram) {
    float fLeast = 1.0f;
    for (int i = 0; i < nFrames; i += kChunk) {
        float* const chunk[2] = {left + i, right ? right + i : nullptr};
        fLeast = std::min(fLeast, ProcessChunk(chunk, std::min(kChunk, nFrames - i), histogram));
    }
    return fLeast;
}

float PeakLimiter::ProcessChunk(float* const* channels, int nFrames, LevelHistogram* histogram) {
    const bool bStereo = channels[1] != nullptr;
    VectorCopy(channels[0], m_lines[0].data() + kDelay, nFrames);
    if (bStereo) VectorCopy(channels[1], m_lines[1].data() + kDelay, nFrames);

    DetectLevels(m_lines[0].data(), bStereo ? m_lines[1].data() : nullptr, nFrames);
    if (histogram) histogram->Add(m_levels.data(), nFrames);
    FollowPeaks(nFrames);
    FindTargets(nFrames);
    const bool bBrickwall = m_settings.law == Law::Brickwall;
    if (bBrickwall) {
        // The sample that goes out now came into the look-ahead with the oldest of these targets.
        SlidingMinimum(m_targets.data(), kLookAhead + 1, m_window.data(), m_window.data(), nFrames);
    }
    FollowTargets(bBrickwall ? m_window.data() : m_targets.data() + kLookAhead, nFrames);
    VectorMove(m_targets.data() + nFrames, m_targets.data(), kLookAhead);

    const float fCeiling = bBrickwall ? m_settings.fCeiling : std::numeric_limits<float>::infinity();
    for (int c = 0; c < (bStereo ? 2 : 1); ++c) {
        float* const line = m_lines[static_cast<std::size_t>(c)].data();
        ApplyGains(line, m_gains.data(), m_settings.fMakeUp, fCeiling, channels[c], nFrames);
        VectorMove(line + nFrames, line, kDelay);
    }
    float fLeast = 1.0f;
    VectorMin(m_gains.data(), nFrames, &fLeast);
    return fLeast;
}

/// The level of each frame that has now been kDetectionDelay frames in the line. The detector sees that many
/// frames less its own delay later than they come, so that it agrees.
void PeakLimiter::DetectLevels(const float* left, const float* right, int nFrames) {
    constexpr int kNow = kDelay - kDetectionDelay;
    if (!m_settings.bInterSample) {
        m_bDetectorReady = false;
        FramePeaks(left + kNow, right ? right + kNow : nullptr, m_levels.data(), nFrames);
        return;
    }
    constexpr int kNext = kNow + InterSampleDetector::kDelay;
    if (!m_bDetectorReady) {
        constexpr int kPast = kNext - InterSampleDetector::kMemory;
        m_detector.Reset();
        m_detector.Prime(left + kPast, right ? right + kPast : nullptr, InterSampleDetector::kMemory);
        m_bDetectorReady = true;
    }
    m_detector.Process(left + kNext, right ? right + kNext : nullptr, nFrames, m_levels.data());
}

/// Replaces each level by the follower's.
void PeakLimiter::FollowPeaks(int nFrames) {
    const float fDecay = m_settings.fPeakDecay;
    float fFollower = m_fFollower;
    for (float* level = m_levels.data(); level != m_levels.data() + nFrames; ++level) {
        // A level above the follower is above its decayed value too, so the greater of those two is meant.
        fFollower = std::max(fFollower * fDecay, std::max(*level, kLeastPeak));
        *level = fFollower;
    }
    m_fFollower = fFollower;
}

/// The gain that each frame's follower asks for: 1 below the threshold.
void PeakLimiter::FindTargets(int nFrames) {
    float* const targets = m_targets.data() + kLookAhead;
    const float fThreshold = m_settings.fThreshold;
    float fHighest = 0.0f;
    VectorMax(m_levels.data(), nFrames, &fHighest);
    if (fHighest < fThreshold) {
        VectorFill(1.0f, targets, nFrames);
    } else if (m_settings.law == Law::Brickwall) {
        for (int i = 0; i < nFrames; ++i) {
            const float fLevel = m_levels[static_cast<std::size_t>(i)];
            targets[i] = fThreshold / std::max(fLevel, fThreshold);
        }
    } else {
        for (int i = 0; i < nFrames; ++i) {
            const float fLevel = m_levels[static_cast<std::size_t>(i)];
            targets[i] = std::max(fLevel, fThreshold) / fThreshold;
        }
        VectorPow(targets, kRatioExponent, targets, nFrames);
    }
}

/// The gain's way to its targets. Recovery heads for 1, whatever the target is; the next targets bring it
/// down again.
void PeakLimiter::FollowTargets(const float* targets, int nFrames) {
    const float fAttack = m_settings.fAttack;
    const float fFall = 1.0f - fAttack;
    const float fRelease = m_settings.fRelease;
    const float fRise = 1.0f - fRelease;
    const bool bBrickwall = m_settings.law == Law::Brickwall;
    float fGain = m_fGain;
    for (int i = 0; i < nFrames; ++i) {
        const float fTarget = targets[i];
        const float fRisen = fGain * fRelease + fRise;
        const float fFallen = fGain * fAttack + fTarget * fFall;
        fGain = fGain <= fTarget ? fRisen : fFallen;
        if (bBrickwall) fGain = std::min(fGain, fTarget);
        m_gains[static_cast<std::size_t>(i)] = fGain;
    }
    m_fGain = fGain;
}

}  // namespace DSP
