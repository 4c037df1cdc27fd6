#include "dsp/VantageLimiter.h"

#include <algorithm>
#include <cstddef>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/ElementaryVector.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/LimiterCurve.h"
#include "dsp/vector/LimiterPeaks.h"

namespace DSP {

namespace {

constexpr double kLookAheadSeconds = 0.016;

std::size_t Size(int nLength) {
    return static_cast<std::size_t>(nLength);
}

float* At(float* samples, int nPosition) {
    return samples ? samples + nPosition : nullptr;
}

}  // namespace

VantageLimiter::VantageLimiter() {
    SetThreshold(m_fThresholdDb);
    Initialise(2, m_nSampleRate, kChunk);
}

void VantageLimiter::Initialise(int nChannels, int nSampleRate, int nMaxFrames) {
    m_nSampleRate = std::max(nSampleRate, kMinSampleRate);
    Configure(nChannels, nChannels, nMaxFrames);
}

void VantageLimiter::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    LookAheadProcessor::Configure(std::clamp(nInputs, 1, 2), nOutputs, nMaxFrames);
    m_nLookAhead = 1 + static_cast<int>(m_nSampleRate * kLookAheadSeconds);
    m_character.SetUp(m_nSampleRate);
    m_character.Set(m_fCharacter);
    const int nHalf = m_character.nHalfWidth;
    m_over.resize(Size(kOverSlack + nHalf + m_nLookAhead));
    m_curve.resize(Size(nHalf + kChunk + nHalf));
    m_release.SetUp(kChunk + nHalf);
    m_held.resize(Size(nHalf + kChunk + 2 * nHalf));
    Reset();
}

void VantageLimiter::Grow(int nMaxFrames) {
    m_nMaxFrames = std::max(m_nMaxFrames, nMaxFrames);
}

void VantageLimiter::SetThreshold(float fThresholdDb) {
    m_fThresholdDb = fThresholdDb;
    m_fThreshold = DbToLinear(fThresholdDb);
}

void VantageLimiter::SetCharacter(float fCharacter) {
    if (fCharacter == m_fCharacter) return;
    m_fCharacter = fCharacter;
    m_character.Set(fCharacter);
    // What has been computed ahead of the next block was of the old character.
    m_nCurve = 0;
    m_release.Restart();
}

void VantageLimiter::Reset() {
    m_detector.Reset();
    m_bDetectorReady = false;
    std::fill(m_over.begin(), m_over.end(), 0.0f);
    m_nOverStart = 0;
    m_nDetected = 0;
    std::fill(m_curve.begin(), m_curve.end(), 0.0f);
    m_nCurve = 0;
    m_release.Reset();
    m_fLargestReduction = 0.0f;
}

void VantageLimiter::Process(float* const* channels, int nFrames, float* const* outputs) {
    LookAheadProcessor::Process(channels, nFrames, outputs);
    if (nFrames < 1) return;
    m_fLargestReduction = 0.0f;
    for (int nDone = 0; nDone < nFrames; nDone += kChunk) {
        float* const chunk[2] = {channels[0] + nDone, InputChannels() > 1 ? channels[1] + nDone : nullptr};
        ProcessChunk(chunk, std::min(kChunk, nFrames - nDone));
    }
}

void VantageLimiter::ProcessChunk(float* const* channels, int nFrames) {
    Detect(channels, nFrames);
    if (m_character.bDirect) {
        // The over values are the reduction and, for a character that widens later, the curve. The release
        // stands still.
        VectorCopy(Over(0), Curve(0), nFrames);
        VectorCopy(Over(0), m_reduction.data(), nFrames);
        m_nCurve = nFrames;
    } else {
        ComputeCurve(nFrames);
        SmoothSymmetric(m_character.taps.data(), m_character.nHold, Curve(0), m_reduction.data(), nFrames);
        m_release.Drop(nFrames);
    }
    Apply(channels, nFrames);
    DropFrames(nFrames);
}

/// Extends the over values as far as the samples at hand allow: to the end of the look-ahead or, between the
/// samples, by the detector's delay less. The first block after a reset has them all to find.
void VantageLimiter::Detect(float* const* channels, int nFrames) {
    const int nEnd = nFrames + m_nLookAhead - (m_bInterSample ? InterSampleDetector::kDelay : 0);
    std::array<float, kPiece> peaks;
    while (m_nDetected < nEnd) {
        const int nPiece = std::min(kPiece, nEnd - m_nDetected);
        FindPeaks(channels, m_nDetected, nPiece, peaks.data());
        float* const over = Over(m_nDetected);
        float fHighest = 0.0f;
        VectorMax(peaks.data(), nPiece, &fHighest);
        if (fHighest > m_fThreshold) {
            VectorLinearToDb(peaks.data(), over, nPiece);
            OverThreshold(peaks.data(), m_fThreshold, m_fThresholdDb, over, nPiece);
        } else {
            VectorZero(over, nPiece);
        }
        m_nDetected += nPiece;
    }
    // Without the flag the detector stands still, and its past is no longer the stream's.
    if (!m_bInterSample) m_bDetectorReady = false;
}

void VantageLimiter::FindPeaks(float* const* channels, int nFirst, int nCount, float* peaks) {
    if (!m_bInterSample) {
        FramePeaks(At(channels[0], nFirst), At(channels[1], nFirst), peaks, nCount);
        return;
    }
    const int nNext = nFirst + InterSampleDetector::kDelay;
    if (!m_bDetectorReady) {
        const int nPast = std::min(nNext, InterSampleDetector::kMemory);
        m_detector.Reset();
        m_detector.Prime(At(channels[0], nNext - nPast), At(channels[1], nNext - nPast), nPast);
        m_bDetectorReady = true;
    }
    m_detector.Process(At(channels[0], nNext), At(channels[1], nNext), nCount, peaks);
}

/// Extends the curve by what the smoothing of this block looks at: half a filter beyond it.
void VantageLimiter::ComputeCurve(int nFrames) {
    const int nEnd = nFrames + m_character.nHalfWidth;
    const int nCount = nEnd - m_nCurve;
    if (nCount < 1) return;
    SlidingMaximum(Over(m_nCurve - m_character.nHold), 2 * m_character.nHold + 1, m_held.data(),
                   Curve(m_nCurve), nCount);
    m_release.Run(m_character, m_nCurve, nEnd, Over(m_nCurve), Curve(m_nCurve));
    m_nCurve = nEnd;
}

void VantageLimiter::Apply(float* const* channels, int nFrames) {
    float fHighest = 0.0f;
    VectorMax(m_reduction.data(), nFrames, &fHighest);
    if (!(fHighest > 0.0f)) return;
    m_fLargestReduction = std::max(m_fLargestReduction, fHighest);
    VectorScaleTo(m_reduction.data(), -1.0f, m_gains.data(), nFrames);
    VectorDbToLinear(m_gains.data(), m_gains.data(), nFrames);
    VectorMultiply(m_gains.data(), channels[0], nFrames);
    if (channels[1]) VectorMultiply(m_gains.data(), channels[1], nFrames);
}

void VantageLimiter::DropFrames(int nFrames) {
    const int nHalf = m_character.nHalfWidth;
    m_nDetected -= nFrames;
    m_nOverStart += nFrames;
    if (m_nOverStart > kOverSlack - kChunk) {
        VectorMove(m_over.data() + m_nOverStart, m_over.data(), nHalf + m_nDetected);
        m_nOverStart = 0;
    }
    VectorMove(m_curve.data() + nFrames, m_curve.data(), nHalf + m_nCurve - nFrames);
    m_nCurve -= nFrames;
}

}  // namespace DSP
