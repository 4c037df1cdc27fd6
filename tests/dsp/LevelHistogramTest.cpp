#include "dsp/LevelHistogram.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <numeric>
#include <vector>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

namespace {

using DSP::LevelHistogram;

float Threshold(int k) {
    return static_cast<float>(std::pow(10.0, -k / 20.0));
}

/// The highest bin whose threshold the level does not exceed, by looking at all of them.
std::uint32_t SlowBin(float x) {
    std::uint32_t uBin = 0;
    for (int k = 0; k < 128; ++k) {
        if (x <= Threshold(k)) uBin = static_cast<std::uint32_t>(k);
    }
    return uBin;
}

/// The binary search that the bins are defined by, step by step.
std::uint32_t SearchedBin(float x) {
    int i = x <= Threshold(64) ? 96 : 32;
    for (int nStep : {16, 8, 4, 2, 1}) {
        i += x <= Threshold(i) ? nStep : -nStep;
    }
    if (x > Threshold(i)) --i;
    return static_cast<std::uint32_t>(i);
}

/// A level of random magnitude from -140 to +10 dB, sometimes exactly on a threshold or next to it.
float RandomLevel(Test::Random& random) {
    const float fBase = random.Next() % 3 == 0 ? Threshold(static_cast<int>(random.Between(0, 127)))
                                               : std::pow(10.0f, random.Uniform(-7.0f, 0.5f));
    switch (random.Next() % 3) {
        case 0:
            return std::nextafter(fBase, 0.0f);
        case 1:
            return std::nextafter(fBase, 2.0f * fBase);
        default:
            return fBase;
    }
}

}  // namespace

TEST_CASE("LevelHistogram: bins are those of the search over the thresholds, on them and between them") {
    const LevelHistogram histogram;
    Test::Random random(1);
    float fWrong = -1.0f;
    for (int i = 0; i < 200000; ++i) {
        const float x = RandomLevel(random);
        if (SearchedBin(x) != SlowBin(x) || histogram.BinOf(x) != SlowBin(x)) fWrong = x;
    }
    CHECK(fWrong == -1.0f);
}

TEST_CASE("LevelHistogram: levels beyond the scale fall into its first and its last bin") {
    const LevelHistogram histogram;
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (float x : {1.0f, 1.0001f, 1e30f, kInfinity})
        CHECK(histogram.BinOf(x) == 0);
    for (float x : {0.0f, -0.0f, -1.0f, 1e-40f, -kInfinity, std::numeric_limits<float>::quiet_NaN()})
        CHECK(histogram.BinOf(x) == 127);
    CHECK(histogram.BinOf(0.89f) == 1);   // 20 log10 0.89 = -1.012
    CHECK(histogram.BinOf(0.895f) == 0);  // -0.963
}

TEST_CASE("LevelHistogram: the counts are those of a recount of the last 44100 levels") {
    Test::Random random(2);
    std::vector<float> levels(130000);
    float fHeld = 0.5f;
    for (float& fLevel : levels) {
        // Stretches of one level, then stretches of noise: counting in groups meets both.
        if (random.Next() % 20 == 0) fHeld = RandomLevel(random);
        fLevel = random.Next() % 400 < 200 ? fHeld : RandomLevel(random);
    }
    for (std::uint32_t uLongest : {1u, 7u, 500u, 60000u}) {
        LevelHistogram histogram;
        std::size_t uPosition = 0;
        std::size_t uNextLook = 10000;
        for (std::uint32_t uLength : Test::RandomCuts(3, 130000, uLongest)) {
            histogram.Add(levels.data() + uPosition, static_cast<int>(uLength));
            uPosition += uLength;
            if (uPosition < uNextLook && uPosition < levels.size()) continue;
            uNextLook = uPosition + 30000;
            LevelHistogram::CountTable expected{};
            for (std::size_t i = uPosition > 44100 ? uPosition - 44100 : 0; i < uPosition; ++i)
                ++expected[SlowBin(levels[i])];
            CAPTURE(uLongest);
            CAPTURE(uPosition);
            CHECK(histogram.Counts() == expected);
        }
        histogram.Reset();
        CHECK(histogram.Counts() == LevelHistogram::CountTable{});
        const Test::AllocationCounter counter;
        histogram.Add(levels.data(), 50000);
        CHECK(counter.Count() == 0);
        const auto counts = histogram.Counts();
        CHECK(std::accumulate(counts.begin(), counts.end(), 0u) == 44100);
    }
}
