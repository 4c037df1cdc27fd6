#pragma once

#include <cstdint>

#include "dsp/vector/Status.h"

namespace DSP {

/// Rounds the peaks of a channel off, in place. Below 0.95 a sample stays as it is; from there to full scale
///
///     y = d / (t t + 1) + 0.95,   d = x - 0.95,   t = d / 0.05
///
/// bends it to 0.975, where it stays. Negative samples mirror positive ones; a NaN stays. In single
/// precision, the 0.05 being 1 - 0.95 there.
///
/// Bits:      those of the plain loop, at every processor level. Any alignment, any thread; nothing
/// allocates.
VectorStatus VectorSoftSaturate(float* samples, std::int32_t nLength) noexcept;

}  // namespace DSP
