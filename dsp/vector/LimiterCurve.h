#pragma once

#include <cstdint>

/// The steps from detected peaks to a limiter's gain that treat every sample alike.
///
/// Lengths:   in elements; below 1 does nothing. Buffers of any alignment; those that are read and those that
///            are written do not overlap, unless stated.
/// Bits:      those of the plain loop with the stated operations, each rounded, at every processor level.
/// Real time: nothing allocates, locks or throws. Any thread.
namespace DSP {

/// levels[i] = peaks[i] > fThreshold ? max(levels[i] - fThresholdDb, 0) : 0. In: the peaks' levels in dB;
/// out: what they exceed the threshold by.
void OverThreshold(const float* peaks, float fThreshold, float fThresholdDb, float* levels,
                   std::int32_t nLength) noexcept;

/// results[i] = the greatest (least) of source[i .. i + nWidth - 1]. The source has nLength + nWidth - 1
/// elements, and so has the scratch, which may be the source itself and may be the results. Finite values.
void SlidingMaximum(const float* source, std::int32_t nWidth, float* scratch, float* results,
                    std::int32_t nLength) noexcept;
void SlidingMinimum(const float* source, std::int32_t nWidth, float* scratch, float* results,
                    std::int32_t nLength) noexcept;

/// A symmetric FIR filter about each element, with nHalf elements to either side:
///
///     results[i] = taps[0] x[i] + taps[1] (x[i - 1] + x[i + 1]) + taps[2] (x[i - 2] + x[i + 2]) + ...
///
/// summed from the middle outwards.
void SmoothSymmetric(const float* taps, std::int32_t nHalf, const float* x, float* results,
                     std::int32_t nLength) noexcept;

/// The moving sum of a curve's steps, in units of 2^-32: with q(j) = |x[j + 1] - x[j]| rounded to such a
/// unit, StepSum is q(0) + ... + q(nSteps - 1), and changes[i] = q(i + nSteps) - q(i) is what the sum gains
/// when its window moves on from i. Sums below 2^20 are exact, so a sum that is carried along has no drift
/// and the same bits wherever it began.
double StepSum(const float* x, std::int32_t nSteps) noexcept;
void StepSumChanges(const float* x, std::int32_t nSteps, double* changes, std::int32_t nLength) noexcept;

/// curve[i] = max(curve[i], sqrt(levels[i]) * activity[i]). Finite values, levels 0 or more.
void RaiseByRelease(const float* levels, const float* activity, float* curve, std::int32_t nLength) noexcept;

/// results[i] = samples[i] * gains[i] * fGain, in this order. What the three roundings carry over the
/// ceiling, less than 2^-21 of it, is cut off; more than that is not this function's to decide and stays. The
/// results may be the samples.
void ApplyGains(const float* samples, const float* gains, float fGain, float fCeiling, float* results,
                std::int32_t nLength) noexcept;

}  // namespace DSP
