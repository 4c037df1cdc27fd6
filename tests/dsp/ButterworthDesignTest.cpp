#include "dsp/ButterworthDesign.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "dsp/BandFilter.h"

using DSP::ButterworthDesign;
using Kind = ButterworthDesign::Kind;

namespace {

/// |H|^2 of two equal sections: the analogue prototype of a fourth-order Linkwitz-Riley filter, seen through
/// the bilinear transform.
double LinkwitzRiley(Kind kind, double fFraction, double fCorner) {
    const double w = std::tan(std::numbers::pi * fFraction) / std::tan(std::numbers::pi * fCorner);
    const double w4 = w * w * w * w;
    return kind == Kind::Lowpass ? 1.0 / (1.0 + w4) : w4 / (1.0 + w4);
}

std::complex<double> Polynomial(const double* c, std::complex<double> z) {
    return c[0] + c[1] / z + c[2] / (z * z);
}

}  // namespace

TEST_CASE("ButterworthDesign: two sections with the pair gain are a fourth-order Linkwitz-Riley filter") {
    for (const Kind kind : {Kind::Lowpass, Kind::Highpass}) {
        for (const double fCorner : {1e-4, 0.003, 0.045, 0.25, 0.41, 0.4999}) {
            const ButterworthDesign design(kind, fCorner);
            CHECK(design.Taps()[0] == 1.0);
            CHECK(design.Taps()[1] == (kind == Kind::Lowpass ? 2.0 : -2.0));
            CHECK(design.Taps()[2] == 1.0);
            CHECK(design.Taps()[3] == 1.0);
            double fWorst = 0.0;
            for (int k = 0; k <= 1000; ++k) {
                const double f = 0.4999 * std::pow(1e-5, k / 1000.0);
                const auto z = std::polar(1.0, 2.0 * std::numbers::pi * f);
                const auto h = Polynomial(design.Taps().data(), z) / Polynomial(design.Taps().data() + 3, z);
                const double fMagnitude = std::norm(h) * design.PairGain();
                fWorst = std::max(fWorst, std::abs(fMagnitude - LinkwitzRiley(kind, f, fCorner)));
            }
            CAPTURE(fCorner);
            // The numerator and denominator cancel to (2 pi f)^2 of their size: 1e-16 / 4e-7 at 1e-4.
            CHECK(fWorst < 1e-8);
        }
    }
}

TEST_CASE("BandFilter holds two sections with single-precision taps, and knows its magnitude") {
    const ButterworthDesign design(Kind::Highpass, 0.01);
    const DSP::BandFilter filter(design.Taps());
    for (std::size_t i = 0; i < 12; ++i) {
        CHECK(filter.Taps()[i] == double{static_cast<float>(design.Taps()[i % 6])});
    }
    CHECK(filter.Taps()[4] != design.Taps()[4]);
    for (const double f : {0.001, 0.01, 0.1, 0.3, 0.5}) {
        const auto z = std::polar(1.0, 2.0 * std::numbers::pi * f);
        const auto h = Polynomial(filter.Taps().data(), z) / Polynomial(filter.Taps().data() + 3, z);
        CHECK(filter.Magnitude(2.0 * std::numbers::pi * f) == doctest::Approx(std::norm(h)).epsilon(1e-9));
    }
}
