#include "dsp/BandFilter.h"

#include <cmath>
#include <cstddef>

#include "dsp/vector/Elementary.h"

namespace DSP {

namespace {

double SquaredMagnitude(const double* c, double fOmega) noexcept {
    const double fReal = c[0] + c[1] * Cos(fOmega) + c[2] * Cos(2.0 * fOmega);
    const double fImaginary = c[1] * Sin(fOmega) + c[2] * Sin(2.0 * fOmega);
    return fReal * fReal + fImaginary * fImaginary;
}

}  // namespace

BandFilter::BandFilter(const std::array<double, 6>& section) noexcept {
    for (std::size_t i = 0; i < m_taps.size(); ++i) {
        m_taps[i] = double{static_cast<float>(section[i % section.size()])};
    }
}

double BandFilter::Magnitude(double fOmega) const noexcept {
    // The sections are equal, so the magnitude of both is the square of one.
    return SquaredMagnitude(m_taps.data(), fOmega) / SquaredMagnitude(m_taps.data() + 3, fOmega);
}

}  // namespace DSP
