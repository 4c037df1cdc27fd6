#include "dsp/AltSoloImpl.h"

#include <doctest/doctest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "tests/support/Signals.h"

namespace {

constexpr std::uint32_t kRate = 44100;

struct Fixture {
    Util::NamedLock lock{"Owner"};
    DSP::AltSoloImpl filter{lock};

    std::vector<float> Impulse(std::size_t uLength, float* right = nullptr) {
        std::vector<float> samples(uLength);
        samples[0] = 1.0f;
        filter.Process(static_cast<std::uint32_t>(uLength), samples.data(), right);
        return samples;
    }
};

double MagnitudeAt(const std::vector<float>& response, double fHz) {
    std::complex<double> sum;
    for (std::size_t n = 0; n < response.size(); ++n) {
        sum += double{response[n]} *
               std::polar(1.0, -2.0 * std::numbers::pi * fHz * static_cast<double>(n) / kRate);
    }
    return std::abs(sum);
}

}  // namespace

TEST_CASE("The audition filter is a band-pass whose peak is the gain and whose width is the Q") {
    Fixture f;
    const float fCentre = 1000.0f;
    const float fQ = 4.0f;
    f.filter.Set(kRate, fCentre, 6.0f, fQ);
    const auto response = f.Impulse(8192);
    const double fPeak = std::exp(6.0 * 0.115129255);
    // The analogue band-pass (s w0 / Q) / (s s + s w0 / Q + w0 w0) through the bilinear transform, prewarped
    // at the centre.
    for (const double fHz : {50.0, 500.0, 900.0, 1000.0, 1100.0, 2000.0, 15000.0}) {
        const double s =
            std::tan(std::numbers::pi * fHz / kRate) / std::tan(std::numbers::pi * 1000.0 / kRate);
        // The Q of the digital form refers to sin(w0); in the prototype it is the same Q.
        const double fExpected = fPeak * (s / double{fQ}) / std::hypot(1.0 - s * s, s / double{fQ});
        CAPTURE(fHz);
        CHECK(std::abs(MagnitudeAt(response, fHz) - fExpected) < 1e-4);
    }
}

TEST_CASE("A small step keeps the filter's state, a large one starts it anew") {
    const auto carriesOn = [](float fHz, float fDb, float fQ) {
        Fixture f;
        f.filter.Set(kRate, 1000.0f, 0.0f, 18.0f);
        f.Impulse(16);
        f.filter.Set(kRate, fHz, fDb, fQ);
        std::vector<float> silence(16);
        f.filter.Process(16, silence.data(), nullptr);
        return silence[0] != 0.0f;
    };
    CHECK(carriesOn(1000.0f, 0.0f, 18.0f));
    CHECK(carriesOn(1990.0f, 0.0f, 18.0f));
    CHECK_FALSE(carriesOn(2000.0f, 0.0f, 18.0f));
    CHECK_FALSE(carriesOn(490.0f, 0.0f, 18.0f));
    CHECK(carriesOn(1000.0f, -9.9f, 18.0f));
    CHECK_FALSE(carriesOn(1000.0f, 10.1f, 18.0f));
    CHECK_FALSE(carriesOn(1000.0f, 0.0f, 17.0f));
    CHECK_FALSE(carriesOn(0.0f, 0.0f, 18.0f));
}

TEST_CASE("Above half the rate the filter passes everything, and without one the audio stays") {
    Fixture f;
    const auto input = Test::Noise(1, 100);
    auto samples = input;
    f.filter.Process(100, samples.data(), nullptr);
    CHECK(Test::FirstDifference(samples, input) == -1);
    f.filter.Set(kRate, 22051.0f, -6.0f, 3.0f);
    f.filter.Process(100, samples.data(), nullptr);
    CHECK(Test::FirstDifference(samples, input) == -1);
    f.filter.Set(kRate, 100.0f, std::nullopt, std::nullopt);
    f.filter.Process(100, samples.data(), nullptr);
    CHECK(Test::FirstDifference(samples, input) != -1);
    f.filter.Clear();
    samples = input;
    f.filter.Process(100, samples.data(), nullptr);
    CHECK(Test::FirstDifference(samples, input) == -1);
}

TEST_CASE("Each channel has a state of its own, a NaN does not stay, and a state can be written") {
    Fixture f;
    f.filter.Set(kRate, 1000.0f, 0.0f, 2.0f);
    std::vector<float> right(64);
    const auto left = f.Impulse(64, right.data());
    CHECK(Test::FirstDifference(right, std::vector<float>(64)) == -1);
    CHECK(left[10] != 0.0f);

    std::vector<float> poison(8, NAN);
    f.filter.Process(8, poison.data(), right.data());
    CHECK(std::isfinite(f.Impulse(64)[63]));

    CHECK(f.filter.IsOn());
    f.filter.Reset();
    std::vector<float> quiet(8);
    f.filter.Process(8, quiet.data(), nullptr);
    CHECK(Test::FirstDifference(quiet, std::vector<float>(8)) == -1);
    f.filter.Clear();
    CHECK_FALSE(f.filter.IsOn());
    f.filter.Set(kRate, 1000.0f, 0.0f, 2.0f);
    const double state[] = {0.5, 0.0};
    f.filter.SetState({state, 1});
    std::vector<float> silence(2);
    f.filter.Process(1, silence.data(), nullptr);
    CHECK(silence[0] == 0.0f);
    f.filter.SetState(state);
    f.filter.Process(1, silence.data(), nullptr);
    CHECK(silence[0] == 0.5f);
}
