#include "dsp/ImpulseResampler.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <numeric>
#include <vector>

#include "tests/dsp/LinearPhaseModel.h"
#include "tests/support/Signals.h"

namespace {

/// The sum itself, in double: between two old samples lie nUp - 1 zeros; a sinc of 12 old samples under a
/// Kaiser window of beta 12, with a gain of nUp, cuts off at half the lower rate; every nDown-th sample is
/// taken.
std::vector<double> Resample(const std::vector<float>& x, std::uint32_t uFrom, std::uint32_t uTo) {
    const int nCommon = static_cast<int>(std::gcd(uFrom, uTo));
    const int nUp = static_cast<int>(uTo) / nCommon, nDown = static_cast<int>(uFrom) / nCommon;
    const int nHalf = (12 * nUp - 2) / 2;  // taps to either side of the middle
    std::vector<double> taps;
    for (int i = -nHalf; i <= nHalf; ++i) {
        const double a = std::numbers::pi * i / std::max(nUp, nDown), t = i / static_cast<double>(nHalf);
        taps.push_back((i == 0 ? 1.0 : std::sin(a) / a) * Test::BesselI0(12.0 * std::sqrt(1.0 - t * t)));
    }
    const double fGain = nUp / std::accumulate(taps.begin(), taps.end(), 0.0);
    const int nLength = static_cast<int>(x.size());
    std::vector<double> y(x.size() * static_cast<std::size_t>(nUp) / static_cast<std::size_t>(nDown));
    for (std::size_t k = 0; k < y.size(); ++k) {
        const int nAt = static_cast<int>(k) * nDown;
        for (int n = std::max(0, nAt / nUp - 7); n < std::min(nLength, nAt / nUp + 8); ++n) {
            const int i = nAt - n * nUp;
            if (std::abs(i) <= nHalf)
                y[k] += fGain * taps[static_cast<std::size_t>(i + nHalf)] *
                        double{x[static_cast<std::size_t>(n)]};
        }
    }
    return y;
}

}  // namespace

TEST_CASE("A resampled impulse is the plain sum over a windowed sinc, in time to the sample, at any rate") {
    const auto input = Test::Noise(3, 1000);
    for (const std::uint32_t uTo :
         {44100u, 44101u, 48000u, 88200u, 96000u, 192000u, 384000u, 22050u, 8000u}) {
        CAPTURE(uTo);
        const auto output = DSP::ResampleImpulse(input, 44100, uTo);
        // Sums of 12 products in single precision.
        CHECK(Test::WorstDifference(output, Resample(input, 44100, uTo)) < 2e-6);
    }
}

TEST_CASE("The shortest impulse and senseless rates are dealt with") {
    CHECK(DSP::ResampleImpulse({1.0f}, 44100, 8000).size() == 1);
    CHECK(DSP::ResampleImpulse({1.0f}, 44100, 192000).size() == 4);
    CHECK(DSP::ResampleImpulse(Test::Noise(5, 100), 44100, 0).size() == 1);
}
