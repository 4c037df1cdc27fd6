#pragma once

#include <array>
#include <cstddef>

namespace DSP {

/// What a curve editor draws of a filter: 409 points, evenly spaced on a logarithmic axis from 20 Hz to
/// 20 kHz.
inline constexpr std::size_t kResponsePoints = 409;
using ResponseCurve = std::array<float, kResponsePoints>;

/// The frequencies in Hz. Any thread; nothing allocates.
ResponseCurve ResponseFrequencies() noexcept;

/// The magnitude between the bins of an FFT of nLength points, along a straight line from bin to bin. The
/// position is in bins; below 0 and beyond the last bin, nLength / 2, the outermost line goes on.
double InterpolateMagnitude(const float* magnitudes, int nLength, double fBin) noexcept;

/// The response of an FIR filter in dB at the given frequencies. The taps are padded with zeros to a power of
/// two of at least nMinLength points and at least nTaps, and transformed. Magnitudes below 1e-20 read as
/// -400 dB. Allocates; set-up and display threads.
void FirResponse(const float* taps, int nTaps, int nMinLength, double fSampleRate,
                 const ResponseCurve& frequencies, ResponseCurve& decibels);

}  // namespace DSP
