#include "dsp/PeakLimiter.h"

#include <doctest/doctest.h>

#include <cmath>
#include <vector>

#include "dsp/LevelHistogram.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/LimiterModels.h"

using DSP::PeakLimiter;
using Test::Stereo;

namespace {

float Pole(double fTimeMs, double fSampleRate) {
    return static_cast<float>(std::exp(-1000.0 / fTimeMs / (fSampleRate * 0.5)));
}

PeakLimiter::Settings Settings(PeakLimiter::Law law, double fSampleRate = 44100, double fThresholdDb = -6,
                               double fMarginDb = -0.5, double fAttackMs = 20, double fReleaseMs = 50) {
    PeakLimiter::Settings settings;
    const bool bBrickwall = law == PeakLimiter::Law::Brickwall;
    settings.law = law;
    settings.fThreshold = static_cast<float>(std::exp(fThresholdDb * 0.115129255));
    settings.fCeiling = static_cast<float>(std::exp(fMarginDb * 0.115129255));
    settings.fMakeUp = static_cast<float>(std::exp((fMarginDb - fThresholdDb) * 0.115129255));
    settings.fPeakDecay = static_cast<float>(std::pow(0.03, 1.0 / (fSampleRate * 0.05)));
    settings.fAttack = bBrickwall ? Pole(200000.0 / fSampleRate, fSampleRate) : Pole(fAttackMs, fSampleRate);
    settings.fRelease = Pole(fReleaseMs, fSampleRate);
    return settings;
}

void Run(PeakLimiter& limiter, Stereo& x, std::size_t uFrom, std::size_t uFrames,
         DSP::LevelHistogram* histogram = nullptr) {
    limiter.Process(x.left.data() + uFrom, x.right.empty() ? nullptr : x.right.data() + uFrom,
                    static_cast<int>(uFrames), histogram);
}

Stereo Render(PeakLimiter& limiter, Stereo x, const std::vector<std::uint32_t>& blocks) {
    std::size_t uDone = 0;
    for (const std::uint32_t uFrames : blocks) {
        Run(limiter, x, uDone, uFrames);
        uDone += uFrames;
    }
    return x;
}

constexpr PeakLimiter::Law kLaws[] = {PeakLimiter::Law::Soft, PeakLimiter::Law::Brickwall};

}  // namespace

TEST_CASE("PeakLimiter follows the model's rings, window and gain, with and without inter-sample detection") {
    for (const PeakLimiter::Law law : kLaws) {
        for (const bool bInterSample : {false, true}) {
            for (const double fRate : {22050.0, 44100.0, 192000.0}) {
                CAPTURE(static_cast<int>(law));
                CAPTURE(bInterSample);
                CAPTURE(fRate);
                auto settings = Settings(law, fRate);
                settings.bInterSample = bInterSample;
                Test::PeakModel model{law == PeakLimiter::Law::Brickwall,
                                      double{settings.fThreshold},
                                      double{settings.fMakeUp},
                                      settings.fPeakDecay,
                                      settings.fAttack,
                                      settings.fRelease};
                const Stereo x = Test::StereoBursts(17, 20000, 6.0f);
                Stereo expected = x;
                model.Run(expected, Test::ModelPeaks(x, bInterSample));
                PeakLimiter limiter;
                limiter.Set(settings);
                Stereo out = x;
                const float fLeast = limiter.Process(out.left.data(), out.right.data(), 20000, nullptr);
                // The gain is a single-precision recursion with a memory of thousands of samples, entered by
                // targets that differ in the last place.
                CHECK(Test::WorstDifference(out.left, expected.left) < 2e-5f);
                CHECK(Test::WorstDifference(out.right, expected.right) < 2e-5f);
                CHECK(std::abs(fLeast - model.fLeastGain) < 2e-6f);
            }
        }
    }
}

TEST_CASE("Brickwall never lets a sample over the ceiling, at any rate, threshold, margin and release") {
    Test::Random random(99);
    float fWorst = 0.0f;
    int nLoud = 0;
    for (int nDraw = 0; nDraw < 400; ++nDraw) {
        constexpr double kRates[] = {22050, 44100, 48000, 88200, 96000, 176400, 192000};
        auto settings = Settings(PeakLimiter::Law::Brickwall, kRates[random.Between(0, 6)],
                                 -double{random.Uniform(0, 20)}, -double{random.Uniform(0, 5)}, 10,
                                 double{random.Uniform(10, 500)});
        settings.bInterSample = random.Between(0, 1) == 1;
        PeakLimiter limiter;
        limiter.Set(settings);
        const Stereo out = Render(limiter, Test::StereoBursts(random.Next(), 6000, 10.0f),
                                  Test::RandomCuts(random.Next(), 6000, 2000));
        for (std::size_t i = 0; i < 6000; ++i) {
            const float fPeak = std::max(std::abs(out.left[i]), std::abs(out.right[i]));
            fWorst = std::max(fWorst, fPeak / settings.fCeiling);
            if (fPeak > 0.99f * settings.fCeiling) ++nLoud;
        }
    }
    // Not a hair over, and it does reach the ceiling.
    CHECK(fWorst <= 1.0f);
    CHECK(nLoud > 10000);
}

TEST_CASE("PeakLimiter gives the same samples however the stream is cut, and again after a reset") {
    const Stereo x = Test::StereoBursts(4, 12000, 6.0f);
    for (const PeakLimiter::Law law : kLaws) {
        for (const bool bInterSample : {false, true}) {
            auto settings = Settings(law);
            settings.bInterSample = bInterSample;
            PeakLimiter limiter;
            limiter.Set(settings);
            const Stereo expected = Render(limiter, x, {12000});
            for (const std::uint32_t uBlock : {1u, 96u, 400u, 3000u}) {
                CAPTURE(uBlock);
                limiter.Reset();
                const Stereo out = Render(limiter, x, std::vector<std::uint32_t>(12000 / uBlock, uBlock));
                CHECK(Test::FirstDifference(out.left, expected.left) == -1);
                CHECK(Test::FirstDifference(out.right, expected.right) == -1);
            }
        }
    }
}

TEST_CASE("Under the threshold PeakLimiter delays by 262 frames and does nothing else") {
    PeakLimiter limiter;
    auto settings = Settings(PeakLimiter::Law::Brickwall, 44100, -6, -6);
    limiter.Set(settings);
    Stereo x{Test::Noise(1, 1000), Test::Noise(2, 1000)};
    for (auto* channel : {&x.left, &x.right}) {
        for (float& sample : *channel)
            sample *= 0.5f;
    }
    for (const PeakLimiter::Law law : kLaws) {
        settings.law = law;
        limiter.Set(settings);
        limiter.Reset();
        const Stereo out = Render(limiter, x, {1000});
        CHECK(Test::FirstDifference({out.left.begin() + 262, out.left.end()},
                                    {x.left.begin(), x.left.end() - 262}) == -1);
        CHECK(Test::FirstDifference({out.right.begin() + 262, out.right.end()},
                                    {x.right.begin(), x.right.end() - 262}) == -1);
        CHECK(out.left[261] == 0.0f);
    }
}

TEST_CASE("The detection may be switched in mid-stream: levels are those of a stream detected so all along") {
    // Seen through the histogram, whose entries are the detected levels: the switch is at frame 3000.
    const Stereo x = Test::StereoBursts(12, 6000, 3.0f);
    const auto counts = [&](bool bFirst, bool bThen) {
        DSP::LevelHistogram histogram;
        PeakLimiter limiter;
        Stereo y = x;
        auto settings = Settings(PeakLimiter::Law::Soft);
        settings.bInterSample = bFirst;
        limiter.Set(settings);
        Run(limiter, y, 0, 3000);
        settings.bInterSample = bThen;
        limiter.Set(settings);
        Run(limiter, y, 3000, 3000, &histogram);
        return histogram.Counts();
    };
    CHECK(counts(false, true) == counts(true, true));
    CHECK(counts(true, false) == counts(false, false));
    CHECK(counts(true, true) != counts(false, false));
}

TEST_CASE("What PeakLimiter's detection saw when it was last on is forgotten when it comes on again") {
    // On during silence, which leaves no trace in the sound; then off; then on in the middle of noise.
    Stereo x{Test::Noise(1, 5000), Test::Noise(2, 5000)};
    std::fill_n(x.left.begin(), 1100, 0.0f);
    std::fill_n(x.right.begin(), 1100, 0.0f);
    const auto render = [&](bool bFirst) {
        PeakLimiter limiter;
        Stereo y = x;
        auto settings = Settings(PeakLimiter::Law::Brickwall);
        // Nothing is held, so that every level shows.
        settings.fPeakDecay = settings.fAttack = settings.fRelease = 0.0f;
        settings.bInterSample = bFirst;
        limiter.Set(settings);
        Run(limiter, y, 0, 1000);
        settings.bInterSample = false;
        limiter.Set(settings);
        Run(limiter, y, 1000, 2000);
        settings.bInterSample = true;
        settings.law = PeakLimiter::Law::Soft;
        limiter.Set(settings);
        Run(limiter, y, 3000, 2000);
        return y;
    };
    const Stereo expected = render(false), y = render(true);
    CHECK(Test::FirstDifference(y.left, expected.left) == -1);
}

TEST_CASE("PeakLimiter allocates nothing at any length") {
    PeakLimiter limiter;
    Stereo x = Test::StereoBursts(1, 5000, 6.0f);
    auto settings = Settings(PeakLimiter::Law::Soft);
    settings.bInterSample = true;
    const Test::AllocationCounter counter;
    limiter.Set(settings);
    limiter.Process(x.left.data(), x.right.data(), 5000, nullptr);
    settings.law = PeakLimiter::Law::Brickwall;
    limiter.Set(settings);
    limiter.Process(x.left.data(), nullptr, 5000, nullptr);
    limiter.Reset();
    CHECK(counter.Count() == 0);
}
