#include "dsp/LinearPhaseFir.h"

#include <doctest/doctest.h>

#include <cmath>
#include <vector>

#include "tests/dsp/LinearPhaseModel.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

TEST_CASE("LinearPhaseFir: taps are the windowed cosine series of the magnitudes, without allocating") {
    struct Case {
        int nAsked;
        std::size_t uLength;  ///< the next power of two
    };
    for (const Case& length : {Case{2, 2}, {4, 4}, {8, 8}, {64, 64}, {1000, 1024}}) {
        const auto [nAsked, uLength] = length;
        const DSP::LinearPhaseFir fir(nAsked, 9.0);
        REQUIRE(fir.Length() == static_cast<int>(uLength));
        auto magnitudes = Test::Noise(uLength, uLength / 2 + 1);
        for (float& fMagnitude : magnitudes)
            fMagnitude = std::abs(fMagnitude);
        std::vector<float> taps(uLength, 99.0f), work(fir.WorkLength(), 99.0f);
        const Test::AllocationCounter counter;
        fir.Design(magnitudes.data(), taps.data(), work.data());
        const auto uAllocations = counter.Count();
        CAPTURE(length.nAsked);
        CHECK(uAllocations == 0);
        // The error of the transform in float: about 1e-7 of the spectrum's rms.
        CHECK(Test::WorstDifference(taps, Test::LinearPhaseTaps(magnitudes, 9.0)) < 1e-6);
        CHECK(taps.back() == 0.0f);
    }
}
