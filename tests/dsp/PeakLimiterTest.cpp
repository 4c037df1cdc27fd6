#include "dsp/PeakLimiter.h"

#include <doctest/doctest.h>

#include "dsp/LevelHistogram.h"
#include "tests/support/LimiterModels.h"

using DSP::PeakLimiter;
using Test::Stereo;
using Law = PeakLimiter::Law;

namespace {

float Pole(double fTimeMs, double fSampleRate) {
    return static_cast<float>(std::exp(-1000.0 / fTimeMs / (fSampleRate * 0.5)));
}

PeakLimiter::Settings Settings(Law law, bool bInterSample = false, double fSampleRate = 44100,
                               double fThresholdDb = -6, double fMarginDb = -0.5, double fReleaseMs = 50) {
    PeakLimiter::Settings settings;
    settings.law = law;
    settings.bInterSample = bInterSample;
    settings.fThreshold = static_cast<float>(std::exp(fThresholdDb * 0.115129255));
    settings.fCeiling = static_cast<float>(std::exp(fMarginDb * 0.115129255));
    settings.fMakeUp = static_cast<float>(std::exp((fMarginDb - fThresholdDb) * 0.115129255));
    settings.fPeakDecay = static_cast<float>(std::pow(0.03, 1.0 / (fSampleRate * 0.05)));
    settings.fAttack = Pole(law == Law::Brickwall ? 200000.0 / fSampleRate : 20, fSampleRate);
    settings.fRelease = Pole(fReleaseMs, fSampleRate);
    return settings;
}

/// A limiter under settings that change in mid-stream.
struct Rig {
    explicit Rig(const Stereo& audio) : x(audio) {}

    void Run(const PeakLimiter::Settings& settings, std::uint32_t uFrames,
             DSP::LevelHistogram* histogram = nullptr) {
        limiter.Set(settings);
        limiter.Process(x.left.data() + uDone, x.right.data() + uDone, static_cast<int>(uFrames), histogram);
        uDone += uFrames;
    }
    PeakLimiter limiter;
    Stereo x;
    std::size_t uDone = 0;
};

}  // namespace

TEST_CASE("PeakLimiter follows the model's rings, window and gain, with and without inter-sample detection") {
    const Stereo x = Test::StereoBursts(17, 20000, 6.0f);
    for (const bool bInterSample : {false, true}) {
        const auto peaks = Test::ModelPeaks(x, bInterSample);
        for (const Law law : {Law::Soft, Law::Brickwall}) {
            for (const double fRate : {22050.0, 44100.0, 192000.0}) {
                CAPTURE(static_cast<int>(law));
                CAPTURE(bInterSample);
                CAPTURE(fRate);
                const auto settings = Settings(law, bInterSample, fRate);
                Test::PeakModel model{law == Law::Brickwall,    double{settings.fThreshold},
                                      double{settings.fMakeUp}, settings.fPeakDecay,
                                      settings.fAttack,         settings.fRelease};
                Stereo expected = x;
                model.Run(expected, peaks);
                PeakLimiter limiter;
                limiter.Set(settings);
                float fLeast = 1.0f;
                const Stereo out = InBlocks(x, Test::RandomCuts(5, 20000, 3000), [&](auto... block) {
                    fLeast = std::min(fLeast, limiter.Process(block..., nullptr));
                });
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
        const auto settings = Settings(Law::Brickwall, random.Between(0, 1) == 1,
                                       kRates[random.Between(0, 6)], -double{random.Uniform(0, 20)},
                                       -double{random.Uniform(0, 5)}, double{random.Uniform(10, 500)});
        Rig rig(Test::StereoBursts(random.Next(), 6000, 10.0f));
        for (const std::uint32_t uFrames : Test::RandomCuts(random.Next(), 6000, 2000))
            rig.Run(settings, uFrames);
        for (std::size_t i = 0; i < 6000; ++i) {
            const float fPeak = std::max(std::abs(rig.x.left[i]), std::abs(rig.x.right[i]));
            fWorst = std::max(fWorst, fPeak / settings.fCeiling);
            if (fPeak > 0.99f * settings.fCeiling) ++nLoud;
        }
    }
    // Not a hair over, and it does reach the ceiling.
    CHECK(fWorst <= 1.0f);
    CHECK(nLoud > 10000);
}

TEST_CASE("Under the threshold PeakLimiter delays by 262 frames and does nothing else") {
    const Stereo x = Test::StereoNoise(1, 1000, 0.5f);
    for (const Law law : {Law::Soft, Law::Brickwall}) {
        Rig rig(x);
        rig.Run(Settings(law, false, 44100, -6, -6), 1000);
        for (const auto channel : {&Stereo::left, &Stereo::right}) {
            std::vector<float> expected(262, 0.0f);
            expected.insert(expected.end(), (x.*channel).begin(), (x.*channel).end() - 262);
            CHECK(Test::FirstDifference(rig.x.*channel, expected) == -1);
        }
    }
}

TEST_CASE(
    "PeakLimiter: the detection may be switched in mid-stream, levels are as if so detected all along") {
    // Seen through the histogram, whose entries are the detected levels: the switch is at frame 3000.
    const auto counts = [&](bool bFirst, bool bThen) {
        DSP::LevelHistogram histogram;
        Rig rig(Test::StereoBursts(12, 6000, 3.0f));
        rig.Run(Settings(Law::Soft, bFirst), 3000);
        rig.Run(Settings(Law::Soft, bThen), 3000, &histogram);
        return histogram.Counts();
    };
    CHECK(counts(false, true) == counts(true, true));
    CHECK(counts(true, false) == counts(false, false));
    CHECK(counts(true, true) != counts(false, false));
}

TEST_CASE("What PeakLimiter's detection saw when it was last on is forgotten when it comes on again") {
    // On during silence, which leaves no trace in the sound; then off; then on in the middle of noise.
    Stereo x = Test::StereoNoise(1, 5000);
    std::fill_n(x.left.begin(), 1100, 0.0f);
    std::fill_n(x.right.begin(), 1100, 0.0f);
    const auto render = [&](bool bFirst) {
        auto settings = Settings(Law::Soft, bFirst);
        // Nothing is held, so that every level shows.
        settings.fPeakDecay = settings.fAttack = settings.fRelease = 0.0f;
        Rig rig(x);
        rig.Run(settings, 1000);
        settings.bInterSample = false;
        rig.Run(settings, 2000);
        settings.bInterSample = true;
        rig.Run(settings, 2000);
        return rig.x;
    };
    CHECK(Same(render(false), render(true)));
}
