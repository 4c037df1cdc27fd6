#include "dsp/vector/Decibel.h"

#include <cmath>
#include <initializer_list>
#include <limits>

#include <doctest/doctest.h>

#include "dsp/vector/OnePole.h"
#include "dsp/vector/Rounding.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace

TEST_CASE("Decibel: 20 dB are a factor of 10, and the stored digits decide the last bits of a gain") {
    // The constants carry nine and seven digits.
    for (int n = -10; n <= 10; ++n) {
        CAPTURE(n);
        const double fFactor = std::pow(10.0, n);
        CHECK(std::abs(DSP::DbToLinear(20.0 * n) / fFactor - 1.0) < 2e-7);
        CHECK(std::abs(DSP::LinearToDb(fFactor) - 20.0 * n) < 2e-5);
    }
    CHECK(DSP::DbToLinear(0.0f) == 1.0f);
    CHECK(DSP::LinearToDb(1.0f) == 0.0f);
    CHECK(DSP::DbToLinear(-60.0f) == static_cast<float>(std::exp(-60.0 * 0.115129255)));
    CHECK(DSP::LinearToDb(0.3f) == static_cast<float>(std::log(double{0.3f}) * 8.685889));
}

TEST_CASE("Decibel: silence, negative numbers and NaNs are -400 dB, and logarithms of zero stay numbers") {
    for (const double x : {0.0, -0.0, 9.9e-21, -1.0, -kInfinity, kNaN}) {
        CAPTURE(x);
        CHECK(DSP::LinearToDb(x) == -400.0);
        CHECK(DSP::LinearToDb(static_cast<float>(x)) == -400.0f);
    }
    CHECK(std::abs(DSP::LinearToDb(1e-20) + 400.0) < 1e-4);
    CHECK(DSP::LinearToDb(kInfinity) == kInfinity);
    CHECK(DSP::DbToLinear(-kInfinity) == 0.0);
    CHECK(std::isnan(DSP::DbToLinear(kNaN)));
    for (const double x : {0.0, 9.9e-37, -9.9e-37}) {
        CHECK((DSP::GuardedLog(x) == -1e35 && DSP::GuardedLog10(x) == -1e35));
        const auto f = static_cast<float>(x);
        CHECK((DSP::GuardedLog(f) == -1e35f && DSP::GuardedLog10(f) == -1e35f));
    }
    CHECK(DSP::GuardedLog(1e-36) == DSP::Log(1e-36));
    CHECK(DSP::GuardedLog10(1000.0f) == 3.0f);
    CHECK(std::isnan(DSP::GuardedLog(-1.0)));
}

TEST_CASE("One-pole: a step reaches 1 - 1/e^2 in the time, and no time means no smoothing") {
    for (const double fRate : {22050.0, 44100.0, 192000.0}) {
        for (const double fTimeMs : {1.0, 20.0, 500.0}) {
            CAPTURE(fRate);
            CAPTURE(fTimeMs);
            const float c = DSP::OnePoleCoefficient(fTimeMs, fRate);
            const auto nSamples = DSP::RoundHalfAway(fTimeMs * 0.001 * fRate);
            double y = 0.0;
            for (int i = 0; i < nSamples; ++i)
                y = y * double{c} + (1.0 - double{c});
            // The time is a whole number of samples, half a sample off at most; c is rounded to 24 bits.
            CHECK(std::abs(y - (1.0 - std::exp(-2.0))) < 0.2 * 2.0 / nSamples + 0.004);
        }
    }
    for (const double fTimeMs : {0.0, -1.0, -kInfinity, kNaN}) {
        CHECK(DSP::OnePoleCoefficient(fTimeMs, 44100.0) == 0.0f);
    }
    CHECK(DSP::OnePoleCoefficient(kInfinity, 44100.0) == 1.0f);
}

TEST_CASE("Rounding: halves go away from zero, and what does not fit goes to the nearest end") {
    struct Case {
        double x;
        int nExpected;
    };
    for (const Case& c : {Case{0.5, 1},
                          {-0.5, -1},
                          {2.5, 3},
                          {-2.5, -3},
                          {0.49999999999999994, 0},
                          {-0.49999999999999994, 0},
                          {1e9 + 0.5, 1000000001},
                          {2147483646.5, 2147483647},
                          {2147483647.4, 2147483647},
                          {1e300, 2147483647},
                          {-2147483648.4, -2147483647 - 1},
                          {-2147483647.5, -2147483647 - 1},
                          {-kInfinity, -2147483647 - 1},
                          {kNaN, 0}}) {
        CAPTURE(c.x);
        CHECK(DSP::RoundHalfAway(c.x) == c.nExpected);
    }
}
