#include "dsp/Maximizer.h"

#include <doctest/doctest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/CountingAllocator.h"
#include "tests/support/LimiterModels.h"
#include "tests/support/TestContext.h"

using DSP::Maximizer;
using Test::Stereo;

namespace {

enum Float : std::uint32_t { kThreshold, kMargin, kRatio, kAttack, kRelease, kCharacter };
enum Bool : std::uint32_t { kBypass, kSoloMute, kHistogram, kGainMeter, kPeakHold, kInterSample };
enum Int : std::uint32_t { kMode, kPeakHoldTime };

struct Fixture {
    Fixture() { component.SetBool(kBypass, false); }
    explicit Fixture(std::int32_t nMode, float fThresholdDb = 0, float fMarginDb = 0,
                     bool bInterSample = false)
        : Fixture() {
        component.SetInt(kMode, nMode);
        component.SetFloat(kThreshold, fThresholdDb);
        component.SetFloat(kMargin, fMarginDb);
        component.SetBool(kInterSample, bInterSample);
    }

    void Run(Stereo& x, std::size_t uFrom, std::size_t uFrames) {
        maximizer.ProcessBlock(static_cast<std::uint32_t>(uFrames), x.left.data() + uFrom,
                               x.right.empty() ? nullptr : x.right.data() + uFrom);
    }
    Stereo Render(Stereo x, const std::vector<std::uint32_t>& blocks) {
        std::size_t uDone = 0;
        for (const std::uint32_t uFrames : blocks) {
            Run(x, uDone, uFrames);
            uDone += uFrames;
        }
        REQUIRE(uDone == x.left.size());
        return x;
    }
    Stereo Render(const Stereo& x) { return Render(x, {static_cast<std::uint32_t>(x.left.size())}); }

    Test::TestContext context;
    Maximizer maximizer{context};
    Component& component = maximizer;
};

double Linear(double fDb) {
    return std::exp(fDb * 0.115129255);
}

bool SameBits(const Stereo& a, const Stereo& b) {
    return Test::FirstDifference(a.left, b.left) == -1 && Test::FirstDifference(a.right, b.right) == -1;
}

bool AllFinite(const Stereo& x) {
    for (const auto* channel : {&x.left, &x.right}) {
        for (const float fSample : *channel) {
            if (!std::isfinite(fSample)) return false;
        }
    }
    return true;
}

constexpr std::int32_t kModes[] = {Maximizer::kSoft, Maximizer::kBrickwall, Maximizer::kIntelligent};

}  // namespace

TEST_CASE("Maximizer declares its table") {
    Test::TestContext context;
    Maximizer maximizer(context);
    Component& component = maximizer;
    CHECK(component.Name() == "Maximizer::Maximizer");
    const struct {
        const char* strName;
        const char* strUnits;
        float fMin, fMax, fDefault;
    } floats[] = {
        {"LMAX: Threshold", "dB", -20, 0, 0},  {"LMAX: Margin", "dB", -5, 0, 0},
        {"LMAX: Ratio", "x:1", 1, 25, 20},     {"LMAX: Attack", "ms", 10, 500, 100},
        {"LMAX: Release", "ms", 10, 500, 100}, {"LMAX: Character", "", 0, 10, 4},
    };
    REQUIRE(component.Count(ParameterGroup::Float) == 6);
    for (std::uint32_t i = 0; i < 6; ++i) {
        const FloatRecord& record = component.FloatInfo(i);
        CHECK(record.strName == floats[i].strName);
        CHECK(record.strUnits == floats[i].strUnits);
        CHECK(record.fMin == floats[i].fMin);
        CHECK(record.fMax == floats[i].fMax);
        CHECK(record.fDefault == floats[i].fDefault);
        CHECK(component.GetFloat(i) == floats[i].fDefault);
        CHECK(record.bAutomatable);
        CHECK(record.presetGroup == PresetGroup::Maximizer);
        CHECK(record.storageClass == StorageClass::StateBlock);
    }
    const struct {
        const char* strName;
        bool bDefault, bAutomatable;
        PresetGroup group;
    } bools[] = {
        {"LMAX: Bypass", true, true, PresetGroup::Maximizer},
        {"LMAX: Solo Mute", false, false, PresetGroup::Maximizer},
        {"LMAX: Enable Histogram", true, false, PresetGroup::Meters},
        {"LMAX: Enable Gain Reduction Meter", true, false, PresetGroup::Meters},
        {"LMAX: Show Gain Reduction Meter Peak Hold", true, false, PresetGroup::Meters},
        {"LMAX: Intersample Clip Detect", false, true, PresetGroup::Maximizer},
    };
    REQUIRE(component.Count(ParameterGroup::Bool) == 6);
    for (std::uint32_t i = 0; i < 6; ++i) {
        const BoolRecord& record = component.BoolInfo(i);
        CHECK(record.strName == bools[i].strName);
        CHECK(record.bDefault == bools[i].bDefault);
        CHECK(component.GetBool(i) == bools[i].bDefault);
        CHECK(record.bAutomatable == bools[i].bAutomatable);
        CHECK(record.presetGroup == bools[i].group);
    }
    REQUIRE(component.Count(ParameterGroup::Int) == 2);
    const IntRecord& mode = component.IntInfo(kMode);
    CHECK(mode.strName == "LMAX: Mode");
    CHECK(mode.IsEnumeration());
    CHECK(mode.labels == std::vector<std::string>{"Soft", "Brickwall", "Intelligent"});
    CHECK(mode.bAutomatable);
    CHECK(component.GetInt(kMode) == 2);
    const IntRecord& hold = component.IntInfo(kPeakHoldTime);
    CHECK(hold.strName == "LMAX: Gain Reduction Meter Peak Hold Time");
    CHECK(hold.labels == std::vector<std::string>{"5", "250", "500", "1000", "5000", "Infinite"});
    CHECK_FALSE(hold.bAutomatable);
    CHECK(component.GetInt(kPeakHoldTime) == 2);
    CHECK(component.Count(ParameterGroup::UInt) == 0);
}

TEST_CASE("Setters clamp, an equal value does nothing, and every other marks the plug-in dirty") {
    Fixture f;
    for (std::uint32_t i = 0; i < 6; ++i) {
        f.component.SetFloat(i, -1000);
        CHECK(f.component.GetFloat(i) == f.component.FloatInfo(i).fMin);
        f.component.SetFloat(i, 1000);
        CHECK(f.component.GetFloat(i) == f.component.FloatInfo(i).fMax);
        const int nDirty = f.context.nDirty;
        f.component.SetFloat(i, f.component.FloatInfo(i).fMax);
        CHECK(f.context.nDirty == nDirty);
        f.component.SetFloat(i, f.component.FloatInfo(i).fMin);
        CHECK(f.context.nDirty == nDirty + 1);
    }
    f.component.SetInt(kMode, 77);
    CHECK(f.component.GetInt(kMode) == 2);
    f.component.SetInt(kMode, -77);
    CHECK(f.component.GetInt(kMode) == 0);
    f.component.SetInt(kPeakHoldTime, 6);
    CHECK(f.component.GetInt(kPeakHoldTime) == 5);
}

TEST_CASE("Bypass and solo mute decide the activity and tell the engine; a mode tells it of its latency") {
    Test::TestContext context;
    Maximizer maximizer(context);
    Component& component = maximizer;
    CHECK_FALSE(maximizer.IsActive());
    component.SetBool(kBypass, false);
    CHECK(maximizer.IsActive());
    component.SetBool(kSoloMute, true);
    CHECK_FALSE(maximizer.IsActive());
    CHECK(context.nActivityRequests == 2);
    CHECK(maximizer.GetLatency() == 706);
    component.SetInt(kMode, Maximizer::kSoft);
    CHECK(maximizer.GetLatency() == 262);
    CHECK(context.nDelayRequests == 1);
    component.SetInt(kMode, Maximizer::kSoft);
    CHECK(context.nDelayRequests == 1);
}

TEST_CASE("The latency as declared is the latency as measured, in every mode at every rate, and gain is 1") {
    for (const std::int32_t nMode : kModes) {
        for (const std::uint32_t uRate : {8000u, 22050u, 44100u, 48000u, 96000u, 192000u, 384000u}) {
            for (const bool bInterSample : {false, true}) {
                CAPTURE(nMode);
                CAPTURE(uRate);
                Fixture f(nMode, 0, 0, bInterSample);
                f.maximizer.SetSampleRate(uRate);
                Stereo x{std::vector<float>(8000, 0.0f), std::vector<float>(8000, 0.0f)};
                x.left[100] = 0.75f;
                x.right[101] = -0.5f;
                const Stereo out = f.Render(x, Test::RandomCuts(uRate, 8000, 700));
                Stereo expected{std::vector<float>(8000, 0.0f), std::vector<float>(8000, 0.0f)};
                expected.left[100 + f.maximizer.GetLatency()] = 0.75f;
                expected.right[101 + f.maximizer.GetLatency()] = -0.5f;
                CHECK(SameBits(out, expected));
                if (nMode != Maximizer::kIntelligent) continue;
                CHECK(f.maximizer.GetLatency() == 1 + static_cast<std::uint32_t>(uRate * 0.016));
            }
        }
    }
}

TEST_CASE("A quiet signal is raised by margin minus threshold in every mode") {
    for (const std::int32_t nMode : kModes) {
        Fixture f(nMode, -6, -0.3f);
        const Stereo x{std::vector<float>(2000, 0.25f), std::vector<float>(2000, -0.125f)};
        const Stereo out = f.Render(x);
        CHECK(std::abs(double{out.left[1999]} - 0.25 * Linear(5.7)) < 1e-7);
        CHECK(std::abs(double{out.right[1999]} + 0.125 * Linear(5.7)) < 1e-7);
        CHECK(f.maximizer.MinimumGain() == 1.0f);
    }
}

TEST_CASE("Each mode's samples are its model's, and so is the least gain") {
    const Stereo x = Test::StereoBursts(41, 20000, 5.0f);
    for (const bool bInterSample : {false, true}) {
        CAPTURE(bInterSample);
        const auto peaks = Test::ModelPeaks(x, bInterSample);
        Fixture intelligent(Maximizer::kIntelligent, -8, -1, bInterSample);
        intelligent.component.SetFloat(kCharacter, 7);
        const Stereo out = intelligent.Render(x);
        const auto reduction = Test::LookAheadModel(44100, -8, 7 * 0.15).Reduction(peaks);
        double fWorst = 0.0, fLargest = 0.0;
        for (std::size_t i = 0; i + 706 < 20000; ++i) {
            const double fGain = std::exp((7.0 - reduction[i]) * 0.115129255);
            fWorst = std::max(fWorst, std::abs(double{out.right[i + 706]} - double{x.right[i]} * fGain));
            fLargest = std::max(fLargest, reduction[i]);
        }
        CHECK(fWorst < 1e-5);
        CHECK(std::abs(double{intelligent.maximizer.TakeMinimumGain()} - Linear(-fLargest)) < 1e-5);
        CHECK(intelligent.maximizer.MinimumGain() == 1.0f);

        for (const std::int32_t nMode : {Maximizer::kSoft, Maximizer::kBrickwall}) {
            CAPTURE(nMode);
            Fixture f(nMode, -8, -1, bInterSample);
            f.component.SetFloat(kAttack, 10);
            f.component.SetFloat(kRelease, 30);
            // The ratio changes nothing.
            f.component.SetFloat(kRatio, 1);
            const auto pole = [](double fMs) { return static_cast<float>(std::exp(-1000 / fMs / 22050.0)); };
            Test::PeakModel model;
            model.bBrickwall = nMode == Maximizer::kBrickwall;
            model.fThreshold = Linear(-8);
            model.fMakeUp = Linear(7);
            model.fPeakDecay = static_cast<float>(std::pow(0.03, 0.000453514745));
            model.fAttack = model.bBrickwall ? static_cast<float>(std::exp(-0.01)) : pole(10);
            model.fRelease = pole(30);
            Stereo expected = x;
            model.Run(expected, peaks);
            const Stereo y = f.Render(x);
            CHECK(Test::WorstDifference(y.left, expected.left) < 3e-5f);
            CHECK(Test::WorstDifference(y.right, expected.right) < 3e-5f);
            CHECK(std::abs(f.maximizer.MinimumGain() - model.fLeastGain) < 2e-6f);
        }
    }
}

TEST_CASE("The histogram counts the levels of the last 44100 frames, detected as the mode detects") {
    const Stereo x = Test::StereoBursts(51, 50000, 2.0f);
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Fixture f(nMode, -3);
        f.Render(x, Test::RandomCuts(1, 50000, 3000));
        // In the modes with rings, levels come 63 frames late.
        const std::size_t uDelay = nMode == Maximizer::kIntelligent ? 0 : 63;
        const auto peaks = Test::ModelPeaks(x, false);
        DSP::LevelHistogram::CountTable expected{};
        for (std::size_t i = 50000 - 44100; i < 50000; ++i) {
            const double fDb = -20.0 * std::log10(std::max(peaks[i - uDelay], 1e-10));
            ++expected[static_cast<std::size_t>(std::clamp(fDb, 0.0, 127.0))];
        }
        // Silence lies at no threshold, full scale at one: a level of exactly n dB may fall to either side.
        std::uint32_t uMoved = 0;
        const auto counts = f.maximizer.Histogram();
        for (std::size_t k = 0; k < counts.size(); ++k)
            uMoved += counts[k] > expected[k] ? counts[k] - expected[k] : 0;
        CHECK(uMoved == 0);

        f.component.SetBool(kHistogram, false);
        f.Render(x);
        CHECK(f.maximizer.Histogram() == counts);
    }
}

TEST_CASE("The stream may be cut anywhere, in every mode, also where settings change; a reset forgets all") {
    const Stereo x = Test::StereoBursts(61, 16000, 5.0f);
    // Settings change at 4000 and 8000, and the mode and the detection at 12000.
    const auto render = [&](Fixture& f, std::int32_t nMode, std::uint64_t uSeed, std::uint32_t uLongest) {
        f.component.SetInt(kMode, nMode);
        f.component.SetFloat(kThreshold, -4);
        f.component.SetFloat(kCharacter, 4);
        f.component.SetBool(kInterSample, false);
        f.maximizer.ClearState();
        Stereo y = x;
        for (std::size_t uQuarter = 0; uQuarter < 4; ++uQuarter) {
            if (uQuarter == 1) f.component.SetFloat(kThreshold, -9);
            if (uQuarter == 2) f.component.SetFloat(kCharacter, 1);
            if (uQuarter == 3) f.component.SetInt(kMode, (nMode + 1) % 3);
            if (uQuarter == 3) f.component.SetBool(kInterSample, true);
            std::size_t uDone = 4000 * uQuarter;
            for (const std::uint32_t uFrames : Test::RandomCuts(uSeed + uQuarter, 4000, uLongest)) {
                f.Run(y, uDone, uFrames);
                uDone += uFrames;
            }
        }
        return y;
    };
    Fixture dirty;
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Fixture fresh;
        const Stereo expected = render(fresh, nMode, 1, 4000);
        CHECK(SameBits(render(dirty, nMode, 5, 1), expected));
        CHECK(dirty.maximizer.Histogram() == fresh.maximizer.Histogram());
        CHECK(SameBits(render(dirty, nMode, 9, 700), expected));
        CHECK(AllFinite(expected));
    }
}

TEST_CASE("A change of the mode drops the audio history") {
    const Stereo x = Test::StereoBursts(66, 3000, 4.0f);
    for (const std::int32_t nFrom : kModes) {
        for (const std::int32_t nTo : kModes) {
            Fixture f(nFrom, -6), fresh(nTo, -6);
            f.Render(x);
            f.component.SetInt(kMode, nTo);
            if (nTo == nFrom) f.maximizer.ClearState();
            CHECK(SameBits(f.Render(x), fresh.Render(x)));
            CHECK(f.maximizer.Histogram() == fresh.maximizer.Histogram());
        }
    }
}

TEST_CASE(
    "A mono stream is the left channel of one whose right is silent, and a change of channels starts anew") {
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Stereo x = Test::StereoBursts(71, 6000, 4.0f);
        x.right.assign(6000, 0.0f);
        Fixture stereo(nMode, -6, 0, true), mono(nMode, -6, 0, true);
        mono.Render(Test::StereoBursts(72, 3000, 4.0f));
        const Stereo expected = stereo.Render(x);
        CHECK(Test::FirstDifference(mono.Render({x.left, {}}).left, expected.left) == -1);
    }
}

TEST_CASE("While bypassed the audio passes unchanged, levels are still counted, and nothing old comes back") {
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Fixture f(nMode, -6);
        const Stereo x = Test::StereoBursts(81, 3000, 4.0f);
        f.Render(x);
        f.component.SetBool(kBypass, true);
        const auto before = f.maximizer.Histogram();
        CHECK(SameBits(f.Render(x), x));
        CHECK(f.maximizer.Histogram() != before);
        f.component.SetBool(kBypass, false);
        const Stereo silent{std::vector<float>(2000, 0.0f), std::vector<float>(2000, 0.0f)};
        CHECK(SameBits(f.Render(silent), silent));
    }
}

TEST_CASE(
    "NaN, infinity and astronomical samples are silence, and the sound is clean with the first clean sample") {
    using Limits = std::numeric_limits<float>;
    for (const std::int32_t nMode : kModes) {
        for (const bool bInterSample : {false, true}) {
            Stereo poisoned = Test::StereoBursts(91, 20000, 3.0f);
            Stereo clean = poisoned;
            for (std::size_t i = 5000; i < 5500; ++i) {
                constexpr float kPoison[] = {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(),
                                             1e30f};
                poisoned.left[i] = kPoison[i % 4];
                poisoned.right[i] = kPoison[(i + 1) % 4];
                clean.left[i] = clean.right[i] = 0.0f;
            }
            Fixture a(nMode, -6, 0, bInterSample), b(nMode, -6, 0, bInterSample);
            CHECK(SameBits(a.Render(poisoned, Test::RandomCuts(4, 20000, 1000)), b.Render(clean)));
        }
    }
}

TEST_CASE("Nothing is allocated once a rate is set, whatever is automated, however long a block is") {
    Fixture f(Maximizer::kIntelligent, -6, 0, true);
    f.maximizer.SetSampleRate(48000);
    Stereo x = Test::StereoBursts(1, 9000, 4.0f);
    const Test::AllocationCounter counter;
    for (const std::int32_t nMode : kModes) {
        f.component.SetInt(kMode, nMode);
        for (std::uint32_t i = 0; i < 6; ++i) {
            f.component.SetFloat(i, f.component.FloatInfo(i).fMin);
            f.Run(x, 0, 9000);
            f.component.SetFloat(i, f.component.FloatInfo(i).fMax);
            f.Run(x, 0, 64);
        }
        f.component.SetBool(kInterSample, nMode == Maximizer::kSoft);
        f.component.SetBool(kBypass, true);
        f.Run(x, 0, 9000);
        f.component.SetBool(kBypass, false);
        f.maximizer.ProcessBlock(9000, x.left.data(), nullptr);
        f.maximizer.ClearState();
    }
    CHECK(counter.Count() == 0);
}

TEST_CASE("A storm of parameters leaves every sample finite and below what the greatest make-up gives") {
    Test::Random random(7);
    Fixture f;
    float fHighest = 0.0f;
    for (int nRound = 0; nRound < 3000; ++nRound) {
        const std::uint32_t uTarget = random.Between(0, 9);
        if (uTarget < 6) {
            const FloatRecord& record = f.component.FloatInfo(uTarget);
            const float fShare = random.Between(0, 3) == 0 ? static_cast<float>(random.Between(0, 1))
                                                           : random.Uniform(0.0f, 1.0f);
            f.component.SetFloat(uTarget, record.fMin + fShare * (record.fMax - record.fMin));
        } else if (uTarget == 6) {
            f.component.SetInt(kMode, static_cast<std::int32_t>(random.Between(0, 2)));
        } else if (uTarget == 7) {
            f.component.SetBool(kInterSample, random.Between(0, 1) == 1);
        } else if (uTarget == 8 && random.Between(0, 9) == 0) {
            constexpr std::uint32_t kRates[] = {8000, 44100, 96000, 384000};
            f.maximizer.SetSampleRate(kRates[random.Between(0, 3)]);
        }
        Stereo x = Test::StereoBursts(random.Next(), random.Between(0, 700), 3.0f);
        if (random.Between(0, 19) == 0) x.right.clear();
        f.Run(x, 0, x.left.size());
        REQUIRE(AllFinite(x));
        for (const float fSample : x.left)
            fHighest = std::max(fHighest, std::abs(fSample));
        REQUIRE(f.maximizer.MinimumGain() > 0.0f);
        REQUIRE(f.maximizer.MinimumGain() <= 1.0f);
    }
    CHECK(fHighest > 1.0f);
    CHECK(fHighest <= 30.01f);
}
