#include "dsp/Dither.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace {

enum { kAutoBlanking, kMinimizePeaks, kKillHarmonics };
enum { kBitDepth, kType, kShape, kType3Shape, kType3Amount, kNumBits };
enum { kNone, kDshp, kType1, kType2 };

struct Fixture {
    Test::TestContext context;
    DSP::Dither dither{context};
    Component& component = dither;

    Fixture() {
        component.SetSampleRate(44100);
        component.SetActive(true);
    }

    struct Audio {
        std::vector<float> left, right;
        friend bool operator==(const Audio&, const Audio&) = default;
    };
    Audio Run(Audio audio) {
        component.ProcessAutomated(StageContext{}, static_cast<std::uint32_t>(audio.left.size()),
                                   audio.left.data(), audio.right.empty() ? nullptr : audio.right.data());
        return audio;
    }
    static Audio Input(std::size_t uFrames = 2000) {
        return {Test::Noise(1, uFrames), Test::Noise(2, uFrames)};
    }
};

/// The same audio through a shaper of one's own.
Fixture::Audio Shaped(const DSP::DepthShaperSettings& settings, const DSP::NoiseShapingFilter::Table& table,
                      bool bUseAmount) {
    DSP::DepthShaper shaper;
    shaper.Configure(2, 2, 0);
    DSP::NoiseShapingFilter filter(table, bUseAmount);
    filter.Rebuild(settings.fNoiseAmount);
    shaper.Set(settings, filter);
    Fixture::Audio audio = Fixture::Input();
    float* const channels[] = {audio.left.data(), audio.right.data()};
    shaper.Process(channels, static_cast<int>(audio.left.size()), nullptr);
    return audio;
}

}  // namespace

TEST_CASE("Dither declares its tables") {
    Fixture f;
    CHECK(f.component.Name() == "Dither::Dither");
    CHECK(f.component.Count(ParameterGroup::Float) == 0);
    CHECK(f.component.Count(ParameterGroup::UInt) == 0);
    const char* const switches[] = {"DTR: Auto Blanking", "DTR: Minimize Peaks", "DTR: Kill Harmonics"};
    REQUIRE(f.component.Count(ParameterGroup::Bool) == 3);
    for (std::uint32_t i = 0; i < 3; ++i) {
        const BoolRecord& record = f.component.BoolInfo(i);
        CHECK(record.strName == switches[i]);
        CHECK(!record.bDefault);
        CHECK(!f.component.GetBool(i));
        CHECK(record.bAutomatable);
        CHECK(record.presetGroup == PresetGroup::Dither);
        CHECK(record.storageClass == StorageClass::StateBlock);
    }
    struct Row {
        const char* name;
        std::vector<std::string> labels;
        std::int32_t nDefault;
    };
    const Row rows[] = {
        {"DTR: Dithering Bit Depth", {"8", "12", "16", "20", "24"}, 2},
        {"DTR: Dithering Type", {"None", "DSHP+", "Type 1", "Type 2"}, 0},
        {"DTR: Dithering Shape", {"None", "Simple", "Clear", "Psych5", "Psych9"}, 2},
        {"DTR: Dithering Type 3 Shape", {"None", "Light", "Medium", "High", "Ultra"}, 3},
        {"DTR: Dithering Type 3 Amount", {"None", "Low", "Normal", "High"}, 2},
        {"DTR: Dithering Num Bits", {"1", "2"}, 0},
    };
    REQUIRE(f.component.Count(ParameterGroup::Int) == 6);
    for (std::uint32_t i = 0; i < 6; ++i) {
        const IntRecord& record = f.component.IntInfo(i);
        CHECK(record.strName == rows[i].name);
        CHECK(record.labels == rows[i].labels);
        CHECK(record.IsEnumeration());
        CHECK(record.nMin == 0);
        CHECK(record.nDefault == rows[i].nDefault);
        CHECK(f.component.GetInt(i) == rows[i].nDefault);
        CHECK(record.bAutomatable == (i == kType));
        CHECK(record.presetGroup == PresetGroup::Dither);
        CHECK(record.storageClass == StorageClass::StateBlock);
    }
}

TEST_CASE(
    "Choices are clamped, an equal value does nothing, a new one marks dirty, and the type tells the engine") {
    Fixture f;
    for (std::uint32_t i = 0; i < 6; ++i) {
        f.component.SetInt(i, 100);
        CHECK(f.component.GetInt(i) == f.component.IntInfo(i).nMax);
        f.component.SetInt(i, -5);
        CHECK(f.component.GetInt(i) == 0);
        const int nDirty = f.context.nDirty;
        f.component.SetInt(i, -1);
        CHECK(f.context.nDirty == nDirty);
    }
    const int nDirty = f.context.nDirty, nRequests = f.context.nActivityRequests;
    f.component.SetInt(kShape, 3);
    f.component.SetBool(kMinimizePeaks, true);
    f.component.SetBool(kMinimizePeaks, true);
    CHECK(f.context.nDirty == nDirty + 2);
    CHECK(f.context.nActivityRequests == nRequests);
    CHECK(!f.component.IsActive());
    f.component.SetInt(kType, kType1);
    CHECK(f.context.nActivityRequests == nRequests + 1);
    CHECK(f.component.IsActive());
    CHECK(f.component.GetLatency() == 0);
    const std::int32_t depths[] = {8, 12, 16, 20, 24};
    for (std::int32_t n = 0; n < 5; ++n) {
        f.component.SetInt(kBitDepth, n);
        CHECK(f.dither.WordLength() == depths[n]);
    }
}

TEST_CASE("Type None passes the signal bit by bit") {
    Fixture f;
    CHECK(f.Run(Fixture::Input()) == Fixture::Input());
}

TEST_CASE("Each type runs the shaper with its filter, noise and limits") {
    using Filter = DSP::NoiseShapingFilter;
    Fixture f;
    f.component.SetBool(kMinimizePeaks, true);
    f.component.SetBool(kKillHarmonics, true);
    for (std::int32_t nShape = 0; nShape < 5; ++nShape) {
        const auto uShape = static_cast<std::uint32_t>(nShape);
        f.component.SetInt(kShape, nShape);
        f.component.SetInt(kType3Shape, nShape);
        for (std::int32_t nBits = 0; nBits < 2; ++nBits) {
            CAPTURE(nShape);
            CAPTURE(nBits);
            const float fTwice = nBits == 1 ? 2.0f : 1.0f;
            f.component.SetInt(kNumBits, nBits);
            f.component.SetInt(kType, kType1);
            CHECK(f.Run(f.Input()) ==
                  Shaped({16, 0.5f * fTwice, false, false, false, true}, Filter::ForShape(uShape), false));
            f.component.SetInt(kType, kType2);
            CHECK(f.Run(f.Input()) ==
                  Shaped({16, 1.0f * fTwice, true, false, false, true}, Filter::ForShape(uShape), true));
            f.component.SetInt(kType, kDshp);
            const float amounts[] = {0.0f, 0.5f, 0.8f, 1.0f};
            for (std::int32_t nAmount = 0; nAmount < 4; ++nAmount) {
                f.component.SetInt(kType3Amount, nAmount);
                CHECK(f.Run(f.Input()) == Shaped({16, amounts[nAmount], true, true, false, true},
                                                 Filter::ForRate(2, uShape), true));
            }
        }
    }
    // Another rate, another filter.
    f.component.SetSampleRate(96000);
    f.component.SetInt(kType3Shape, 4);
    CHECK(f.Run(f.Input()) == Shaped({16, 1.0f, true, true, false, true}, Filter::ForRate(1, 4), true));
    f.component.SetInt(kBitDepth, 0);
    CHECK(f.Run(f.Input()) == Shaped({8, 1.0f, true, true, false, true}, Filter::ForRate(1, 4), true));
}

TEST_CASE("A change of parameters, of the rate and of the state begin anew; mono is left alone") {
    Fixture f;
    f.component.SetInt(kType, kDshp);
    const Fixture::Audio first = f.Run(f.Input());
    CHECK(f.Run(f.Input()) != first);
    f.component.ClearState();
    CHECK(f.Run(f.Input()) == first);
    f.component.SetSampleRate(44100);
    CHECK(f.Run(f.Input()) == first);
    f.component.SetInt(kNumBits, 1);
    CHECK(f.Run(f.Input()) == first);
    CHECK(f.Run({f.Input().left, {}}).left == first.left);
    CHECK(f.Run(f.Input()) == first);
}

TEST_CASE("Auto Blanking reaches the shaper: a silent start stays silent with a filter only") {
    Fixture f;
    f.component.SetInt(kType, kType2);
    const Fixture::Audio silence{std::vector<float>(1000, 0.0f), std::vector<float>(1000, 0.0f)};
    CHECK(f.Run(silence) != silence);
    f.component.SetBool(kAutoBlanking, true);
    CHECK(f.Run(silence) == silence);
    f.component.SetInt(kShape, 0);
    CHECK(f.Run(silence) != silence);
}

TEST_CASE("A storm of parameters leaves finite audio on the grid and allocates nothing") {
    Fixture f;
    Test::Random random(7);
    std::vector<float> left(512), right(512);
    std::size_t uAllocations = 0;
    bool bGood = true;
    for (int nBlock = 0; nBlock < 2000; ++nBlock) {
        const auto uFrames = random.Between(0, 512);
        for (std::uint32_t i = 0; i < uFrames; ++i)
            left[i] = right[i] = random.Uniform(-2.0f, 2.0f);
        if (random.Next() % 8 == 0) left[0] = std::numeric_limits<float>::quiet_NaN();
        const bool bMono = random.Next() % 16 == 0;
        {
            Test::AllocationCounter counter;
            const std::uint32_t iChoice = random.Between(0, 5);
            f.component.SetInt(iChoice, static_cast<std::int32_t>(random.Between(0, 5)));
            f.component.SetBool(random.Between(0, 2), random.Next() % 2 == 0);
            if (random.Next() % 16 == 0) f.component.SetSampleRate(random.Between(8000, 384000));
            if (random.Next() % 16 == 0) f.component.ClearAudio();
            f.component.ProcessAutomated(StageContext{}, uFrames, left.data(),
                                         bMono ? nullptr : right.data());
            uAllocations += counter.Count();
        }
        if (!f.component.IsActive()) continue;
        const bool bBlanks = f.component.GetBool(kAutoBlanking);
        for (std::uint32_t i = 0; i < uFrames; ++i) {
            const double fSteps = std::ldexp(double{left[i]}, f.dither.WordLength() - 1);
            bGood = bGood && std::abs(left[i]) < 1000.0f && (bBlanks || fSteps == std::floor(fSteps));
            bGood = bGood && std::abs(right[i]) < 1000.0f;
        }
    }
    CHECK(bGood);
    CHECK(uAllocations == 0);
}
