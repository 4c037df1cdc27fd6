#include "dsp/ImpulseResampler.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "tests/support/Signals.h"

namespace {

constexpr double kPi = std::numbers::pi;

std::vector<float> Sine(double fHz, double fRate, std::size_t uLength) {
    std::vector<float> sine(uLength);
    for (std::size_t i = 0; i < uLength; ++i)
        sine[i] = static_cast<float>(std::sin(2.0 * kPi * fHz * static_cast<double>(i) / fRate));
    return sine;
}

/// The amplitude of a frequency in the middle of a signal, under a window that keeps other frequencies away.
std::complex<double> Amplitude(const std::vector<float>& signal, double fHz, double fRate) {
    const std::size_t uFrom = signal.size() / 4, uLength = signal.size() / 2;
    std::complex<double> sum;
    double fWeight = 0.0;
    for (std::size_t i = 0; i < uLength; ++i) {
        const double p = 2.0 * kPi * (static_cast<double>(i) + 0.5) / static_cast<double>(uLength);
        const double w =
            0.35875 - 0.48829 * std::cos(p) + 0.14128 * std::cos(2 * p) - 0.01168 * std::cos(3 * p);
        const double a = 2.0 * kPi * fHz * static_cast<double>(uFrom + i) / fRate;
        sum += w * double{signal[uFrom + i]} * std::polar(2.0, -a);
        fWeight += w;
    }
    return sum / fWeight;
}

double Db(double f) {
    return 20.0 * std::log10(f);
}

double BesselI0(double x) {
    double fSum = 1.0, fTerm = 1.0;
    for (int k = 1; k < 60; ++k) {
        fTerm *= x * x / 4.0 / (static_cast<double>(k) * k);
        fSum += fTerm;
    }
    return fSum;
}

/// What a sinc of 12 old samples under a Kaiser window of beta 12 does to a frequency, when it raises the
/// rate by nUp / nDown: its Fourier sum, which is real, over that at 0. The old rate is 44100 Hz.
double Response(double fHz, int nUp, double fNewRate, double fOldRate) {
    double fSum = 0.0, fAtZero = 0.0;
    const int nHalf = 6 * nUp - 1;  // taps to either side of the middle
    const double fHighRate = fOldRate * nUp;
    for (int i = -nHalf; i <= nHalf; ++i) {
        const double x = kPi * i / std::max(static_cast<double>(nUp), fHighRate / fNewRate),
                     t = i / static_cast<double>(nHalf);
        const double tap = (i == 0 ? 1.0 : std::sin(x) / x) * BesselI0(12.0 * std::sqrt(1.0 - t * t));
        fSum += tap * std::cos(2.0 * kPi * fHz / fHighRate * i);
        fAtZero += tap;
    }
    return fSum / fAtZero;
}

}  // namespace

TEST_CASE(
    "A resampled sine is the same sine, in time to the sample, and its image is as low as the filter's") {
    struct Case {
        std::uint32_t uTo;
        int nUp;
    };
    for (const Case& rates : {Case{48000, 160}, {88200, 2}, {96000, 320}, {192000, 640}, {384000, 1280}}) {
        const std::uint32_t uTo = rates.uTo;
        const int nUp = rates.nUp;
        CAPTURE(uTo);
        for (const double fHz : {100.0, 1000.0, 5000.0, 10000.0, 16000.0}) {
            CAPTURE(fHz);
            const auto output = DSP::ResampleImpulse(Sine(fHz, 44100, 8000), 44100, uTo);
            REQUIRE(output.size() == 8000u * std::uint64_t{uTo} / 44100u);
            // -i stands for a sine without delay, and +i for its mirror image.
            const auto expected = std::complex<double>(0.0, -Response(fHz, nUp, uTo, 44100));
            CHECK(std::abs(Amplitude(output, fHz, uTo) - expected) < 1e-5);
            const double fImage = 44100.0 - fHz;
            if (fImage > uTo / 2.0) continue;
            const auto image = std::complex<double>(0.0, Response(fImage, nUp, uTo, 44100));
            CHECK(std::abs(Amplitude(output, fImage, uTo) - image) < 1e-5);
        }
        // What that filter is worth: flat to 0.01 dB up to 5 kHz, its images there below -90 dB.
        CHECK(std::abs(Db(Response(5000, nUp, uTo, 44100))) < 0.01);
        CHECK(Db(std::abs(Response(39100, nUp, uTo, 44100))) < -90.0);
    }
}

TEST_CASE("Samples that both rates share stay as they are when the rate goes up") {
    // Zero crossings of the filter: with a whole ratio every old sample lies on a new one.
    const auto input = Test::Noise(3, 500);
    for (const std::uint32_t uFactor : {2u, 3u, 8u}) {
        CAPTURE(uFactor);
        const auto output = DSP::ResampleImpulse(input, 48000, 48000 * uFactor);
        REQUIRE(output.size() == input.size() * uFactor);
        float fWorst = 0.0f;
        for (std::size_t i = 0; i < input.size(); ++i)
            fWorst = std::max(fWorst, std::abs(output[i * uFactor] - input[i]));
        // The taps are scaled so that a constant stays one, which moves the middle tap off 1 a little.
        CHECK(fWorst < 1e-3f);
    }
}

TEST_CASE("A lower rate keeps place, length and the low frequencies") {
    const auto output = DSP::ResampleImpulse(Sine(300, 44100, 20000), 44100, 22050);
    CHECK(output.size() == 10000);
    CHECK(std::abs(Amplitude(output, 300, 22050) - std::complex<double>(0.0, -1.0)) < 0.01);
    std::vector<float> peak(1000);
    peak[441] = 1.0f;
    const auto lower = DSP::ResampleImpulse(peak, 44100, 8000);
    CHECK(lower.size() == 181);
    CHECK(std::max_element(lower.begin(), lower.end()) - lower.begin() == 80);
}

TEST_CASE("Equal rates, the shortest impulse and senseless rates are dealt with") {
    const auto input = Test::Noise(5, 100);
    CHECK(DSP::ResampleImpulse(input, 44100, 44100) == input);
    CHECK(DSP::ResampleImpulse({1.0f}, 44100, 8000).size() == 1);
    CHECK(DSP::ResampleImpulse({1.0f}, 44100, 192000).size() == 4);
    CHECK(DSP::ResampleImpulse(input, 44100, 0).size() == 1);
    for (const float f : DSP::ResampleImpulse(input, 44100, 44101))  // no factor in common
        CHECK(std::abs(f) < 2.0f);
}
