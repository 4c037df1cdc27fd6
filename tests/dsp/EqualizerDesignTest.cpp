#include "dsp/EqualizerDesign.h"

#include <doctest/doctest.h>

#include "tests/dsp/EqualizerFixture.h"

using namespace DSP::Equalizer;
using Test::Db;

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
    const double A = std::pow(10.0, fGain / 20.0);
    const double fDamp = std::sqrt(A) * std::sqrt((A + 1.0 / A) * (1.0 / fSlope - 1.0) + 2.0);
    const C numerator = s * s + fDamp * s + A;
    const C denominator = A * s * s + fDamp * s + 1.0;
    // The high shelf is the low one on the mirrored axis.
    if (node.shape == Shape::LowShelf) return std::abs(A * numerator / denominator);
    return std::abs(A * (A * s * s + fDamp * s + 1.0) / (s * s + fDamp * s + A));
}

}  // namespace

TEST_CASE("An impulse through a node has the response of the shape's prototype at every rate") {
    const float kFrequencies[] = {150.0f, 1000.0f, 3900.0f, 18000.0f};
    struct Setting {
        float fGainDb, fQ;
    };
    const Setting kSettings[] = {{-30.0f, 0.2f}, {6.0f, 0.71f}, {15.0f, 6.0f}};
    for (const std::uint32_t uRate : {8000u, 44100u, 96000u, 192000u}) {
        for (int nShape = 0; nShape < 5; ++nShape) {
            for (const float fHz : kFrequencies) {
                for (const Setting& setting : kSettings) {
                    Test::EqualizerFixture f;
                    f.SetRate(uRate);
                    const FilterNode node{true, static_cast<Shape>(nShape), fHz, setting.fGainDb, setting.fQ};
                    f.eq.SetNode(2, fHz, setting.fGainDb, setting.fQ, node.shape);
                    std::vector<float> impulse(2 * uRate);  // shelves of little slope ring on for long
                    impulse[0] = 1.0f;
                    const auto response = f.Render({impulse, {}}).left;
                    double fWorst = 0.0;
                    for (const double fRelative : {0.001, 0.02, 0.1, 0.3, 0.49}) {
                        const double fAt = fRelative * uRate;
                        const double fDifference =
                            std::abs(Test::MagnitudeAt(response, fAt, uRate) - Expected(node, fAt, uRate));
                        fWorst = std::max(fWorst, fDifference / std::max(1.0, Expected(node, fAt, uRate)));
                    }
                    CAPTURE(uRate);
                    CAPTURE(nShape);
                    CAPTURE(fHz);
                    CAPTURE(setting.fGainDb);
                    CHECK(fWorst < 1e-5);
                }
            }
        }
    }
}

TEST_CASE("A shelf's plateau is twice its gain, its slope runs from 0.1 to 1, and the display agrees") {
    const double fPlateau = Db(Expected({true, Shape::LowShelf, 1000.0f, 6.0f, 12.0f}, 0.1, 44100.0));
    CHECK(fPlateau == doctest::Approx(12.0));
    for (const Shape shape : {Shape::LowShelf, Shape::HighShelf}) {
        const BiquadTaps taps = DesignBiquad({true, shape, 1000.0f, 6.0f, 12.0f}, 44100);
        const double fLow = Db(BiquadMagnitude(taps, 1e-4));
        const double fHigh = Db(BiquadMagnitude(taps, 3.14));
        CHECK(fLow == doctest::Approx(shape == Shape::LowShelf ? 12.0 : 0.0).epsilon(1e-4));
        CHECK(fHigh == doctest::Approx(shape == Shape::LowShelf ? 0.0 : 12.0).epsilon(1e-4));
    }
    CHECK(ShelfSlope(0.2f) == 0.1f);
    CHECK(ShelfSlope(12.0f) == doctest::Approx(1.0f));
    CHECK(ShelfSlope(6.1f) == doctest::Approx(0.55f));
}

TEST_CASE("At half the rate a node is still designed, above it becomes a wire or silence") {
    for (int nShape = 0; nShape < 5; ++nShape) {
        FilterNode node{true, static_cast<Shape>(nShape), 4000.0f, 6.0f, 1.0f};
        CHECK(DesignBiquad(node, 8000)[4] != 0.0);
        node.fFrequency = std::nextafter(4000.0f, 5000.0f);
        const double fFirst = node.shape == Shape::HighPass ? 0.0 : 1.0;
        CHECK(DesignBiquad(node, 8000) == BiquadTaps{fFirst, 0.0, 0.0, 1.0, 0.0, 0.0});
    }
}

TEST_CASE("Random nodes over the whole range are stable") {
    Test::Random random(11);
    for (int i = 0; i < 5000; ++i) {
        const FilterNode node{true, static_cast<Shape>(random.Between(0, 4)),
                              20.0f * std::pow(1000.0f, random.Uniform(0.0f, 1.0f)),
                              random.Uniform(-30.0f, 15.0f), random.Uniform(0.2f, 12.0f)};
        const std::uint32_t uRate = random.Between(8000, 384000);
        const BiquadTaps taps = DesignBiquad(node, uRate);
        // Inside the triangle in which both poles lie within the unit circle.
        const bool bStable = std::abs(taps[5]) < 1.0 && std::abs(taps[4]) < 1.0 + taps[5];
        if (!bStable) {
            CAPTURE(static_cast<int>(node.shape));
            CAPTURE(node.fFrequency);
            CAPTURE(uRate);
            CHECK(bStable);
        }
    }
}
