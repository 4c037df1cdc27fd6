#pragma once

#include <cstdint>

/// What the stereo imager does to a pair of channels, in place.
///
/// Lengths:   in frames, 0 or more; the two buffers do not overlap. No pointer is kept.
/// Bits:      those of the plain loop in single precision, at every processor level.
/// Real time: nothing allocates, locks or throws. Any thread.
namespace DSP {

/// Scales the side signal: with m = l + r and s = (l - r) width, l = (m + s) 0.5 and r = (m - s) 0.5. A width
/// of 0 is mono, 1 leaves the channels as they are up to rounding, 2 doubles the side.
void StereoWidth(float fWidth, float* left, float* right, std::int32_t nLength) noexcept;

/// Left and right change places, bit by bit.
void StereoSwap(float* left, float* right, std::int32_t nLength) noexcept;

}  // namespace DSP
