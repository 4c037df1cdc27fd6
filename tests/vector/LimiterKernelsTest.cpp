#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "dsp/vector/LimiterCurve.h"
#include "dsp/vector/LimiterPeaks.h"
#include "tests/vector/KernelCases.h"

using Test::AtEveryLevel;
using Test::Guarded;
using Test::KernelLengths;

namespace {

using Floats = std::vector<float>;

std::size_t Size(int n) {
    return static_cast<std::size_t>(n);
}

Floats Levels(unsigned uSeed, int nLength) {
    std::mt19937 generator(uSeed);
    std::uniform_real_distribution<float> level(0.0f, 30.0f);
    Floats levels(Size(nLength));
    for (float& fLevel : levels)
        fLevel = generator() % 3 == 0 ? 0.0f : level(generator);
    return levels;
}

float Peak(float fPeak, float fSample) {
    return std::abs(fSample) > fPeak ? std::abs(fSample) : fPeak;
}

}  // namespace

TEST_CASE("Oversampled peaks take four points of the frame, one of the frame before, and the frame's own") {
    for (const int nLength : KernelLengths()) {
        std::array<Floats, 10> phases;
        for (unsigned p = 0; p < 10; ++p)
            phases[p] = Test::AnyFloats(p + 3, nLength + 1);
        const Floats frames = Levels(20, nLength + 6);
        Floats expected(Size(nLength));
        for (std::size_t i = 0; i < expected.size(); ++i) {
            float fPeak = frames[i];
            for (std::size_t p = 0; p < 10; ++p)
                fPeak = Peak(fPeak, phases[p][p % 5 == 4 ? i : i + 1]);
            expected[i] = fPeak;
        }
        AtEveryLevel([&] {
            const float* left[5];
            const float* right[5];
            for (std::size_t p = 0; p < 5; ++p) {
                left[p] = phases[p].data() + 1;
                right[p] = phases[p + 5].data() + 1;
            }
            Guarded<float> peaks(nLength, 1);
            DSP::OversampledPeaks(left, right, frames.data() + 6, peaks.Data(), nLength);
            CHECK(Test::FirstDifference(peaks.Values(), expected) == -1);
            CHECK(peaks.Intact());
        });
    }
}

TEST_CASE("The sliding maximum and minimum are the loop's for every width, in place too") {
    for (const int nWidth : {1, 2, 3, 4, 5, 17, 33, 64, 65, 129, 200, 257}) {
        for (const int nLength : {1, 2, 7, 16, 31, 100, 300}) {
            CAPTURE(nWidth);
            CAPTURE(nLength);
            const Floats source = Levels(static_cast<unsigned>(nWidth), nLength + nWidth - 1);
            Floats greatest(Size(nLength)), least(Size(nLength));
            for (int i = 0; i < nLength; ++i) {
                const auto window = source.begin() + i;
                greatest[Size(i)] = *std::max_element(window, window + nWidth);
                least[Size(i)] = *std::min_element(window, window + nWidth);
            }
            AtEveryLevel([&] {
                Guarded<float> scratch(nLength + nWidth - 1, 1), results(nLength, 2);
                DSP::SlidingMaximum(source.data(), nWidth, scratch.Data(), results.Data(), nLength);
                CHECK(Test::FirstDifference(results.Values(), greatest) == -1);
                CHECK(results.Intact());
                CHECK(scratch.Intact());
                Guarded<float> inPlace(source, 1);
                DSP::SlidingMinimum(inPlace.Data(), nWidth, inPlace.Data(), inPlace.Data(), nLength);
                CHECK(Floats(inPlace.Data(), inPlace.Data() + nLength) == least);
                CHECK(inPlace.Intact());
            });
        }
    }
}

TEST_CASE("The smoothing filter sums from the middle outwards, at every level") {
    for (const int nHalf : {0, 1, 8, 32}) {
        const Floats taps = Levels(5, nHalf + 1);
        for (const int nLength : KernelLengths()) {
            const Floats x = Levels(6, nLength + 2 * nHalf);
            Floats expected(Size(nLength));
            for (int i = 0; i < nLength; ++i) {
                const float* const middle = x.data() + nHalf + i;
                float fSum = taps[0] * *middle;
                for (int j = 1; j <= nHalf; ++j) {
                    const float fPair = middle[-j] + middle[j];
                    const float fProduct = taps[Size(j)] * fPair;
                    fSum += fProduct;
                }
                expected[Size(i)] = fSum;
            }
            AtEveryLevel([&] {
                Guarded<float> results(nLength, 1);
                DSP::SmoothSymmetric(taps.data(), nHalf, x.data() + nHalf, results.Data(), nLength);
                CHECK(Test::FirstDifference(results.Values(), expected) == -1);
                CHECK(results.Intact());
            });
        }
    }
}

TEST_CASE("A carried sum of steps equals the sum in full, to the last bit, and is the curve's") {
    const Floats x = Levels(8, 3000);
    constexpr int kSteps = 617;
    AtEveryLevel([&] {
        std::vector<double> changes(2000);
        DSP::StepSumChanges(x.data(), kSteps, changes.data(), 2000);
        double fSum = DSP::StepSum(x.data(), kSteps);
        int nDifferent = 0;
        double fWorst = 0.0;
        for (int i = 0; i < 2000; ++i) {
            double fPlain = 0.0;
            for (std::size_t j = Size(i); j < Size(i + kSteps); ++j)
                fPlain += std::abs(double{x[j + 1]} - double{x[j]});
            fWorst = std::max(fWorst, std::abs(fPlain - fSum));
            if (fSum != DSP::StepSum(x.data() + i, kSteps)) ++nDifferent;
            fSum += changes[Size(i)];
        }
        CHECK(nDifferent == 0);
        CHECK(fWorst < kSteps * 0x1p-33 * 1.01);
    });
}
