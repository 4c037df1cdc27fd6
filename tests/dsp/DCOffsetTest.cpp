#include "dsp/DCOffset.h"

#include <doctest/doctest.h>

#include <limits>

#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

using Test::RunWhole;
using Test::Stereo;

namespace {

struct Fixture {
    Test::TestContext context;
    DSP::DCOffset filter{context};
    Component& component = filter;

    explicit Fixture(bool bEnable = true, bool bMeter = true) { Switch(bEnable, bMeter); }
    /// As the engine does after every change.
    void Switch(bool bEnable, bool bMeter) {
        component.SetBool(0, bEnable);
        component.SetBool(1, bMeter);
        component.SetActive(filter.IsActive());
    }
};

/// One channel as the recurrence is written, with the scaling in double.
struct Model {
    std::vector<float> Run(std::vector<float> samples) {
        for (float& fSample : samples) {
            const auto x = static_cast<float>(double{fSample} * 32768.0);
            fAccumulator -= fPrevious;
            fPrevious = x;
            fAccumulator += x;
            fAccumulator -= fOutput * 3.2768f;
            fOutput = static_cast<float>(double{fAccumulator} * 3.0517578125e-5);
            fCurrent = fSample - fOutput;
            fMinimum = std::min(fMinimum, fCurrent);
            fMaximum = std::max(fMaximum, fCurrent);
            fSample = fOutput;
        }
        return samples;
    }
    float fAccumulator = 0, fPrevious = 0, fOutput = 0, fCurrent = 0, fMinimum = 0, fMaximum = 0;
};

struct Models {
    Model left, right;
    Stereo Run(const Stereo& audio) { return {left.Run(audio.left), right.Run(audio.right)}; }
};

/// Noise on an offset.
Stereo Shifted(std::uint64_t uSeed, std::size_t uFrames, float fLeft, float fRight) {
    Stereo audio = Test::StereoNoise(uSeed, uFrames, 0.3f);
    for (std::size_t i = 0; i < uFrames; ++i) {
        audio.left[i] += fLeft;
        audio.right[i] += fRight;
    }
    return audio;
}

}  // namespace

TEST_CASE("The DC filter is its recurrence to the bit and meters what it takes away, channel by channel") {
    const Stereo input = Shifted(1, 30000, 0.25f, -0.7f);
    Models models;
    const Stereo expected = models.Run(input);
    Fixture f;
    f.component.SetSampleRate(96000);
    CHECK(Same(RunWhole(f.component, 0, input), expected));
    CHECK(f.filter.CurrentOffset(1) == models.right.fCurrent);
    CHECK(f.filter.OffsetMinimum(0) == models.left.fMinimum);
    CHECK(f.filter.OffsetMaximum(0) == models.left.fMaximum);
    CHECK(f.filter.OffsetMinimum(1) == models.right.fMinimum);
    CHECK(f.filter.OffsetMaximum(1) == models.right.fMaximum);

    f.filter.ClearState();
    CHECK(f.filter.OffsetMinimum(1) == 0);
    CHECK(Test::FirstDifference(RunWhole(f.component, 0, {input.left, {}}).left, expected.left) == -1);
    // In mono the right channel has stood still: it starts from scratch.
    CHECK(f.filter.CurrentOffset(1) == 0);
    CHECK(Test::FirstDifference(RunWhole(f.component, 0, input).right, expected.right) == -1);
}

TEST_CASE("A constant dies away with the pole 0.9999, and the meter finds it") {
    Fixture f;
    const std::vector<float> constant(50000, 0.5f);
    const Stereo output = RunWhole(f.component, 0, {constant, constant});
    for (const std::size_t n : {0u, 100u, 49999u})
        CHECK(output.left[n] == doctest::Approx(0.5 * std::pow(0.9999, double(n))).epsilon(1e-3));
    CHECK(f.filter.CurrentOffset(0) == doctest::Approx(0.5 * (1.0 - std::pow(0.9999, 49999))).epsilon(1e-3));
    CHECK(f.filter.OffsetMinimum(0) == 0);
}

TEST_CASE("The DC filter runs on through each of its switches, and its meter measures while it is on") {
    Fixture f(false, true);
    Models models;
    std::uint64_t uSeed = 2;
    const auto filters = [&](bool bReplaces) {
        const Stereo input = Shifted(uSeed++, 5000, 0.4f, -0.4f), expected = models.Run(input);
        CHECK(Same(RunWhole(f.component, 0, input), bReplaces ? expected : input));
    };
    filters(false);
    CHECK(f.filter.OffsetMaximum(0) == models.left.fMaximum);
    f.Switch(true, false);
    f.filter.ClearMeter();
    filters(true);
    CHECK(f.filter.OffsetMinimum(1) == 0);
    // Run by automation while not active, it does not measure either.
    f.Switch(false, true);
    f.component.SetActive(false);
    filters(false);
    CHECK(f.filter.OffsetMinimum(1) == 0);
    f.Switch(true, true);
    filters(true);
    CHECK(f.filter.OffsetMinimum(1) < -0.1f);

    f.component.SetMetersEnabled(false);
    CHECK(f.filter.IsActive());
    f.Switch(false, true);
    CHECK_FALSE(f.filter.IsActive());
}

TEST_CASE("A second after damage the DC filter gives the clean signal again, and its meter has not seen it") {
    const Stereo clean = Test::StereoNoise(5, 60000, 0.5f);
    Fixture undamaged;
    const Stereo expected = RunWhole(undamaged.component, 0, clean);
    for (const float fDamage :
         {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity(), 1e30f, 5000.0f}) {
        CAPTURE(fDamage);
        Fixture f;
        Stereo damaged = clean;
        std::fill_n(damaged.left.begin() + 1000, 10, fDamage);
        const Stereo output = RunWhole(f.component, 0, damaged);
        CHECK(Test::FirstDifference(output.right, expected.right) == -1);
        // What started anew forgets the step with the pole.
        CHECK(f.filter.OffsetMaximum(0) < 2.0f);
        CHECK(f.filter.OffsetMinimum(0) > -2.0f);
        CHECK(Test::WorstDifference({output.left.begin() + 45110, output.left.end()},
                                    {expected.left.begin() + 45110, expected.left.end()}) < 0.01f);
    }
}
