#include "dsp/Maximizer.h"

#include <doctest/doctest.h>

#include <limits>

#include "tests/support/LimiterModels.h"
#include "tests/support/TestContext.h"

using DSP::Maximizer;
using Test::Stereo;

namespace {

enum Float : std::uint32_t { kThreshold, kMargin, kRatio, kAttack, kRelease, kCharacter };
enum Bool : std::uint32_t { kBypass, kSoloMute, kHistogram, kGainMeter, kPeakHold, kInterSample };

struct Fixture {
    explicit Fixture(std::int32_t nMode, float fThresholdDb = -6, float fMarginDb = 0,
                     bool bInterSample = false) {
        component.SetBool(kBypass, false);
        component.SetInt(0, nMode);
        component.SetFloat(kThreshold, fThresholdDb);
        component.SetFloat(kMargin, fMarginDb);
        component.SetBool(kInterSample, bInterSample);
    }
    Stereo Render(const Stereo& x, const std::vector<std::uint32_t>& cuts, std::size_t uFrom = 0) {
        return InBlocks(
            x, cuts,
            [&](float* left, float* right, int nFrames) {
                maximizer.ProcessBlock(static_cast<std::uint32_t>(nFrames), left, right);
            },
            uFrom);
    }
    Stereo Render(const Stereo& x) { return Render(x, {static_cast<std::uint32_t>(x.left.size())}); }

    Test::TestContext context;
    Maximizer maximizer{context};
    Component& component = maximizer;
};

double Linear(double fDb) {
    return std::exp(fDb * 0.115129255);
}

constexpr std::int32_t kModes[] = {Maximizer::kSoft, Maximizer::kBrickwall, Maximizer::kIntelligent};

}  // namespace

TEST_CASE("Maximizer: each mode's samples are its model's at every rate, and so are latency and least gain") {
    const Stereo x = Test::StereoBursts(41, 20000, 5.0f);
    for (const std::uint32_t uRate : {44100u, 192000u}) {
        for (const bool bInterSample : {false, true}) {
            CAPTURE(uRate);
            CAPTURE(bInterSample);
            const auto peaks = Test::ModelPeaks(x, bInterSample);
            Fixture intelligent(Maximizer::kIntelligent, -8, -1, bInterSample);
            intelligent.component.SetFloat(kCharacter, 7);
            intelligent.maximizer.SetSampleRate(uRate);
            const Stereo out = intelligent.Render(x);
            Test::LookAheadModel model(static_cast<int>(uRate), -8, 7 * 0.15);
            const auto reduction = model.Reduction(peaks);
            const auto uDelay = static_cast<std::size_t>(model.LookAhead());
            CHECK(intelligent.maximizer.GetLatency() == uDelay);
            double fWorst = 0.0, fLargest = 0.0;
            for (std::size_t i = 0; i + uDelay < 20000; ++i) {
                const double fExpected = double{x.right[i]} * Linear(7.0 - reduction[i]);
                fWorst = std::max(fWorst, std::abs(double{out.right[i + uDelay]} - fExpected));
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
                f.maximizer.SetSampleRate(uRate);
                const auto pole = [&](double fMs) {
                    return static_cast<float>(std::exp(-1000 / fMs / (uRate * 0.5)));
                };
                Test::PeakModel peak;
                peak.bBrickwall = nMode == Maximizer::kBrickwall;
                peak.fThreshold = Linear(-8);
                peak.fMakeUp = Linear(7);
                peak.fPeakDecay = static_cast<float>(std::pow(0.03, 1.0 / (uRate * 0.05)));
                peak.fAttack = peak.bBrickwall ? static_cast<float>(std::exp(-0.01)) : pole(10);
                peak.fRelease = pole(30);
                Stereo expected = x;
                peak.Run(expected, peaks);
                const Stereo y = f.Render(x);
                CHECK(f.maximizer.GetLatency() == 262);
                CHECK(Test::WorstDifference(y.left, expected.left) < 3e-5f);
                CHECK(Test::WorstDifference(y.right, expected.right) < 3e-5f);
                CHECK(std::abs(f.maximizer.MinimumGain() - peak.fLeastGain) < 2e-6f);
            }
        }
    }
}

TEST_CASE("Maximizer: the histogram counts the last 44100 levels, detected as the mode detects") {
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
        CHECK(f.maximizer.Histogram() == expected);

        f.component.SetBool(kHistogram, false);
        f.Render(x);
        CHECK(f.maximizer.Histogram() == expected);
    }
}

TEST_CASE(
    "Maximizer: a stream may be cut anywhere also where settings change, which a new mode starts anew") {
    const Stereo x = Test::StereoBursts(61, 16000, 5.0f);
    // Settings change at 4000 and 8000, and the mode and the detection at 12000.
    const auto render = [&](Fixture& f, std::int32_t nMode, std::uint32_t uLongest) {
        f.component.SetInt(0, nMode);
        f.component.SetFloat(kThreshold, -4);
        f.component.SetFloat(kCharacter, 4);
        f.component.SetBool(kInterSample, false);
        Stereo y = x;
        for (std::size_t uQuarter = 0; uQuarter < 4; ++uQuarter) {
            if (uQuarter == 1) f.component.SetFloat(kThreshold, -9);
            if (uQuarter == 2) f.component.SetFloat(kCharacter, 1);
            if (uQuarter == 3) f.component.SetInt(0, (nMode + 1) % 3);
            if (uQuarter == 3) f.component.SetBool(kInterSample, true);
            y = f.Render(y, Test::RandomCuts(uQuarter + uLongest, 4000, uLongest), 4000 * uQuarter);
        }
        return y;
    };
    Fixture dirty(Maximizer::kSoft);
    for (const std::int32_t nMode : {Maximizer::kIntelligent, Maximizer::kBrickwall, Maximizer::kSoft}) {
        CAPTURE(nMode);
        Fixture fresh(nMode);
        const Stereo expected = render(fresh, nMode, 4000);
        CHECK(Same(render(dirty, nMode, 1), expected));
        CHECK(dirty.maximizer.Histogram() == fresh.maximizer.Histogram());
        dirty.component.SetInt(0, nMode);
        dirty.maximizer.ClearState();
        CHECK(Same(render(dirty, nMode, 700), expected));
    }
}

TEST_CASE("Maximizer: mono is the left channel beside a silent right, a change of channels starts anew") {
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Stereo x = Test::StereoBursts(71, 6000, 4.0f);
        x.right.assign(6000, 0.0f);
        Fixture stereo(nMode, -6, 0, true), mono(nMode, -6, 0, true);
        mono.Render(Test::StereoBursts(72, 3000, 4.0f));
        CHECK(Same(mono.Render({x.left, {}}), {stereo.Render(x).left, {}}));
    }
}

TEST_CASE("Maximizer: while bypassed audio passes, levels are still counted, and nothing old comes back") {
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Fixture f(nMode);
        const Stereo x = Test::StereoBursts(81, 3000, 4.0f);
        f.Render(x);
        f.component.SetBool(kBypass, true);
        const auto before = f.maximizer.Histogram();
        CHECK(Same(f.Render(x), x));
        CHECK(f.maximizer.Histogram() != before);
        f.component.SetBool(kBypass, false);
        const Stereo silent{std::vector<float>(2000, 0.0f), std::vector<float>(2000, 0.0f)};
        CHECK(Same(f.Render(silent), silent));
    }
}

TEST_CASE("Maximizer: NaN, infinity and astronomical samples are silence, and the next sample is clean") {
    using Limits = std::numeric_limits<float>;
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Stereo poisoned = Test::StereoBursts(91, 20000, 3.0f), clean = poisoned;
        for (std::size_t i = 5000; i < 5500; ++i) {
            constexpr float kPoison[] = {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), 1e30f};
            poisoned.left[i] = kPoison[i % 4];
            poisoned.right[i] = kPoison[(i + 1) % 4];
            clean.left[i] = clean.right[i] = 0.0f;
        }
        Fixture a(nMode, -6, 0, true), b(nMode, -6, 0, true);
        CHECK(Same(a.Render(poisoned), b.Render(clean)));
    }
}

TEST_CASE("Maximizer: bypass and solo mute decide the activity and tell the engine, a mode of its latency") {
    Fixture f(Maximizer::kIntelligent);
    CHECK(f.maximizer.IsActive());
    f.component.SetBool(kSoloMute, true);
    CHECK_FALSE(f.maximizer.IsActive());
    CHECK(f.context.nActivityRequests == 2);
    CHECK(f.context.nDelayRequests == 0);
    f.component.SetInt(0, Maximizer::kSoft);
    CHECK(f.context.nDelayRequests == 1);
}
