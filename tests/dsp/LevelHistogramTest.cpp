#include "dsp/LevelHistogram.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "tests/support/Signals.h"

namespace {

using DSP::LevelHistogram;

float Threshold(std::uint32_t k) {
    return static_cast<float>(std::pow(10.0, -double(k) / 20.0));
}

/// The highest bin whose threshold the level does not exceed, by looking at all of them.
std::uint32_t SlowBin(float x) {
    std::uint32_t uBin = 0;
    for (std::uint32_t k = 0; k < 128; ++k) {
        if (x <= Threshold(k)) uBin = k;
    }
    return uBin;
}

/// A level of random magnitude from -140 to +10 dB, sometimes exactly on a threshold or next to it.
float RandomLevel(Test::Random& random) {
    const float fBase = random.Next() % 3 == 0 ? Threshold(random.Between(0, 127))
                                               : std::pow(10.0f, random.Uniform(-7.0f, 0.5f));
    const float fSide[] = {0.0f, fBase, 2.0f * fBase};
    return std::nextafter(fBase, fSide[random.Next() % 3]);
}

}  // namespace

TEST_CASE("LevelHistogram: a bin is the highest whose threshold the level does not exceed, at all levels") {
    const LevelHistogram histogram;
    Test::Random random(1);
    float fWrong = -1.0f;
    for (int i = 0; i < 200000; ++i) {
        const float x = RandomLevel(random);
        if (histogram.BinOf(x) != SlowBin(x)) fWrong = x;
    }
    CHECK(fWrong == -1.0f);
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (float x : {1.0f, 1.0001f, 1e30f, kInfinity})
        CHECK(histogram.BinOf(x) == 0);
    for (float x : {0.0f, -0.0f, -1.0f, 1e-40f, -kInfinity, std::numeric_limits<float>::quiet_NaN()})
        CHECK(histogram.BinOf(x) == 127);
}
