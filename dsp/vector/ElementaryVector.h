#pragma once

#include <cstdint>

#include "dsp/vector/Status.h"

/// Elementary functions over blocks, for sample loops and curves.
///
/// Source and destination are one and the same buffer or do not overlap; lengths are in elements; the
/// statuses are those of every vector operation. Every element's result depends on that element alone and
/// has the same bits at every processor level and in every build.
///
/// The double forms and VectorPow agree bit by bit with Exp, Log and Pow of Elementary.h. The float
/// forms compute in float and are a little less exact than those: the bound stands at each, in ulp of the
/// result, and a test holds it. Where a NaN is due, one and the same quiet NaN comes out.
///
/// Nothing allocates, locks or throws. Any thread; the thread rounds to nearest.
namespace DSP {

/// e to the power of each element, within 1 ulp.
VectorStatus VectorExp(const float* source, float* destination, std::int32_t nLength) noexcept;
VectorStatus VectorExp(const double* source, double* destination, std::int32_t nLength) noexcept;

/// 2 to the power of each element, within 1 ulp; exact for integers.
VectorStatus VectorExp2(const float* source, float* destination, std::int32_t nLength) noexcept;

/// The natural logarithm, within 1 ulp: minus infinity for a zero, NaN below zero.
VectorStatus VectorLog(const float* source, float* destination, std::int32_t nLength) noexcept;
VectorStatus VectorLog(const double* source, double* destination, std::int32_t nLength) noexcept;

/// The logarithm to base 2, within 2 ulp; exact for powers of two.
VectorStatus VectorLog2(const float* source, float* destination, std::int32_t nLength) noexcept;

/// Each element to the power of one exponent. Elements are magnitudes: one below zero gives NaN.
VectorStatus VectorPow(const float* source, float fExponent, float* destination,
                       std::int32_t nLength) noexcept;

/// Each element to the power of its own exponent; either buffer may be the destination.
VectorStatus VectorPow(const float* source, const float* exponents, float* destination,
                       std::int32_t nLength) noexcept;

/// Magnitudes to dB, 8.685889 ln x, within 2.5 ulp; below 1e-20, and for a NaN, -400.
VectorStatus VectorLinearToDb(const float* source, float* destination, std::int32_t nLength) noexcept;

/// dB to magnitudes, exp(0.115129255 x), within 1 ulp.
VectorStatus VectorDbToLinear(const float* source, float* destination, std::int32_t nLength) noexcept;

}  // namespace DSP
