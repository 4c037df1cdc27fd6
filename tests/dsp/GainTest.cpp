#include "dsp/Gain.h"

#include <doctest/doctest.h>

#include <cmath>
#include <numbers>

#include "PluginBase/ParameterRef.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using DSP::Gain;

namespace {

struct Fixture {
    Test::TestContext context;
    Gain gain{context};

    /// Index 0 is the bypass gain; 1 to 4 input left, input right, output left, output right.
    void Set(std::uint32_t uIndex, float fDb) { static_cast<Component&>(gain).SetFloat(uIndex, fDb); }
    float Get(std::uint32_t uIndex) { return static_cast<Component&>(gain).GetFloat(uIndex); }
    void Lock(bool bLocked) {
        static_cast<Component&>(gain).SetBool(0, bLocked);
        static_cast<Component&>(gain).SetBool(1, bLocked);
    }

    /// The factors that the stage applies to left and right over one block.
    struct Factors {
        std::vector<float> left;
        std::vector<float> right;
    };
    Factors Run(std::uint32_t uStage, std::uint32_t uFrames) {
        Factors ones{std::vector<float>(uFrames, 1.0f), std::vector<float>(uFrames, 1.0f)};
        gain.SetStage(uStage);
        CHECK(gain.ProcessBlock(uFrames, ones.left.data(), ones.right.data()) == uFrames);
        return ones;
    }
};

double Linear(double fDb) {
    return std::exp(fDb * 0.115129255);
}

}  // namespace

TEST_CASE("Gain declares its table") {
    Fixture f;
    const char* const names[] = {"Bypass Gain", "Gain: Input Left", "Gain: Input Right", "Gain: Output Left",
                                 "Gain: Output Right"};
    REQUIRE(f.gain.Count(ParameterGroup::Float) == 5);
    for (std::uint32_t i = 0; i < 5; ++i) {
        const FloatRecord& record = f.gain.FloatInfo(i);
        CHECK(record.strName == names[i]);
        CHECK(record.strUnits == "dB");
        CHECK(record.fMin == (i == 0 ? -20.0f : -144.0f));
        CHECK(record.fMax == 10.0f);
        CHECK(record.bAutomatable == (i != 0));
        CHECK(record.presetGroup == PresetGroup::Global);
    }
    REQUIRE(f.gain.Count(ParameterGroup::Bool) == 2);
    CHECK(f.gain.BoolInfo(1).strName == "Output Gain Slider Lock");
    CHECK(f.gain.BoolInfo(1).presetGroup == PresetGroup::Meters);
}

TEST_CASE("The first block jumps to its gain; after a change a long block ramps along a raised cosine") {
    Fixture f;
    f.Set(1, -6);
    auto block = f.Run(Gain::kInput, 64);
    CHECK(block.left == std::vector<float>(64, static_cast<float>(Linear(-6))));
    CHECK(f.Run(Gain::kOutput, 64).left == std::vector<float>(64, 1.0f));

    f.Set(1, 3);
    block = f.Run(Gain::kInput, 100);
    double fWorst = 0.0;
    for (std::size_t n = 0; n < 32; ++n) {
        const double fTable =
            (1.0 - std::cos((static_cast<double>(n) + 0.5) * std::numbers::pi / 32.0)) / 2.0;
        const double fExpected = Linear(-6) + (Linear(3) - Linear(-6)) * fTable;
        fWorst = std::max(fWorst, std::abs(fExpected - double{block.left[n]}));
    }
    CHECK(fWorst < 2e-7);
    for (std::size_t n = 32; n < 100; ++n)
        REQUIRE(block.left[n] == static_cast<float>(Linear(3)));
    CHECK(f.Run(Gain::kInput, 5).left == std::vector<float>(5, static_cast<float>(Linear(3))));
}

TEST_CASE("In a block of less than 32 frames the ramp is a line that stops one step short") {
    Fixture f;
    f.Run(Gain::kOutput, 10);
    f.Set(3, -20);
    const auto block = f.Run(Gain::kOutput, 31);
    const double fStep = (Linear(-20) - 1.0) / 31.0;
    for (std::size_t n = 0; n < 31; ++n) {
        REQUIRE(std::abs(double{block.left[n]} - (1.0 + static_cast<double>(n) * fStep)) < 2e-7);
    }
    CHECK(f.Run(Gain::kOutput, 1).left[0] == static_cast<float>(Linear(-20)));
}

TEST_CASE("After ClearState a changed gain jumps") {
    Fixture f;
    f.Run(Gain::kInput, 64);
    f.Set(1, 10);
    f.gain.ClearState();
    CHECK(f.Run(Gain::kInput, 64).left[0] == static_cast<float>(Linear(10)));
}

TEST_CASE("Bypass scales without a ramp and leaves the ramps of the other stages where they were") {
    Fixture f;
    f.Run(Gain::kInput, 64);
    f.Set(0, -20);
    f.Set(1, -6);
    CHECK(f.Run(Gain::kBypass, 64).right == std::vector<float>(64, static_cast<float>(Linear(-20))));
    const float fFirst = f.Run(Gain::kInput, 64).left[0];
    CHECK(fFirst > 0.99f);
    CHECK(f.Run(7, 8).left == std::vector<float>(8, 1.0f));
}

TEST_CASE("Left and right have gains of their own, and mono runs left alone") {
    Fixture f;
    f.Lock(false);
    f.Set(1, -6);
    f.Set(2, -12);
    const auto input = Test::Noise(1, 40);
    auto left = input, right = input, mono = input;
    f.gain.SetStage(Gain::kInput);
    f.gain.ProcessBlock(40, left.data(), right.data());
    CHECK(left[39] == input[39] * static_cast<float>(Linear(-6)));
    CHECK(right[39] == input[39] * static_cast<float>(Linear(-12)));
    f.gain.ProcessBlock(40, mono.data(), nullptr);
    CHECK(Test::FirstDifference(mono, left) == -1);
}

TEST_CASE("A locked pair keeps the difference that the last load found, and tells the host of the partner") {
    Fixture f;
    f.Set(1, -4);
    CHECK(f.Get(2) == -4);
    f.Set(2, -7);
    CHECK(f.Get(1) == -7);

    f.gain.BeginStateLoad();
    f.Set(1, -10);
    f.Set(2, -7);
    CHECK(f.Get(1) == -10);
    f.gain.EndStateLoad();
    f.context.events.clear();
    f.Set(1, -6);
    CHECK(f.Get(2) == -3);
    f.Set(2, -6);
    CHECK(f.Get(1) == -9);
    using Event = Test::TestContext::Event;
    CHECK(f.context.events == std::vector<Event>{{ParameterGroup::Float, ParameterPhase::Value, 2, -3.0f},
                                                 {ParameterGroup::Float, ParameterPhase::Value, 1, -9.0f}});
    // The partner is not clamped; toggling the lock does not capture a new difference.
    f.Set(1, 10);
    CHECK(f.Get(2) == 13);
    f.Lock(false);
    f.Set(1, 0);
    CHECK(f.Get(2) == 13);
    f.Lock(true);
    f.Set(1, 1);
    CHECK(f.Get(2) == 4);
    CHECK(f.Get(3) == 0);
}

TEST_CASE("A preset loads unequal channels as they were saved") {
    Fixture f;
    f.gain.BeginPresetChange();
    f.Set(3, -1);
    f.Set(4, -5);
    f.gain.EndPresetChange();
    CHECK(f.Get(3) == -1);
    f.Set(3, 0);
    CHECK(f.Get(4) == -4);
}

TEST_CASE("Gains are clamped, an equal value does nothing, and every other marks the plug-in dirty") {
    Fixture f;
    f.Lock(false);
    f.Set(1, -200);
    CHECK(f.Get(1) == -144);
    f.Set(1, 99);
    CHECK(f.Get(1) == 10);
    f.Set(0, -99);
    CHECK(f.Get(0) == -20);
    const int nDirty = f.context.nDirty;
    f.Set(1, 10);
    f.Set(0, -20);
    CHECK(f.context.nDirty == nDirty);
    f.Set(1, 9);
    CHECK(f.context.nDirty == nDirty + 1);
    CHECK(f.gain.IsActive());
    CHECK(f.gain.GetLatency() == 0);
}
