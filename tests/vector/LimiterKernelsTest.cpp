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

TEST_CASE("Peaks of frames are the plain loop's at every level, and NaNs do not count") {
    for (const int nLength : KernelLengths()) {
        const Floats left = Test::AnyFloats(1, nLength), right = Test::AnyFloats(2, nLength);
        Floats stereo(Size(nLength)), mono(Size(nLength));
        for (std::size_t i = 0; i < stereo.size(); ++i) {
            mono[i] = Peak(0.0f, left[i]);
            stereo[i] = Peak(mono[i], right[i]);
        }
        AtEveryLevel([&] {
            for (int nOffset = 0; nOffset < 3; ++nOffset) {
                Guarded<float> a(left, nOffset), b(right, nOffset), peaks(nLength, nOffset);
                DSP::FramePeaks(a.Data(), b.Data(), peaks.Data(), nLength);
                CHECK(Test::FirstDifference(peaks.Values(), stereo) == -1);
                DSP::FramePeaks(a.Data(), nullptr, peaks.Data(), nLength);
                CHECK(Test::FirstDifference(peaks.Values(), mono) == -1);
                CHECK(peaks.Intact());
            }
        });
    }
}

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

TEST_CASE("Samples that are no audio become zeros, and all others stay as they are") {
    for (const int nLength : KernelLengths()) {
        const Floats samples = Test::AnyBits(7, nLength);
        Floats expected = samples;
        for (float& fSample : expected) {
            if (!(std::abs(fSample) <= 1000.0f)) fSample = 0.0f;
        }
        AtEveryLevel([&] {
            Guarded<float> x(samples, 1);
            DSP::ReplaceFaultySamples(x.Data(), nLength, 1000.0f);
            CHECK(Test::FirstDifference(x.Values(), expected) == -1);
            CHECK(x.Intact());
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

TEST_CASE("Over values, the release and the gains are the plain loops' at every level") {
    for (const int nLength : KernelLengths()) {
        const Floats peaks = Levels(1, nLength), levels = Levels(2, nLength), gains = Levels(3, nLength);
        Floats over = levels, release = peaks, out(Size(nLength));
        for (std::size_t i = 0; i < over.size(); ++i) {
            over[i] = peaks[i] > 9.0f ? std::max(levels[i] - 12.0f, 0.0f) : 0.0f;
            release[i] = std::max(peaks[i], std::sqrt(levels[i]) * gains[i]);
            const float fProduct = peaks[i] * gains[i];
            out[i] = fProduct * -0.7f;
        }
        AtEveryLevel([&] {
            Guarded<float> a(levels, 1), b(peaks, 1), c(nLength, 1);
            DSP::OverThreshold(peaks.data(), 9.0f, 12.0f, a.Data(), nLength);
            CHECK(Test::FirstDifference(a.Values(), over) == -1);
            DSP::RaiseByRelease(levels.data(), gains.data(), b.Data(), nLength);
            CHECK(Test::FirstDifference(b.Values(), release) == -1);
            DSP::ApplyGains(peaks.data(), gains.data(), -0.7f, std::numeric_limits<float>::infinity(),
                            c.Data(), nLength);
            CHECK(Test::FirstDifference(c.Values(), out) == -1);
            CHECK(a.Intact());
            CHECK(b.Intact());
            CHECK(c.Intact());
        });
    }
}

TEST_CASE("Gains cut off what roundings carry over the ceiling, on both sides, and nothing more") {
    const float fCeiling = 0.9f;
    const float fHair = std::nextafter(std::nextafter(fCeiling, 1.0f), 1.0f);
    const Floats samples = {fCeiling, fHair, -fHair, 0.95f, -2.0f, 0.5f};
    const Floats expected = {fCeiling, fCeiling, -fCeiling, 0.95f, -2.0f, 0.5f};
    const Floats ones(6, 1.0f);
    AtEveryLevel([&] {
        Floats out(6);
        DSP::ApplyGains(samples.data(), ones.data(), 1.0f, fCeiling, out.data(), 6);
        CHECK(out == expected);
    });
}
