#pragma once

#include <array>

#include "dsp/vector/Status.h"

namespace DSP {

/// A feedback delay with a one-pole low-pass in its loop. The owner keeps the ring.
struct CombLine {
    float* ring = nullptr;
    int nLength = 0;         ///< samples, kCombChunk or more
    int nPosition = 0;       ///< of the oldest sample, which is read and then replaced
    float fFiltered = 0.0f;  ///< what the low-pass gave last
};

/// A Schroeder allpass. The owner keeps the ring.
struct AllpassLine {
    float* ring = nullptr;
    int nLength = 0;
    int nPosition = 0;
};

/// The stretch that is computed at once. No line is shorter, so that nothing that is written within a stretch
/// is read in it.
inline constexpr int kCombChunk = 128;

/// One channel's combs, all fed with the same signal, and the allpasses behind their sum.
struct CombChannel {
    std::array<CombLine, 8> combs;
    std::array<AllpassLine, 4> allpasses;
};

/// The same for all combs.
struct CombFactors {
    float fFeedback = 0.0f;
    float fDamp1 = 0.0f;
    float fDamp2 = 1.0f;
};

/// Runs one or two banks over one input. Per sample and channel, in float and in this order (Schroeder,
/// "Natural sounding artificial reverberation", 1962, with the low-pass of Moorer, "About this reverberation
/// business", 1979):
///
///     a = 0; for each comb:    o = ring[position];  a = a + o;
///                              filtered = damp1 * filtered + damp2 * o;
///                              ring[position] = filtered * feedback + input;  position advances, and wraps
///            for each allpass: o = ring[position];  ring[position] = o * 0.5 + a;  a = o - a
///     output = a
///
/// The bits are those of this plain loop at every processor level, and a stream may be cut anywhere.
///
/// `right` and `rightOutput` may be null, both: then the right bank stays as it is. The outputs overlap
/// neither the input nor each other. Lengths of 0 and below are kVectorBadLength. One thread at a time;
/// nothing allocates or waits.
VectorStatus VectorCombBank(const CombFactors& factors, const float* input, CombChannel* left,
                            float* leftOutput, CombChannel* right, float* rightOutput, int nLength) noexcept;

/// What the banks are fed with: (left + right) * gain, or with a null right (left * 2) * gain. Damaged
/// samples count as 0, as in VectorRepair. The destination is a source itself or overlaps none.
VectorStatus VectorCombInput(const float* left, const float* right, float fGain, float* destination,
                             int nLength) noexcept;

/// In place: left = direct * left + cross * right, right = cross * left + direct * right, each from the
/// values before; products first, then the sum.
VectorStatus VectorCombWidth(float fDirect, float fCross, float* left, float* right, int nLength) noexcept;

}  // namespace DSP
