#include "dsp/DCOffset.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "tests/support/CountingAllocator.h"
#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

using DSP::DCOffset;
using Test::RunBlocks;
using Test::RunWhole;
using Test::Stereo;

namespace {

enum : std::uint32_t { kEnable, kMeterEnable };

struct Fixture {
    Test::TestContext context;
    DCOffset filter{context};
    Component& component = filter;

    /// As the engine does after every change.
    void Refresh() { component.SetActive(filter.IsActive()); }
    void Switch(bool bEnable, bool bMeter) {
        component.SetBool(kEnable, bEnable);
        component.SetBool(kMeterEnable, bMeter);
        Refresh();
    }
};

/// One channel as the recurrence is written, with the scaling in double.
struct Model {
    float Step(float fInput) {
        fAccumulator -= fPrevious;
        const auto x = static_cast<float>(double{fInput} * 32768.0);
        fPrevious = x;
        fAccumulator += x;
        fAccumulator -= fOutput * 3.2768f;
        fOutput = static_cast<float>(double{fAccumulator} * 3.0517578125e-5);
        fCurrent = fInput - fOutput;
        fMinimum = std::min(fMinimum, fCurrent);
        fMaximum = std::max(fMaximum, fCurrent);
        return fOutput;
    }
    std::vector<float> Run(std::vector<float> samples) {
        for (float& fSample : samples)
            fSample = Step(fSample);
        return samples;
    }
    float fAccumulator = 0, fPrevious = 0, fOutput = 0, fCurrent = 0, fMinimum = 0, fMaximum = 0;
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

TEST_CASE("DCOffset declares its table and knows when it is active") {
    Fixture f;
    REQUIRE(f.component.Count(ParameterGroup::Bool) == 2);
    CHECK(f.component.Count(ParameterGroup::Float) + f.component.Count(ParameterGroup::Int) == 0);
    CHECK(f.component.BoolInfo(0).strName == "DCO: Enable");
    CHECK(f.component.BoolInfo(0).bAutomatable);
    CHECK(f.component.BoolInfo(0).presetGroup == PresetGroup::Dither);
    CHECK(f.component.BoolInfo(1).strName == "DCO: Meter Enable");
    CHECK_FALSE(f.component.BoolInfo(1).bAutomatable);
    CHECK(f.component.Name() == "DCOffset::DCOffset");
    CHECK_FALSE(f.component.GetBool(kEnable));
    CHECK(f.component.GetBool(kMeterEnable));

    CHECK(f.filter.IsActive());
    f.component.SetMetersEnabled(false);
    CHECK_FALSE(f.filter.IsActive());
    f.component.SetBool(kEnable, true);
    f.component.SetBool(kEnable, true);
    CHECK(f.filter.IsActive());
    f.component.SetBool(kMeterEnable, false);
    CHECK(f.filter.IsActive());
    CHECK(f.context.nDirty == 2);
    CHECK(f.context.nActivityRequests == 2);
}

TEST_CASE("The filter is its recurrence to the bit, whatever the rate and the cuts, in stereo and mono") {
    const Stereo input = Shifted(1, 30000, 0.25f, -0.7f);
    Model left, right;
    const Stereo expected{left.Run(input.left), right.Run(input.right)};
    for (const std::uint32_t uRate : {8000u, 44100u, 96000u, 384000u}) {
        Fixture f;
        f.Switch(true, true);
        f.component.SetSampleRate(uRate);
        CHECK(Same(RunBlocks(f.component, 0, input, Test::RandomCuts(uRate, 30000, 1000)), expected));
        CHECK(f.filter.CurrentOffset(1) == right.fCurrent);
        CHECK(f.filter.OffsetMinimum(0) == left.fMinimum);
        CHECK(f.filter.OffsetMaximum(0) == left.fMaximum);
        CHECK(f.filter.OffsetMinimum(1) == right.fMinimum);
        CHECK(f.filter.OffsetMaximum(1) == right.fMaximum);

        f.filter.ClearState();
        CHECK(f.filter.OffsetMinimum(1) == 0);
        CHECK(f.filter.OffsetMaximum(0) == 0);
        const Stereo mono = RunBlocks(f.component, 0, {input.left, {}}, {29000, 0, 1000});
        CHECK(Test::FirstDifference(mono.left, expected.left) == -1);
        CHECK(f.filter.CurrentOffset(1) == 0);
        // The right channel has stood still: it starts from scratch.
        const Stereo both = RunWhole(f.component, 0, input);
        CHECK(Test::FirstDifference(both.right, expected.right) == -1);
    }
}

TEST_CASE("A constant dies away with the pole 0.9999, and the meter finds it") {
    Fixture f;
    f.Switch(true, true);
    const std::vector<float> constant(50000, 0.5f);
    const Stereo output = RunWhole(f.component, 0, {constant, constant});
    for (const std::size_t n : {0u, 1u, 100u, 10000u, 49999u}) {
        CHECK(output.left[n] ==
              doctest::Approx(0.5 * std::pow(0.9999, static_cast<double>(n))).epsilon(1e-3));
    }
    CHECK(f.filter.CurrentOffset(0) == doctest::Approx(0.5 * (1.0 - std::pow(0.9999, 49999))).epsilon(1e-3));
    CHECK(f.filter.OffsetMinimum(0) == 0);
}

TEST_CASE("Switched off, the filter leaves the samples alone, measures, and comes on without a jump") {
    Fixture f;
    f.Switch(false, true);
    const Stereo input = Shifted(2, 20000, 0.1f, 0.2f);
    Model left, right;
    left.Run(input.left);
    right.Run(input.right);
    CHECK(Same(RunWhole(f.component, 0, input), input));
    CHECK(f.filter.OffsetMaximum(0) == left.fMaximum);
    CHECK(f.filter.OffsetMaximum(1) == right.fMaximum);
    CHECK(f.filter.CurrentOffset(0) == left.fCurrent);

    f.Switch(true, true);
    const Stereo more = Shifted(3, 1000, 0.1f, 0.2f);
    CHECK(Same(RunWhole(f.component, 0, more), {left.Run(more.left), right.Run(more.right)}));
}

TEST_CASE("With its meter off the extremes stay; clearing the meter leaves the filter alone") {
    Fixture f;
    f.Switch(true, false);
    const Stereo input = Shifted(4, 5000, 0.4f, -0.4f);
    Model left, right;
    CHECK(Same(RunWhole(f.component, 0, input), {left.Run(input.left), right.Run(input.right)}));
    CHECK(f.filter.OffsetMaximum(0) == 0);
    CHECK(f.filter.CurrentOffset(1) == 0);

    // Run by automation while not active, it does not measure either.
    f.Switch(false, true);
    f.component.SetActive(false);
    RunWhole(f.component, 0, input);
    left.Run(input.left);
    right.Run(input.right);
    CHECK(f.filter.OffsetMaximum(0) == 0);

    f.Switch(true, true);
    RunWhole(f.component, 0, input);
    left.Run(input.left);
    right.Run(input.right);
    CHECK(f.filter.OffsetMinimum(1) < -0.1f);
    f.filter.ClearMeter();
    CHECK(f.filter.OffsetMinimum(1) == 0);
    CHECK(Same(RunWhole(f.component, 0, input), {left.Run(input.left), right.Run(input.right)}));
}

TEST_CASE("A second after damage the DC filter gives the clean signal again, and its meter has not seen it") {
    constexpr float kDamages[] = {std::numeric_limits<float>::quiet_NaN(),
                                  -std::numeric_limits<float>::infinity(), 1e30f, 5000.0f, 4000.0f};
    for (const float fDamage : kDamages) {
        CAPTURE(fDamage);
        Fixture f;
        f.Switch(true, true);
        const Stereo clean = Test::StereoNoise(5, 60000, 0.5f);
        Stereo damaged = clean;
        for (std::size_t i = 1000; i < 1010; ++i)
            damaged.left[i] = fDamage;
        const Stereo expected = RunWhole(f.component, 0, clean);
        f.filter.ClearState();
        const Stereo output = RunBlocks(f.component, 0, damaged, Test::RandomCuts(9, 60000, 512));
        CHECK(Test::FirstDifference(output.right, expected.right) == -1);
        if (!(std::abs(fDamage) < 4096.0f)) {
            // What started anew forgets the step with the pole.
            CHECK(f.filter.OffsetMaximum(0) < 2.0f);
            CHECK(f.filter.OffsetMinimum(0) > -2.0f);
            float fWorst = 0;
            for (std::size_t i = 1010 + 44100; i < 60000; ++i)
                fWorst = std::max(fWorst, std::abs(output.left[i] - expected.left[i]));
            CHECK(fWorst < 0.01f);
        }
        CHECK(std::isfinite(output.left[59999]));
    }
}

TEST_CASE("The DC filter allocates nothing and stays finite in any order of its switches") {
    Fixture f;
    Test::Random random(6);
    const Stereo noise = Shifted(7, 1024, 0.9f, -0.9f);
    Stereo audio = noise;
    bool bFinite = true;
    Test::AllocationCounter counter;
    for (int nRound = 0; nRound < 1000; ++nRound) {
        f.component.SetBool(random.Between(0, 1), random.Next() % 2 == 0);
        f.component.SetMetersEnabled(random.Next() % 2 == 0);
        f.Refresh();
        audio.left = noise.left;
        audio.right = noise.right;
        f.component.ProcessAutomated({}, random.Between(0, 1024), audio.left.data(),
                                     nRound % 3 == 0 ? nullptr : audio.right.data());
        bFinite = bFinite && Finite(audio);
    }
    CHECK(counter.Count() == 0);
    CHECK(bFinite);
}
