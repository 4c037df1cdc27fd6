#include "dsp/ButterworthDesign.h"

#include <numbers>

#include "dsp/vector/Elementary.h"

namespace DSP {

ButterworthDesign::ButterworthDesign(Kind kind, double fCornerFraction) noexcept {
    constexpr double pi = std::numbers::pi;
    const double fWarped = Tan(pi * fCornerFraction) / pi;
    const double fRadius = 2.0 * pi * fWarped;

    // One pole of the conjugate pair. A highpass has the radius divided by the prototype's poles: those of
    // the unit circle are each other's inverses, so the pair is the same.
    const double fAngle = 1.5 * pi / 2.0;
    const double fReal = fRadius * Cos(fAngle);
    const double fImaginary = fRadius * Sin(fAngle);

    // (2 + s) / (2 - s), without a complex division, whose bits are the compiler's choice.
    const double fNorm = (2.0 - fReal) * (2.0 - fReal) + fImaginary * fImaginary;
    const double fPoleReal = (4.0 - fReal * fReal - fImaginary * fImaginary) / fNorm;
    const double fPoleImaginary = 4.0 * fImaginary / fNorm;

    const double a1 = -2.0 * fPoleReal;
    const double a2 = fPoleReal * fPoleReal + fPoleImaginary * fPoleImaginary;
    const bool bLowpass = kind == Kind::Lowpass;
    m_taps = {1.0, bLowpass ? 2.0 : -2.0, 1.0, 1.0, a1, a2};

    const double fDenominator = bLowpass ? 1.0 + a1 + a2 : 1.0 - a1 + a2;
    const double fGain = 4.0 / fDenominator;
    m_fPairGain = 1.0 / (fGain * fGain);
}

}  // namespace DSP
