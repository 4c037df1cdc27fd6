#pragma once

#include <vector>

namespace DSP {

/// What the look-ahead limiter makes of its one number, the character c: how far a reduction is widened and
/// smoothed in time, and how it is released.
///
///     c below 0.3    the smoothing filter narrows, down to a single tap: clipping
///     c up to 1.5    slower decay and more release
///
/// Threads:   no lock; one thread at a time.
/// Real time: SetUp allocates, Set does not. Set computes cosines only when the filter's width changes.
class LimiterCharacter {
public:
    /// The rate in Hz. Set comes next.
    void SetUp(int nSampleRate);

    /// c, 0 to 1.5; beyond that clamped.
    void Set(float fCharacter);

    // Set-up: written by SetUp only. ------------------------------------------------------------------------

    /// Samples to either side of the widest smoothing filter: S, half of its 2 S + 1 taps.
    int nHalfWidth = 0;
    /// Samples over which the activity is summed.
    int nActivitySpan = 0;

    // Written by Set only. ----------------------------------------------------------------------------------

    /// Neither widening nor smoothing: what exceeds the threshold is the reduction.
    bool bDirect = false;
    /// Samples to either side by which a reduction is held, and of the smoothing filter.
    int nHold = 0;
    /// The filter's middle tap and those to one side of it, nHold + 1 in all; they sum to 1.
    std::vector<float> taps;
    /// Factor a sample of the held reduction's decay.
    float fDecay = 0;
    /// Whether the signal's activity shapes a release at all.
    bool bRelease = false;
    /// The activity's target is min(sum * fSumFactor + fSumOffset, 1) * fTargetFactor, and this is how fast
    /// it moves there.
    float fSumFactor = 0;
    float fSumOffset = 0;
    float fTargetFactor = 1;
    float fActivityRate = 0;
    /// The share of the newest sample in the release level.
    float fReleaseShare = 0;

private:
    void DesignFilter(int nWidth);

    // Set-up: written by SetUp only.
    int m_nSampleRate = 0;
};

}  // namespace DSP
