#include "dsp/AltSoloImpl.h"

#include <doctest/doctest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "tests/support/Signals.h"

namespace {

constexpr std::uint32_t kRate = 44100;
using Samples = std::vector<float>;

struct Fixture {
    Util::NamedLock lock{"Owner"};
    DSP::AltSoloImpl filter{lock};

    Samples Run(Samples samples, float* right = nullptr) {
        filter.Process(static_cast<std::uint32_t>(samples.size()), samples.data(), right);
        return samples;
    }
    Samples Impulse(std::size_t uLength, float* right = nullptr) {
        Samples samples(uLength);
        samples[0] = 1.0f;
        return Run(samples, right);
    }
};

}  // namespace

TEST_CASE_FIXTURE(Fixture,
                  "The audition filter is a band-pass whose peak is the gain and whose width is the Q") {
    filter.Set(kRate, 1000.0f, 6.0f, 4.0f);
    const Samples response = Impulse(8192);
    const double fPeak = std::exp(6.0 * 0.115129255);
    // The analogue band-pass (s w0 / Q) / (s s + s w0 / Q + w0 w0) through the bilinear transform, prewarped
    // at the centre. The Q of the digital form refers to sin(w0); in the prototype it is the same Q.
    for (const double fHz : {50.0, 500.0, 900.0, 1000.0, 1100.0, 2000.0, 15000.0}) {
        const double s =
            std::tan(std::numbers::pi * fHz / kRate) / std::tan(std::numbers::pi * 1000.0 / kRate);
        const double fExpected = fPeak * (s / 4.0) / std::hypot(1.0 - s * s, s / 4.0);
        std::complex<double> sum;
        for (std::size_t n = 0; n < response.size(); ++n) {
            const double fAngle = -2.0 * std::numbers::pi * fHz * static_cast<double>(n) / kRate;
            sum += double{response[n]} * std::polar(1.0, fAngle);
        }
        CAPTURE(fHz);
        CHECK(std::abs(std::abs(sum) - fExpected) < 1e-4);
    }
}

TEST_CASE("A small step keeps the audition filter's state, a large one starts it anew") {
    struct Row {
        float fHz, fDb, fQ;
        bool bCarriesOn;
    };
    constexpr Row kRows[] = {{1000, 0, 18, true},  {1990, 0, 18, true},     {2000, 0, 18, false},
                             {490, 0, 18, false},  {1000, -9.9f, 18, true}, {1000, 10.1f, 18, false},
                             {1000, 0, 17, false}, {0, 0, 18, false}};
    for (const Row& row : kRows) {
        Fixture f;
        f.filter.Set(kRate, 1000.0f, 0.0f, 18.0f);
        f.Impulse(16);
        f.filter.Set(kRate, row.fHz, row.fDb, row.fQ);
        CAPTURE(row.fHz);
        CAPTURE(row.fDb);
        CHECK((f.Run(Samples(1))[0] != 0.0f) == row.bCarriesOn);
    }
}

TEST_CASE_FIXTURE(Fixture,
                  "Above half the rate the audition filter passes everything; without one the audio stays") {
    const Samples input = Test::Noise(1, 100);
    CHECK(Run(input) == input);
    filter.Set(kRate, 22051.0f, -6.0f, 3.0f);
    CHECK(Run(input) == input);
    filter.Set(kRate, 100.0f, std::nullopt, std::nullopt);
    CHECK(Run(input) != input);
    // At half the rate nothing is left of the band, nor of what an earlier one left behind.
    filter.Set(kRate, 20000.0f, std::nullopt, std::nullopt);
    Run(input);
    filter.Set(kRate, 22050.0f, std::nullopt, std::nullopt);
    CHECK(std::abs(Run(input)[99]) < 1e-12f);
    filter.Clear();
    CHECK_FALSE(filter.IsOn());
    CHECK(Run(input) == input);
}

TEST_CASE_FIXTURE(Fixture,
                  "The audition filter keeps channels apart, forgets a NaN, and its state can be written") {
    filter.Set(kRate, 1000.0f, 0.0f, 2.0f);
    Samples right(64);
    CHECK(Impulse(64, right.data())[10] != 0.0f);
    CHECK(right == Samples(64));
    Run(Samples(8, NAN), right.data());
    CHECK(std::isfinite(Impulse(64)[63]));
    filter.Reset();
    CHECK(Run(Samples(8)) == Samples(8));
    const double state[] = {0.5, 0.0};
    filter.SetState({state, 1});
    CHECK(Run(Samples(1))[0] == 0.0f);
    filter.SetState(state);
    CHECK(Run(Samples(1))[0] == 0.5f);
}
