#pragma once

#include <cstdint>

/// What a limiter asks of samples before it thinks: are they audio, and how high are they.
///
/// Lengths:   in elements; below 1 does nothing. Buffers of any alignment; those that are read and those that
///            are written do not overlap.
/// Bits:      the same at every processor level.
/// Real time: nothing allocates, locks or throws. Any thread.
namespace DSP {

/// Sets samples that are no audio to zero: NaNs, and magnitudes above the limit.
void ReplaceFaultySamples(float* samples, std::int32_t nLength, float fLimit) noexcept;

/// peaks[i] = max(|left[i]|, |right[i]|); a null right is mono. NaNs do not count.
void FramePeaks(const float* left, const float* right, float* peaks, std::int32_t nLength) noexcept;

/// The greatest magnitude of a frame among its own samples and the five points of a fivefold oversampling
/// around it, where a frame's first point comes one frame, and the frame itself kOversampledLag frames,
/// before its other four points:
///
///     peaks[i] = max over the channels of |phases[0 .. 3][i]|, |phases[4][i - 1]|, and framePeaks[i - lag]
///
/// Each array has the elements before its first that this asks for. The right channel's phases are null in
/// mono. NaNs do not count.
inline constexpr std::int32_t kOversampledLag = 6;
void OversampledPeaks(const float* const* leftPhases, const float* const* rightPhases,
                      const float* framePeaks, float* peaks, std::int32_t nLength) noexcept;

}  // namespace DSP
