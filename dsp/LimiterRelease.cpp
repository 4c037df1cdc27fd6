#include "dsp/LimiterRelease.h"

#include <algorithm>
#include <cstddef>

#include "dsp/LimiterCharacter.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/LimiterCurve.h"

namespace DSP {

namespace {

// States below this are 0, so that they do not linger as subnormal numbers.
constexpr float kZero = 1e-10f;

std::size_t Index(int nPosition) {
    return static_cast<std::size_t>(nPosition + 1);
}

float Decayed(float D, float fDecay, float fHeld) {
    D *= fDecay;
    if (D < kZero) D = 0.0f;
    return std::max(D, fHeld);
}

}  // namespace

void LimiterRelease::SetUp(int nMost) {
    for (std::vector<float>* states : {&m_decay, &m_activity, &m_level})
        states->assign(Index(nMost), 0.0f);
    m_changes.assign(Index(nMost), 0.0);
    Reset();
}

void LimiterRelease::Reset() {
    m_decay[0] = m_activity[0] = m_level[0] = 0.0f;
    m_bSumKnown = false;
    m_fSum = 0;
}

void LimiterRelease::Run(const LimiterCharacter& character, int nFirst, int nLast, const float* over,
                         float* curve) {
    const int nCount = nLast - nFirst;
    if (nCount < 1) return;
    if (!character.bRelease) {
        RunDecay(character, nFirst, nCount, curve);
        return;
    }
    const int nSpan = character.nActivitySpan;
    if (!m_bSumKnown) m_fSum = StepSum(over - 1, nSpan);
    m_bSumKnown = true;
    StepSumChanges(over - 1, nSpan, m_changes.data(), nCount);
    RunStates(character, nFirst, nCount, curve);
    RaiseByRelease(m_level.data() + Index(nFirst), m_activity.data() + Index(nFirst), curve, nCount);
}

/// The decay alone; the other two states stand still.
void LimiterRelease::RunDecay(const LimiterCharacter& character, int nFirst, int nCount, const float* held) {
    float* const decay = m_decay.data() + Index(nFirst);
    for (int i = 0; i < nCount; ++i)
        decay[i] = Decayed(decay[i - 1], character.fDecay, held[i]);
    std::fill_n(m_activity.data() + Index(nFirst), nCount, m_activity[Index(nFirst - 1)]);
    std::fill_n(m_level.data() + Index(nFirst), nCount, m_level[Index(nFirst - 1)]);
}

/// One loop for all three, which wait for themselves and hardly for each other.
void LimiterRelease::RunStates(const LimiterCharacter& character, int nFirst, int nCount, const float* held) {
    float* const decay = m_decay.data() + Index(nFirst);
    float* const activity = m_activity.data() + Index(nFirst);
    float* const level = m_level.data() + Index(nFirst);
    const double* const changes = m_changes.data();
    const float fDecay = character.fDecay;
    const float fSumFactor = character.fSumFactor;
    const float fSumOffset = character.fSumOffset;
    const float fTargetFactor = character.fTargetFactor;
    const float u = character.fActivityRate;
    const float fFallRate = u * 2.0f;
    const float fRiseRate = u * 0.3f;
    const float v = character.fReleaseShare;
    // With a small share the difference form keeps the digits that 1 - v would lose; with a great one it
    // would lose those of the newest sample.
    const bool bSmallShare = v < 0.5f;
    double fSum = m_fSum;
    float D = decay[-1];
    float A = activity[-1];
    float R = level[-1];
    for (int i = 0; i < nCount; ++i) {
        fSum += changes[i];
        const float fTarget =
            std::min(static_cast<float>(fSum) * fSumFactor + fSumOffset, 1.0f) * fTargetFactor;
        // z = target u + A (1 - u), of which z - A is wanted: falling, A goes twice as far; rising, not a
        // third. The lesser of the two is the one for the difference's sign. A stays between 0 and 1 by
        // itself: it cannot pass a target by rising, and falls by at most 2 u of itself.
        const float fDistance = fTarget - A;
        const float z = A + fDistance * u;
        A += std::min(fDistance * fFallRate, fDistance * fRiseRate);
        if (z < kZero) A = 0.0f;
        activity[i] = A;

        D = Decayed(D, fDecay, held[i]);
        decay[i] = D;
        const float fSquare = D * D;
        R = bSmallShare ? R + (fSquare - R) * v : fSquare * v + R * (1.0f - v);
        if (R < kZero) R = 0.0f;
        level[i] = R;
    }
    m_fSum = fSum;
}

void LimiterRelease::Drop(int nFrames) {
    const auto drop = [nFrames](std::vector<float>& states) {
        VectorMove(states.data() + nFrames, states.data(), static_cast<int>(states.size()) - nFrames);
    };
    drop(m_decay);
    drop(m_activity);
    drop(m_level);
}

}  // namespace DSP
