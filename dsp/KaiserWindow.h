#pragma once

namespace DSP {

/// The Kaiser window in its beta form, for filter design:
///
///     w(x) = I0(beta sqrt(1 - x x)) / I0(beta),   -1 <= x <= 1, 1 in the middle
///
/// (Kaiser and Schafer, "On the use of the I0-sinh window for spectrum analysis", 1980). Position i of a
/// length M has x = (i - m) / m with m = (M - 1) / 2. In double; beta from 0 (a rectangle) to 700.
/// Any thread; nothing allocates.

/// Multiplies nLength taps by the window; double taps in double, float taps in double and rounded once.
/// Mirrored positions get the same factor, bit by bit; a length of 1 has the factor 1, and a length below 1
/// does nothing.
void ApplyKaiserWindow(float* taps, int nLength, double fBeta) noexcept;
void ApplyKaiserWindow(double* taps, int nLength, double fBeta) noexcept;

}  // namespace DSP
