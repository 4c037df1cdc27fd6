#include "dsp/EqualizerDesign.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "tests/support/Signals.h"

using namespace DSP::Equalizer;

namespace {

// The analogue prototype seen through the bilinear transform, prewarped at the node's frequency.
double Expected(const FilterNode& node, double fHz, double fRate) {
    using C = std::complex<double>;
    const double fNode = double{node.fFrequency};
    if (fNode > fRate / 2) return node.shape == Shape::HighPass ? 0.0 : 1.0;
    const C s(0.0, std::tan(std::numbers::pi * fHz / fRate) / std::tan(std::numbers::pi * fNode / fRate));
    const double fQ = double{node.fQ};
    const double fGain = double{node.fGainDb};
    const double fSlope = 0.1 + 0.9 * (fQ - 0.2) / 11.8;
    if (node.shape == Shape::Bell) {
        const double A = std::pow(10.0, fGain / 40.0);
        return std::abs((s * s + s * A / fQ + 1.0) / (s * s + s / (A * fQ) + 1.0));
    }
    if (node.shape == Shape::LowPass) return std::abs(1.0 / (s * s + s / fQ + 1.0));
    if (node.shape == Shape::HighPass) return std::abs(s * s / (s * s + s / fQ + 1.0));
    // A shelf's plateau is twice its gain.
    const double A = std::pow(10.0, fGain / 20.0);
    const double fDamp = std::sqrt(A) * std::sqrt((A + 1.0 / A) * (1.0 / fSlope - 1.0) + 2.0);
    const C numerator = s * s + fDamp * s + A;
    const C denominator = A * s * s + fDamp * s + 1.0;
    // The high shelf is the low one on the mirrored axis.
    if (node.shape == Shape::LowShelf) return std::abs(A * numerator / denominator);
    return std::abs(A * denominator / numerator);
}

double Response(const BiquadTaps& taps, double fOmega) {
    const std::complex<double> z = std::polar(1.0, -fOmega);
    return std::abs((taps[0] + z * (taps[1] + z * taps[2])) / (taps[3] + z * (taps[4] + z * taps[5])));
}

}  // namespace

TEST_CASE("From half the rate on a node is a wire or silence, but a low shelf there its plateau") {
    for (int nShape = 0; nShape < 5; ++nShape) {
        FilterNode node{true, static_cast<Shape>(nShape), 4000.0f, 6.0f, 1.0f};
        const BiquadTaps taps = DesignBiquad(node, 8000);
        const double fPlateau = node.shape == Shape::LowShelf ? std::pow(10.0, 12.0 / 20.0) : 1.0;
        CHECK(taps[0] == doctest::Approx(node.shape == Shape::HighPass ? 0.0 : fPlateau));
        CHECK(std::vector(taps.begin() + 1, taps.end()) == std::vector{0.0, 0.0, 1.0, 0.0, 0.0});
        node.fFrequency = std::nextafter(4000.0f, 5000.0f);
        const double fFirst = node.shape == Shape::HighPass ? 0.0 : 1.0;
        CHECK(DesignBiquad(node, 8000) == BiquadTaps{fFirst, 0.0, 0.0, 1.0, 0.0, 0.0});
    }
}

TEST_CASE("Random nodes are stable, have the response of their shape's prototype, and are shown with it") {
    Test::Random random(11);
    const auto draw = [&](float fMin, float fMax) {
        const float fValues[] = {fMin, fMax, random.Uniform(fMin, fMax), random.Uniform(fMin, fMax)};
        return fValues[random.Between(0, 3)];
    };
    for (int i = 0; i < 5000; ++i) {
        const FilterNode node{true, static_cast<Shape>(random.Between(0, 4)),
                              20.0f * std::pow(1000.0f, draw(0.0f, 1.0f)), draw(-30.0f, 15.0f),
                              draw(0.2f, 12.0f)};
        const std::uint32_t uRate = random.Between(8000, 384000);
        const BiquadTaps taps = DesignBiquad(node, uRate);
        // Inside the triangle in which both poles lie within the unit circle.
        const bool bStable = std::abs(taps[5]) < 1.0 && std::abs(taps[4]) < 1.0 + taps[5];
        double fWorst = 0.0;
        for (const double fRelative : {0.001, 0.02, 0.1, 0.3, 0.49}) {
            const double fExpected = Expected(node, fRelative * uRate, uRate);
            const double fOmega = 2.0 * std::numbers::pi * fRelative;
            for (const double fActual : {Response(taps, fOmega), BiquadMagnitude(taps, fOmega)})
                fWorst = std::max(fWorst, std::abs(fActual - fExpected) / std::max(1.0, fExpected));
        }
        INFO("shape ", static_cast<int>(node.shape), ", ", node.fFrequency, " Hz at ", uRate);
        CHECK((bStable && fWorst < 1e-6));  // the slope of a shelf is a float
    }
}
