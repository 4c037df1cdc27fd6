#include "dsp/Gain.h"

#include <doctest/doctest.h>

#include <cmath>
#include <numbers>

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
    /// The factors that the stage applies to left over one block.
    std::vector<float> Run(std::uint32_t uStage, std::uint32_t uFrames) {
        std::vector<float> left(uFrames, 1.0f), right(uFrames, 1.0f);
        gain.SetStage(uStage);
        CHECK(gain.ProcessBlock(uFrames, left.data(), right.data()) == uFrames);
        return left;
    }
};

double Linear(double fDb) {
    return std::exp(fDb * 0.115129255);
}

std::vector<float> Constant(std::size_t uFrames, double fDb) {
    return std::vector<float>(uFrames, static_cast<float>(Linear(fDb)));
}

}  // namespace

TEST_CASE("Gain: the first block jumps, after a change a long block ramps along a raised cosine") {
    Fixture f;
    f.Set(1, -6);
    CHECK(f.Run(Gain::kInput, 64) == Constant(64, -6));
    CHECK(f.Run(Gain::kOutput, 64) == Constant(64, 0));

    f.Set(1, 3);
    const auto block = f.Run(Gain::kInput, 100);
    double fWorst = 0.0;
    for (std::size_t n = 0; n < 32; ++n) {
        const double fTable = (1.0 - std::cos((double(n) + 0.5) * std::numbers::pi / 32.0)) / 2.0;
        const double fExpected = Linear(-6) + (Linear(3) - Linear(-6)) * fTable;
        const double fError = std::abs(fExpected - double{block[n]});
        if (!(fError <= fWorst)) fWorst = fError;
    }
    CHECK(fWorst < 2e-7);
    CHECK(std::vector<float>(block.begin() + 32, block.end()) == Constant(68, 3));
    CHECK(f.Run(Gain::kInput, 5) == Constant(5, 3));

    f.Set(1, 10);
    f.gain.ClearState();
    CHECK(f.Run(Gain::kInput, 64) == Constant(64, 10));
}

TEST_CASE("Gain: in a block of less than 32 frames the ramp is a line that stops one step short") {
    Fixture f;
    f.Run(Gain::kOutput, 10);
    f.Set(3, -20);
    const auto block = f.Run(Gain::kOutput, 31);
    double fWorst = 0.0;
    for (std::size_t n = 0; n < 31; ++n) {
        const double fError = std::abs(double{block[n]} - (1.0 + double(n) * (Linear(-20) - 1.0) / 31.0));
        if (!(fError <= fWorst)) fWorst = fError;
    }
    CHECK(fWorst < 2e-7);
    CHECK(f.Run(Gain::kOutput, 1) == Constant(1, -20));
}

TEST_CASE("Gain: bypass scales without a ramp and leaves the ramps of the other stages where they were") {
    Fixture f;
    f.Run(Gain::kInput, 64);
    f.Set(0, -20);
    f.Set(1, -6);
    CHECK(f.Run(Gain::kBypass, 64) == Constant(64, -20));
    CHECK(f.Run(Gain::kInput, 64)[0] > 0.99f);
    CHECK(f.Run(7, 8) == Constant(8, 0));
}

TEST_CASE("Gain: left and right have gains of their own, and mono runs left alone") {
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

    // A preset loads unequal channels as they were saved.
    f.gain.BeginPresetChange();
    f.Set(3, -1);
    f.Set(4, -5);
    f.gain.EndPresetChange();
    CHECK(f.Get(3) == -1);
    f.Set(3, 0);
    CHECK(f.Get(4) == -4);
}
