#include "dsp/LinearPhaseFir.h"

#include <doctest/doctest.h>

#include <cmath>
#include <vector>

#include "tests/dsp/LinearPhaseModel.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

using DSP::LinearPhaseFir;

namespace {

std::vector<float> Design(const LinearPhaseFir& fir, const std::vector<float>& magnitudes) {
    std::vector<float> taps(static_cast<std::size_t>(fir.Length()), 99.0f);
    std::vector<float> work(fir.WorkLength(), 99.0f);
    fir.Design(magnitudes.data(), taps.data(), work.data());
    return taps;
}

}  // namespace

TEST_CASE("LinearPhaseFir: taps are the windowed cosine series of the magnitudes") {
    for (const int nLength : {2, 4, 8, 64, 1024}) {
        const LinearPhaseFir fir(nLength, 9.0);
        REQUIRE(fir.Length() == nLength);
        const auto uHalf = static_cast<std::size_t>(nLength / 2);
        auto magnitudes = Test::Noise(static_cast<std::uint64_t>(nLength), uHalf + 1);
        for (float& fMagnitude : magnitudes)
            fMagnitude = std::abs(fMagnitude);
        const auto taps = Design(fir, magnitudes);

        CAPTURE(nLength);
        // The error of the transform in float: about 1e-7 of the spectrum's rms.
        CHECK(Test::WorstDifference(taps, Test::LinearPhaseTaps(magnitudes, 9.0)) < 1e-6);
        CHECK(taps.back() == 0.0f);
    }
}

TEST_CASE("LinearPhaseFir: a flat curve gives an impulse of its height, without allocating") {
    const LinearPhaseFir fir(1000, 9.0);
    REQUIRE(fir.Length() == 1024);
    const std::vector<float> magnitudes(513, 0.75f);
    std::vector<float> taps(1024), work(fir.WorkLength());
    const Test::AllocationCounter counter;
    fir.Design(magnitudes.data(), taps.data(), work.data());
    CHECK(counter.Count() == 0);
    CHECK(taps[511] == 0.75f);
    double fRest = 0.0;
    for (const float fTap : taps)
        fRest += double{std::abs(fTap)};
    CHECK(fRest - 0.75 < 1e-6);
}
