#pragma once

#include <array>

namespace DSP {

/// A second-order Butterworth low- or highpass as one biquad section, and the factor that makes two such
/// sections in series unity in their passband.
///
/// Method: the analogue prototype's two poles at radius 2 tan(pi fc), which prewarps the corner, go through
///         the bilinear transform z = (2 + s) / (2 - s) (Oppenheim and Schafer, Discrete-Time Signal
///         Processing, ch. 7). The numerator stays (1, 2, 1) or (1, -2, 1), exact in any precision; the gain
///         goes to the caller as a factor.
/// Range:  a corner above 0 and below 0.5 of the sample rate.
///
/// A value for the stack; nothing allocates.
class ButterworthDesign {
public:
    enum class Kind { Lowpass = 0, Highpass = 2 };

    ButterworthDesign(Kind kind, double fCornerFraction) noexcept;

    /// b0, b1, b2, a0, a1, a2; a0 is 1.
    const std::array<double, 6>& Taps() const noexcept { return m_taps; }

    /// 1 / |H|^2 of one section, at DC for a lowpass and at Nyquist for a highpass, from the taps before any
    /// rounding.
    double PairGain() const noexcept { return m_fPairGain; }

private:
    std::array<double, 6> m_taps;
    double m_fPairGain;
};

}  // namespace DSP
