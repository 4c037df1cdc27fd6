#pragma once

#include "dsp/vector/Status.h"

namespace DSP {

/// accumulator += a times b over nCount complex values, re and im interleaved (the spectrum layout of
/// RealFft, whose count is N / 2 + 1). In float, each step rounded: the product's real part is a.re b.re -
/// a.im b.im, its imaginary part a.re b.im + a.im b.re, and the accumulator is added last.
///
/// a and b may be one buffer, and any of them may be the accumulator itself; other overlaps are not allowed.
/// Threads: any, neither allocates nor waits.
VectorStatus VectorComplexMulAdd(const float* a, const float* b, float* accumulator, int nCount) noexcept;

}  // namespace DSP
