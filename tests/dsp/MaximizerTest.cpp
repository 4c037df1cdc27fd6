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

constexpr std::int32_t kModes[] = {Maximizer::kSoft, Maximizer::kBrickwall, Maximizer::kIntelligent};

double Linear(double fDb) {
    return std::exp(fDb * 0.115129255);
}

/// A maximizer on a stream that it has worked on so far.
struct Rig {
    Rig(std::int32_t nMode, Stereo audio, float fThresholdDb = -6, float fMarginDb = 0,
        bool bInterSample = false, std::uint32_t uRate = 44100)
        : x(std::move(audio)) {
        component.SetBool(kBypass, false);
        component.SetInt(0, nMode);
        component.SetFloat(kThreshold, fThresholdDb);
        component.SetFloat(kMargin, fMarginDb);
        component.SetBool(kInterSample, bInterSample);
        maximizer.SetSampleRate(uRate);
    }
    /// The next so many frames, in blocks of random lengths.
    Rig& Run(std::uint32_t uFrames, std::uint32_t uLongest = 3000) {
        for (const std::uint32_t uBlock : Test::RandomCuts(uLongest, uFrames, uLongest)) {
            maximizer.ProcessBlock(uBlock, x.left.data() + uDone,
                                   x.right.empty() ? nullptr : x.right.data() + uDone);
            uDone += uBlock;
        }
        return *this;
    }
    /// All of another stream.
    const Stereo& Render(const Stereo& audio, std::uint32_t uLongest = 3000) {
        x = audio;
        uDone = 0;
        return Run(static_cast<std::uint32_t>(x.left.size()), uLongest).x;
    }

    Test::TestContext context;
    Maximizer maximizer{context};
    Component& component = maximizer;
    Stereo x;
    std::size_t uDone = 0;
};

/// The worst difference from the input under a model's reduction, relatively above -60 dB.
double WorstGainError(const Stereo& in, const Stereo& out, const std::vector<double>& reduction,
                      double fMakeUpDb, std::size_t uDelay) {
    double fWorst = 0.0;
    for (std::size_t i = 0; i + 2 * uDelay < in.left.size(); ++i) {
        const double fGain = Linear(fMakeUpDb - reduction[i]);
        for (const auto channel : {&Stereo::left, &Stereo::right}) {
            const double fExpected = double{(in.*channel)[i]} * fGain;
            const double fError = std::abs(double{(out.*channel)[i + uDelay]} - fExpected);
            fWorst = std::max(fWorst, fError / std::max(std::abs(fExpected), 1e-3));
        }
    }
    return fWorst;
}

// Relative. The states are single precision, and so are the sums of up to 257 taps over tens of dB.
constexpr double kTolerance = 4e-6;

}  // namespace

TEST_CASE("Intelligent takes off what its model takes off, at every rate and character") {
    struct Case {
        std::uint32_t uRate;
        float fThresholdDb, fCharacter;
        bool bInterSample;
    };
    // The model's character is 0.15 times the parameter.
    const Case cases[] = {{44100, -6, 4, false},    {44100, -6, 4, true},     {44100, 0, 0, false},
                          {44100, -3, 0.2f, false}, {44100, -3, 0.7f, true},  {44100, -12, 2.1f, false},
                          {44100, -20, 10, false},  {44100, -9, 7, false},    {44100, -6, 6, true},
                          {8000, -6, 4, true},      {22050, -6, 8, true},     {48000, -1, 3, false},
                          {96000, -6, 5, true},     {192000, -6, 1.3f, false}};
    const Stereo x = Test::StereoBursts(11, 20000, 4.0f);
    for (const Case& c : cases) {
        CAPTURE(c.uRate);
        CAPTURE(c.fCharacter);
        CAPTURE(c.bInterSample);
        const Test::LookAheadModel model(static_cast<int>(c.uRate), double{c.fThresholdDb},
                                         double{c.fCharacter} * 0.15);
        Rig rig(Maximizer::kIntelligent, x, c.fThresholdDb, -1, c.bInterSample);
        rig.component.SetFloat(kCharacter, c.fCharacter);
        // Another rate on the way changes nothing.
        rig.maximizer.SetSampleRate(32000);
        rig.Run(100);
        rig.maximizer.SetSampleRate(c.uRate);
        const auto reduction = model.Reduction(Test::ModelPeaks(x, c.bInterSample));
        const auto uDelay = static_cast<std::size_t>(model.LookAhead());
        CHECK(rig.maximizer.GetLatency() == uDelay);
        CHECK(WorstGainError(x, rig.Render(x), reduction, -1.0 - double{c.fThresholdDb}, uDelay) <
              kTolerance);
        const double fMost =
            *std::max_element(reduction.begin(), reduction.end() - static_cast<std::ptrdiff_t>(uDelay));
        CHECK(std::abs(double{rig.maximizer.TakeMinimumGain()} - Linear(-fMost)) < 1e-5);
        CHECK(rig.maximizer.MinimumGain() == 1.0f);
    }
}

TEST_CASE("Soft and Brickwall follow their model's rings, window and gain") {
    const Stereo x = Test::StereoBursts(17, 20000, 6.0f);
    for (const bool bInterSample : {false, true}) {
        const auto peaks = Test::ModelPeaks(x, bInterSample);
        for (const std::int32_t nMode : {Maximizer::kSoft, Maximizer::kBrickwall}) {
            for (const std::uint32_t uRate : {22050u, 44100u, 192000u}) {
                CAPTURE(nMode);
                CAPTURE(bInterSample);
                CAPTURE(uRate);
                Rig rig(nMode, x, -6, -0.5f, bInterSample, uRate);
                rig.component.SetFloat(kAttack, 20);
                rig.component.SetFloat(kRelease, 50);
                // The ratio changes nothing.
                rig.component.SetFloat(kRatio, 1);
                const auto pole = [&](double fMs) {
                    return static_cast<float>(std::exp(-1000 / fMs / (uRate * 0.5)));
                };
                Test::PeakModel model;
                model.bBrickwall = nMode == Maximizer::kBrickwall;
                model.fThreshold = double{static_cast<float>(Linear(-6))};
                model.fMakeUp = double{static_cast<float>(Linear(5.5))};
                model.fPeakDecay = static_cast<float>(std::pow(0.03, 1.0 / (uRate * 0.05)));
                model.fAttack = pole(model.bBrickwall ? 200000.0 / uRate : 20);
                model.fRelease = pole(50);
                Stereo expected = x;
                model.Run(expected, peaks);
                rig.Run(20000);
                // The gain is a single-precision recursion with a memory of thousands of samples, entered by
                // targets that differ in the last place.
                CHECK(Test::WorstDifference(rig.x.left, expected.left) < 2e-5f);
                CHECK(Test::WorstDifference(rig.x.right, expected.right) < 2e-5f);
                CHECK(std::abs(rig.maximizer.MinimumGain() - model.fLeastGain) < 2e-6f);
                CHECK(rig.maximizer.GetLatency() == 262);
            }
        }
    }
}

TEST_CASE("Brickwall never lets a sample over the margin, at any rate, threshold, margin and release") {
    Test::Random random(99);
    float fWorst = 0.0f;
    int nLoud = 0;
    for (int nDraw = 0; nDraw < 400; ++nDraw) {
        constexpr std::uint32_t kRates[] = {22050, 44100, 48000, 88200, 96000, 176400, 192000};
        const float fMarginDb = -random.Uniform(0, 5);
        Rig rig(Maximizer::kBrickwall, Test::StereoBursts(random.Next(), 6000, 10.0f), -random.Uniform(0, 20),
                fMarginDb, random.Between(0, 1) == 1, kRates[random.Between(0, 6)]);
        rig.component.SetFloat(kRelease, random.Uniform(10, 500));
        rig.Run(6000, random.Between(1, 2000));
        const auto fCeiling = static_cast<float>(Linear(double{fMarginDb}));
        for (std::size_t i = 0; i < 6000; ++i) {
            const float fPeak = std::max(std::abs(rig.x.left[i]), std::abs(rig.x.right[i]));
            fWorst = std::max(fWorst, fPeak / fCeiling);
            nLoud += fPeak > 0.99f * fCeiling;
        }
    }
    // Not a hair over, and it does reach the margin.
    CHECK(fWorst <= 1.0f);
    CHECK(nLoud > 10000);
}

TEST_CASE(
    "Below the threshold every mode delays and does nothing else, and mono is as beside a silent right") {
    const Stereo x = Test::StereoNoise(1, 5000, static_cast<float>(Linear(-5)));
    Stereo loud = Test::StereoBursts(71, 6000, 4.0f);
    loud.right.assign(6000, 0.0f);
    for (const std::int32_t nMode : kModes) {
        CAPTURE(nMode);
        Rig rig(nMode, x, -5, -5);
        rig.Run(5000);
        const auto nDelay = static_cast<std::ptrdiff_t>(rig.maximizer.GetLatency());
        for (const auto channel : {&Stereo::left, &Stereo::right}) {
            std::vector<float> expected(static_cast<std::size_t>(nDelay), 0.0f);
            expected.insert(expected.end(), (x.*channel).begin(), (x.*channel).end() - nDelay);
            CHECK(Test::FirstDifference(rig.x.*channel, expected) == -1);
        }
        CHECK(rig.maximizer.MinimumGain() == 1.0f);

        // A change of channels starts anew.
        for (const bool bInterSample : {false, true}) {
            Rig stereo(nMode, loud, -6, 0, bInterSample), mono(nMode, x, -6, 0, bInterSample);
            mono.Run(3000);
            CHECK(Same(mono.Render({loud.left, {}}), {stereo.Run(6000).x.left, {}}));
        }
    }
}

TEST_CASE("Maximizer: a character set in mid-stream shapes the very next sample, wherever blocks end") {
    const Stereo x = Test::StereoBursts(21, 9000, 4.0f);
    const auto peaks = Test::ModelPeaks(x, true);
    for (const auto& change :
         {std::pair{4.0f, 0.7f}, {0.3f, 10.0f}, {0.2f, 4.0f}, {6.0f, 0.0f}, {0.0f, 6.0f}}) {
        const float fBefore = change.first;
        const float fAfter = change.second;
        CAPTURE(fBefore);
        CAPTURE(fAfter);
        const auto render = [&](std::uint32_t uLongest) {
            Rig rig(Maximizer::kIntelligent, x, -5, -5, true);
            rig.component.SetFloat(kCharacter, fBefore);
            rig.Run(5000, uLongest).component.SetFloat(kCharacter, fAfter);
            return rig.Run(4000, uLongest).x;
        };
        const Stereo y = render(5000);
        CHECK(Same(render(1), y));
        CHECK(Same(render(600), y));
        const auto reduction = Test::LookAheadModel(44100, -5.0, double{fBefore} * 0.15)
                                   .Reduction(peaks, 5000, double{fAfter} * 0.15);
        CHECK(WorstGainError(x, y, reduction, 0.0, 706) < kTolerance);
    }
}

TEST_CASE("Maximizer: inter-sample detection may be switched anywhere, as if it had run all along") {
    // Intelligent, on for four frames and then for good.
    const Stereo x = Test::StereoBursts(31, 9000, 3.0f);
    const auto render = [&](std::uint32_t uLongest) {
        Rig rig(Maximizer::kIntelligent, x);
        for (const std::uint32_t uFrames : {3000u, 4u, 2996u, 3000u}) {
            rig.component.SetBool(kInterSample, uFrames == 4 || rig.uDone == 6000);
            rig.Run(uFrames, uLongest);
        }
        return rig.x;
    };
    const Stereo y = render(4000);
    CHECK(Same(render(1), y));
    CHECK(Same(render(700), y));
    const Stereo off = Rig(Maximizer::kIntelligent, x).Run(9000).x;
    const Stereo on = Rig(Maximizer::kIntelligent, x, -6, 0, true).Run(9000).x;
    CHECK(std::equal(off.left.begin(), off.left.begin() + 3000, y.left.begin()));
    // The over values of the look-ahead have passed, and the states agree with the model's to their rounding.
    CHECK(Test::WorstDifference({on.left.begin() + 8500, on.left.end()},
                                {y.left.begin() + 8500, y.left.end()}) < 1e-3f);

    // On during silence, which leaves no trace in the sound; then off; then on in the middle of noise: what
    // the detection saw is forgotten.
    Stereo late = Test::StereoNoise(1, 5000);
    std::fill_n(late.left.begin(), 1100, 0.0f);
    std::fill_n(late.right.begin(), 1100, 0.0f);
    const auto forgets = [&](bool bFirst) {
        Rig rig(Maximizer::kIntelligent, late, -6, 0, bFirst);
        rig.component.SetFloat(kCharacter, 0);
        rig.Run(1000).component.SetBool(kInterSample, false);
        rig.Run(2000).component.SetBool(kInterSample, true);
        return rig.Run(2000).x;
    };
    CHECK(Same(forgets(true), forgets(false)));

    // Soft, seen through the histogram: the detected levels of the last 3000 frames.
    const auto counts = [&](bool bFirst, bool bThen, bool bLast) {
        Rig rig(Maximizer::kSoft, x, -6, 0, bFirst);
        rig.component.SetBool(kHistogram, false);
        rig.Run(3000).component.SetBool(kInterSample, bThen);
        rig.Run(3000).component.SetBool(kInterSample, bLast);
        rig.component.SetBool(kHistogram, true);
        return rig.Run(3000).maximizer.Histogram();
    };
    CHECK(counts(false, false, true) == counts(true, true, true));
    CHECK(counts(true, false, true) == counts(true, true, true));
    CHECK(counts(true, true, false) == counts(false, false, false));
    CHECK(counts(true, true, true) != counts(false, false, false));
}

TEST_CASE(
    "Maximizer: a stream may be cut anywhere also where settings change; a reset and a mode start anew") {
    const Stereo x = Test::StereoBursts(61, 16000, 5.0f);
    const auto render = [&](Rig& rig, std::int32_t nMode, std::uint32_t uLongest) {
        rig.x = x;
        rig.uDone = 0;
        rig.component.SetInt(0, nMode);
        rig.component.SetFloat(kThreshold, -4);
        rig.component.SetFloat(kCharacter, 4);
        rig.component.SetBool(kInterSample, false);
        rig.Run(4000, uLongest).component.SetFloat(kThreshold, -9);
        // Through every kind of character, with release, without it, clipping, and back again.
        for (const float fCharacter : {0.2f, 0.0f, 0.2f, 4.0f}) {
            rig.component.SetFloat(kCharacter, fCharacter);
            rig.Run(2000, uLongest);
        }
        rig.component.SetInt(0, (nMode + 1) % 3);
        rig.component.SetBool(kInterSample, true);
        return rig.Run(4000, uLongest).x;
    };
    Rig dirty(Maximizer::kSoft, x);
    for (const std::int32_t nMode : {Maximizer::kIntelligent, Maximizer::kBrickwall, Maximizer::kSoft}) {
        CAPTURE(nMode);
        Rig fresh(nMode, x);
        const Stereo expected = render(fresh, nMode, 4000);
        CHECK(Same(render(dirty, nMode, 1), expected));
        CHECK(dirty.maximizer.Histogram() == fresh.maximizer.Histogram());
        dirty.component.SetInt(0, nMode);
        dirty.maximizer.ClearState();
        CHECK(dirty.maximizer.MinimumGain() == 1.0f);
        CHECK(Same(render(dirty, nMode, 700), expected));
    }
}

TEST_CASE(
    "Maximizer: the histogram counts the last 44100 levels, detected as the mode detects, also bypassed") {
    const Stereo x = Test::StereoBursts(51, 50000, 2.0f);
    const auto peaks = Test::ModelPeaks(x, false);
    for (const std::int32_t nMode : kModes) {
        for (const bool bBypass : {false, true}) {
            CAPTURE(nMode);
            CAPTURE(bBypass);
            Rig rig(nMode, x, -3);
            rig.component.SetBool(kBypass, bBypass);
            rig.Run(50000);
            CHECK(Same(rig.x, x) == bBypass);
            // In the modes with rings, levels come 63 frames late.
            const std::size_t uDelay = nMode == Maximizer::kIntelligent || bBypass ? 0 : 63;
            DSP::LevelHistogram::CountTable expected{};
            for (std::size_t i = 50000 - 44100; i < 50000; ++i) {
                const double fDb = -20.0 * std::log10(std::max(peaks[i - uDelay], 1e-10));
                ++expected[static_cast<std::size_t>(std::clamp(fDb, 0.0, 127.0))];
            }
            CHECK(rig.maximizer.Histogram() == expected);
            rig.component.SetBool(kHistogram, false);
            rig.Render(x);
            CHECK(rig.maximizer.Histogram() == expected);

            // Nothing old comes back after a bypass.
            const Stereo silent{std::vector<float>(2000, 0.0f), std::vector<float>(2000, 0.0f)};
            rig.component.SetBool(kBypass, true);
            rig.Render(silent);
            rig.component.SetBool(kBypass, false);
            CHECK(Same(rig.Render(silent), silent));
        }
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
        Rig a(nMode, poisoned, -6, 0, true), b(nMode, clean, -6, 0, true);
        CHECK(Same(a.Run(20000).x, b.Run(20000).x));
    }
}

TEST_CASE("Maximizer: bypass and solo mute decide the activity and tell the engine, a mode of its latency") {
    Rig rig(Maximizer::kIntelligent, {});
    CHECK(rig.maximizer.IsActive());
    rig.component.SetBool(kSoloMute, true);
    CHECK_FALSE(rig.maximizer.IsActive());
    CHECK(rig.context.nActivityRequests == 2);
    CHECK(rig.context.nDelayRequests == 0);
    rig.component.SetInt(0, Maximizer::kSoft);
    CHECK(rig.context.nDelayRequests == 1);
}

TEST_CASE("Every rate from 8000 Hz on detects as far ahead as the activity looks") {
    for (int nRate = 8000; nRate < 400000; nRate += 37) {
        DSP::LimiterCharacter character;
        character.SetUp(nRate);
        const int nDetected = 1 + static_cast<int>(nRate * 0.016) - DSP::InterSampleDetector::kDelay;
        REQUIRE(character.nHalfWidth + character.nActivitySpan <= nDetected);
        REQUIRE(2 * character.nHalfWidth <= nDetected);
    }
}
