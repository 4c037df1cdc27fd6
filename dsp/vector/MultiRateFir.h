#pragma once

#include <cstddef>
#include <vector>

namespace DSP {

/// A multi-rate FIR filter for one channel: raises the rate by `up` with zeros between the samples, filters,
/// and keeps one value in `down`.
///
/// An iteration reads `down` samples and writes `up`. With the samples x[0], x[1], ... since the last reset,
/// output k is, for m = k down + phase,
///
///     y[k] = sum over j of taps[up j + m % up] x[m / up - j],   x[n] = 0 for n < 0
///
/// so that up = 5, down = 1, phase = 0 is y[5 n + p] = sum of taps[5 j + p] x[n - j].
///
/// Sum:       in float, j ascending, each product and each sum rounded; the first product starts it. The
///            bits are the same at every processor level and for every cut of a stream between iterations.
/// NaN:       leaves the filter by itself, once the last tap has passed it.
/// Threads:   one at a time; no lock. Configure allocates, the rest neither allocates nor waits.
class MultiRateFir {
public:
    /// nTaps 1 or more, factors 1 or more, phase 0 .. down - 1; values outside are limited. Resets.
    void Configure(const float* taps, int nTaps, int nUp, int nPhase = 0, int nDown = 1);

    /// Clears the history; the taps stay.
    void Reset() noexcept;

    int Up() const noexcept { return m_nUp; }
    int Down() const noexcept { return m_nDown; }

    /// Reads nIterations * down samples, writes nIterations * up. The destination is the source itself or
    /// does not overlap it; a buffer used in place holds whichever of the two counts is greater.
    void Process(const float* source, float* destination, int nIterations) noexcept;

    /// For down = 1: the same outputs, but those of each phase in an array of its own: phases[p][i] is output
    /// up * i + p of this call. The arrays overlap neither the source nor each other.
    void ProcessPhases(const float* source, float* const* phases, int nIterations) noexcept;

private:
    // One of the `up` outputs of an iteration.
    struct Branch {
        std::size_t uFirstTap = 0;
        std::size_t uTaps = 0;
        std::size_t uNewest = 0;  // the newest sample that the first iteration of a window reads
    };

    void KeepHistory(const float* source, int nIterations) noexcept;
    void LoadWindow(const float* source, int nFirst, int nCount) noexcept;
    void AdvanceWindow(const float* source, int nFirst, int nCount) noexcept;
    void RunBranch(const Branch& branch, float* destination, int nCount) const noexcept;

    // Set-up: written by Configure only.
    int m_nUp = 1;
    int m_nDown = 1;
    int m_nHistory = 0;
    std::vector<float> m_taps;  // branch by branch, each in the order of its sum
    std::vector<Branch> m_branches;
    // State: Reset clears it.
    std::vector<float> m_history;  // the newest m_nHistory samples, oldest first
    // Scratch: means nothing between two calls.
    std::vector<float> m_nextHistory;
    std::vector<float> m_window;  // history, and the inputs of a block
    std::vector<float> m_outputs;
};

}  // namespace DSP
