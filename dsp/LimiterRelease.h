#pragma once

#include <vector>

namespace DSP {

class LimiterCharacter;

/// The release of the look-ahead limiter: how a reduction fades after its peak. Three states run along the
/// held reduction, all of them floats:
///
///     decay D      falls by a constant factor, and is raised to the held curve
///     activity A   0 to 1: follows how much the reduction moves about, falling quickly, rising slowly
///     level R      the square of D, smoothed
///
/// and the curve is the held reduction or sqrt(R) A, whichever is greater.
///
/// Positions: count from the first sample of the owner's block, which is 0. Each is computed once, ahead of
///            the block by what the smoothing looks at, and kept until the block has passed it, so that a
///            new character can take up the states where its first sample is.
/// Threads:   no lock; one thread at a time.
/// Real time: SetUp allocates; the rest does not.
class LimiterRelease {
public:
    /// At most nMost positions are kept.
    void SetUp(int nMost);

    /// All states 0.
    void Reset();

    /// Positions first to last - 1, where all before the first have been computed or dropped: curve[i], the
    /// held reduction of position first + i, is raised by the release. over[i] is what that position exceeds
    /// the threshold by; one element before it and nActivitySpan + 1 behind the last are read.
    void Run(const LimiterCharacter& character, int nFirst, int nLast, const float* over, float* curve);

    /// The block has passed: position nFrames becomes position 0.
    void Drop(int nFrames);

    /// The character has changed: positions from 0 on are computed again, and their sums with them.
    void Restart() { m_bSumKnown = false; }

private:
    void RunDecay(const LimiterCharacter& character, int nFirst, int nCount, const float* held);
    void RunStates(const LimiterCharacter& character, int nFirst, int nCount, const float* held);

    // State: Reset clears every member of this group. Element 1 + k belongs to position k.
    std::vector<float> m_decay;
    std::vector<float> m_activity;
    std::vector<float> m_level;
    bool m_bSumKnown = false;
    double m_fSum = 0;  ///< of the newest position's activity window, exact
    // Scratch: means nothing between two calls.
    std::vector<double> m_changes;
};

}  // namespace DSP
