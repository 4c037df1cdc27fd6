#pragma once

#include <cstddef>
#include <vector>

#include "dsp/vector/Fft.h"

namespace DSP {

/// Turns a magnitude curve into a linear-phase FIR filter by frequency sampling: the curve is the real
/// spectrum of an impulse, which is centred, cut at its ends and windowed (Oppenheim and Schafer,
/// Discrete-Time Signal Processing, ch. 7).
///
/// Length:    N taps, a power of two from 2 to 2^22; other lengths are raised to the next. The last tap is 0
///            and the filter symmetrical about tap N / 2 - 1, which is its delay.
/// Precision: float throughout, but for the window, which is multiplied in double.
/// Threads:   Design is const and may run on several threads at once. Only construction allocates.
class LinearPhaseFir {
public:
    /// Taps that wait for a Kaiser window of parameter fBeta over the first N - 1.
    LinearPhaseFir(int nLength, double fBeta);

    int Length() const noexcept { return static_cast<int>(m_fft.Length()); }

    /// Floats of the work area.
    std::size_t WorkLength() const noexcept { return m_fft.SpectrumLength() + m_fft.WorkLength(); }

    /// N / 2 + 1 linear magnitudes, from bin 0 to half the sample rate, to N taps.
    void Design(const float* magnitudes, float* taps, float* work) const noexcept;

private:
    // Set-up: written by construction only.
    RealFft m_fft;
    std::vector<double> m_window;
};

}  // namespace DSP
