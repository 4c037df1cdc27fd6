#pragma once

#include <cstdint>

#include "dsp/vector/Status.h"

/// Windows. Each operation multiplies a vector of N elements by its window, in place.
///
/// The window's value is computed in double, rounded to float, and multiplied in float. With m = (N - 1) / 2
/// the value of position i is that of position N - 1 - i, bit by bit. A single element (m = 0) has the
/// window 1 and stays as it is.
///
/// These are made for set-up: plain loops with an elementary function for every second element. Nothing
/// allocates, locks or throws. Any thread. The statuses are those of every vector operation.
namespace DSP {

/// 0.5 - 0.5 cos(pi i / m)
VectorStatus VectorWinHann(float* destination, std::int32_t nLength) noexcept;

/// 0.54 - 0.46 cos(pi i / m)
VectorStatus VectorWinHamming(float* destination, std::int32_t nLength) noexcept;

/// 1 - |i - m| / m
VectorStatus VectorWinBartlett(float* destination, std::int32_t nLength) noexcept;

/// (alpha + 1) / 2 - 0.5 cos(pi i / m) - (alpha / 2) cos(2 pi i / m); -0.16 is the usual alpha.
VectorStatus VectorWinBlackman(float* destination, std::int32_t nLength, float fAlpha) noexcept;

/// I0(alpha sqrt(m m - (i - m)(i - m))) / I0(alpha m): the usual beta is alpha m, so the same alpha gives
/// a steeper window over a longer vector. An alpha m beyond 700 reads as 700; a NaN gives NaNs.
VectorStatus VectorWinKaiser(float* destination, std::int32_t nLength, float fAlpha) noexcept;

/// The modified Bessel function of the first kind and order 0, by its power series: the sum begins with 1,
/// and term j is its predecessor times ((x / 2) / j) squared (Abramowitz and Stegun, 9.6.12). Relative
/// error below 1e-13 for |x| up to 700; from about 713 on infinite. A NaN gives a NaN.
double BesselI0(double fX) noexcept;

}  // namespace DSP
