#include "dsp/meter/Level.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using DSP::Meter::Level;

namespace {

enum Choice : std::uint32_t { kType, kRmsTime, kHoldTime };
constexpr std::int32_t kRms = 0;
constexpr std::int32_t kInfinite = 5;

struct Fixture {
    Test::TestContext context;
    Level level{context};

    void Feed(const std::vector<float>& samples, std::uint32_t uLongest = 1u << 20) {
        const float* block = samples.data();
        for (const std::uint32_t uFrames :
             Test::RandomCuts(7, static_cast<std::uint32_t>(samples.size()), uLongest)) {
            level.Meter(0, uFrames, block);
            block += uFrames;
        }
    }
};

/// The definition, sample by sample: the sums are formed anew for each.
Level::Reading Model(const std::vector<float>& samples, bool bRms, std::size_t uWindow, std::size_t uHold) {
    double fValue = 0.0;
    double fHeld = 0.0;
    std::size_t uCount = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (bRms) {
            fValue = 0.0;
            for (std::size_t j = i + 1 >= uWindow ? i + 2 - uWindow : 0; j <= i; ++j)
                fValue += static_cast<float>(samples[j] * samples[j]);
        } else {
            fValue = std::max(fValue, double{std::abs(samples[i])});
        }
        if (fValue > fHeld) {
            fHeld = fValue;
            uCount = 0;
        } else if (++uCount > uHold) {
            fHeld = 0.0;
            uCount = 0;
        }
    }
    const auto root = [&](double f) { return static_cast<float>(std::sqrt(f / double(uWindow))); };
    if (bRms) return {root(fValue), root(fHeld)};
    return {static_cast<float>(fValue), static_cast<float>(fHeld)};
}

/// Noise in bursts, so that held values rise and fall.
std::vector<float> Bursts(std::uint64_t uSeed, std::size_t uLength) {
    std::vector<float> samples = Test::Noise(uSeed, uLength);
    Test::Random random(uSeed + 1);
    float fGain = 1.0f;
    for (std::size_t i = 0; i < uLength; ++i) {
        if (i % 311 == 0) fGain = random.Uniform(0.0f, 1.0f);
        samples[i] *= fGain;
    }
    return samples;
}

}  // namespace

TEST_CASE("Level: values and held values are those of the definition, however cut, and again after a reset") {
    for (const std::uint32_t uRate : {22050u, 44100u, 192000u}) {
        for (const std::int32_t nType : {0, 1}) {
            CAPTURE(uRate);
            CAPTURE(nType);
            const std::vector<float> samples = Bursts(uRate, 4000);
            const auto expected =
                Model(samples, nType == kRms, static_cast<std::size_t>(std::lround(uRate * 0.010)),
                      static_cast<std::size_t>(std::lround(uRate * 0.005)));
            Fixture f;
            f.level.SetInt(kType, nType);
            f.level.SetInt(kRmsTime, 0);
            f.level.SetInt(kHoldTime, 0);
            f.level.SetSampleRate(uRate);
            for (const std::uint32_t uLongest : {1u << 20, 300u}) {
                f.Feed(samples, uLongest);
                const auto reading = f.level.Read(0);
                CHECK(reading.fValue == doctest::Approx(expected.fValue).epsilon(1e-6));
                CHECK(reading.fHeld == doctest::Approx(expected.fHeld).epsilon(1e-6));
                CHECK(reading.fHeld > 0.0f);
                // A new hold time drops what is held, a reset the rest.
                f.level.SetInt(kHoldTime, 1);
                f.level.SetInt(kHoldTime, 0);
                f.level.ClearState();
            }
        }
    }
}

TEST_CASE("Level: a constant reads as itself, less the sample that the window leaves out") {
    Fixture f;
    f.level.SetInt(kType, kRms);
    f.Feed(std::vector<float>(44100, 0.5f));
    CHECK(f.level.Read(0).fValue == doctest::Approx(0.5 * std::sqrt(13229.0 / 13230.0)).epsilon(1e-7));
    // Nothing of a loud minute stays behind.
    for (int i = 0; i < 60; ++i)
        f.Feed(Test::Noise(static_cast<std::uint64_t>(i), 44100));
    f.Feed(std::vector<float>(44100));
    CHECK(f.level.Read(0).fValue == 0.0f);
}

TEST_CASE("Level: the clip light comes on above full scale, by the magnitude or by the square") {
    struct Case {
        float fSample;
        bool bPpm, bRms;
    };
    // 1.0000008 squared is 1.0000016: only the square reaches the limit.
    for (const Case c : {Case{1.0f, false, false}, Case{-1.0f, false, false}, Case{1.00001f, true, true},
                         Case{-1.00001f, true, true}, Case{1.0000008f, false, true}}) {
        for (const std::int32_t nType : {0, 1}) {
            Fixture f;
            f.level.SetInt(kType, nType);
            std::vector<float> samples(300, 0.1f);
            samples[201] = c.fSample;
            f.level.Meter(2, 300, samples.data());
            CAPTURE(c.fSample);
            CHECK_FALSE(f.level.Clipped(0));
            f.level.ClearState();
            CHECK(f.level.Clipped(2) == (nType == kRms ? c.bRms : c.bPpm));
            f.level.ClearClips();
            CHECK_FALSE(f.level.Clipped(2));
        }
    }
}

TEST_CASE("Level: a read lets the peak begin anew at the next block, a held value falls after its time") {
    Fixture f;
    const auto reads = [&](float fValue, float fHeld) {
        const auto reading = f.level.Read(0);
        CHECK(reading.fValue == fValue);
        CHECK(reading.fHeld == fHeld);
    };
    CHECK(f.level.TakeNewData());
    CHECK_FALSE(f.level.TakeNewData());
    f.Feed({0.5f, -0.75f});
    CHECK(f.level.TakeNewData());
    reads(0.75f, 0.75f);
    reads(0.75f, 0.75f);
    f.Feed(std::vector<float>(22049, 0.25f));
    reads(0.25f, 0.75f);
    CHECK(f.level.Read(1).fValue == 0.0f);
    f.Feed({0.25f});
    reads(0.25f, 0.75f);
    f.Feed({0.25f});
    reads(0.25f, 0.0f);
    f.Feed({0.25f});
    reads(0.25f, 0.25f);

    f.level.SetInt(kHoldTime, kInfinite);
    reads(0.0f, 0.0f);
    f.Feed({0.5f});
    reads(0.5f, 0.5f);
    f.Feed(std::vector<float>(400000));
    reads(0.0f, 0.5f);
    f.level.ClearState();
    reads(0.0f, 0.5f);
    // Another window begins with nothing held.
    f.level.SetSampleRate(48000);
    reads(0.0f, 0.0f);
}

TEST_CASE("Level: after NaN, infinity and huge samples the reading is right as soon as they are out") {
    for (const float fBad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::max()}) {
        for (const std::int32_t nType : {0, 1}) {
            CAPTURE(fBad);
            CAPTURE(nType);
            Fixture f;
            f.level.SetInt(kType, nType);
            f.Feed(std::vector<float>(300, fBad));
            CHECK(std::isfinite(f.level.Read(0).fHeld));
            f.Feed(std::vector<float>(40000, 0.25f));
            f.level.Read(0);
            f.Feed(std::vector<float>(4000, 0.25f));
            CHECK(f.level.Read(0).fValue == doctest::Approx(0.25).epsilon(1e-4));
            CHECK(f.level.Read(0).fHeld == doctest::Approx(0.25).epsilon(1e-4));
        }
    }
}
