#include "dsp/DisplayResponse.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

TEST_CASE("DisplayResponse: the axis runs from 20 Hz to 20 kHz in equal ratios") {
    const DSP::ResponseCurve f = DSP::ResponseFrequencies();
    CHECK(f.size() == 409);
    double fWorst = 0.0;
    for (std::size_t i = 0; i < f.size(); ++i) {
        const double fExact = 20.0 * std::pow(1000.0, static_cast<double>(i) / 408.0);
        fWorst = std::max(fWorst, std::abs(double{f[i]} / fExact - 1.0));
    }
    // Exponents up to 14.3 in single precision: half a unit there is 4.8e-7, times ln 2, and a few of them.
    CHECK(fWorst < 2e-6);
}

TEST_CASE("DisplayResponse: between bins lies a straight line, which goes on beyond the ends") {
    const float magnitudes[] = {1.0f, 3.0f, 2.0f, 0.0f, 4.0f};
    const std::pair<double, double> points[] = {{-0.5, 0.0}, {0.25, 1.5}, {2.0, 2.0}, {4.0, 4.0}, {5.0, 8.0}};
    for (const auto& [fBin, fExpected] : points)
        CHECK(DSP::InterpolateMagnitude(magnitudes, 8, fBin) == fExpected);
}

TEST_CASE("DisplayResponse: an FIR filter shows its magnitude in dB and never less than -400") {
    const DSP::ResponseCurve f = DSP::ResponseFrequencies();
    DSP::ResponseCurve decibels;
    // A comb 1 + z^-2: |H| = 2 |cos w|, on a grid fine enough that lines between bins do not show.
    const float comb[] = {1.0f, 0.0f, 1.0f};
    DSP::FirResponse(comb, 3, 65536, 44100.0, f, decibels);
    double fWorst = 0.0;
    for (std::size_t i = 0; i < f.size(); ++i) {
        const double fExpected = 2.0 * std::abs(std::cos(2.0 * std::numbers::pi * double{f[i]} / 44100.0));
        fWorst = std::max(fWorst, std::abs(std::pow(10.0, double{decibels[i]} / 20.0) - fExpected));
    }
    // A line over a bin w wide misses a cosine by w w / 4 at most, and more at the corner where it is 0.
    CHECK(fWorst < 2e-4);

    const float silence[] = {0.0f, 0.0f};
    DSP::FirResponse(silence, 2, 64, 22050.0, f, decibels);
    CHECK(*std::max_element(decibels.begin(), decibels.end()) == -400.0f);
}
