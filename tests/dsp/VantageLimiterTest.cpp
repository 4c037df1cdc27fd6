#include "dsp/VantageLimiter.h"

#include <doctest/doctest.h>

#include "dsp/LookAheadStreamer.h"
#include "tests/support/LimiterModels.h"

using DSP::VantageLimiter;
using Test::Stereo;

namespace {

struct Set {
    int nSampleRate = 44100;
    float fThresholdDb = -6.0f;
    float fCharacter = 0.6f;
    bool bInterSample = false;
};

/// The limiter under its streamer, as a component runs it, over a stream.
struct Rig {
    Rig(const Set& set, const Stereo& audio) : x(audio) {
        const int nChannels = x.right.empty() ? 1 : 2;
        limiter.SetThreshold(set.fThresholdDb);
        limiter.SetCharacter(set.fCharacter);
        limiter.SetInterSampleDetection(set.bInterSample);
        limiter.Initialise(nChannels, set.nSampleRate, 64);
        streamer.Configure(nChannels, nChannels, 64);
    }
    /// The next so many frames, in blocks of random lengths.
    Rig& Run(std::uint32_t uFrames, std::uint32_t uLongest) {
        const auto process = [&](float* left, float* right, int nFrames) {
            float* const channels[] = {left, right};
            streamer.Process(channels, nFrames, nullptr);
        };
        x = InBlocks(x, Test::RandomCuts(uLongest, uFrames, uLongest), process, uDone);
        uDone += uFrames;
        return *this;
    }

    VantageLimiter limiter;
    DSP::LookAheadStreamer streamer{limiter};
    Stereo x;
    std::size_t uDone = 0;
};

/// The worst relative difference of the gain that the rig applied from the model's, as a factor on what comes
/// out where something goes in.
double WorstGainError(const Stereo& in, const Stereo& out, const std::vector<double>& reduction,
                      int nLookAhead) {
    double fWorst = 0.0;
    const auto uDelay = static_cast<std::size_t>(nLookAhead);
    for (std::size_t i = 0; i + 2 * uDelay < in.left.size(); ++i) {
        const double fExpected = double{in.left[i]} * std::exp(-reduction[i] * 0.115129255);
        const double fError = std::abs(double{out.left[i + uDelay]} - fExpected);
        fWorst = std::max(fWorst, fError / std::max(std::abs(fExpected), 1e-3));
    }
    return fWorst;
}

// Relative. The states are single precision, and so are the sums of up to 257 taps over tens of dB.
constexpr double kTolerance = 4e-6;

}  // namespace

TEST_CASE("VantageLimiter takes off what the model takes off, at every rate and character") {
    const Set sets[] = {{44100, -6, 0.6f, false},  {44100, -6, 0.6f, true},   {44100, 0, 0.0f, false},
                        {44100, -3, 0.03f, false}, {44100, -3, 0.1f, true},   {44100, -12, 0.31f, false},
                        {44100, -20, 1.5f, false}, {44100, -9, 1.05f, false}, {44100, -6, 0.9f, true},
                        {8000, -6, 0.6f, true},    {22050, -6, 1.2f, true},   {48000, -1, 0.45f, false},
                        {96000, -6, 0.75f, true},  {192000, -6, 0.2f, false}};
    const Stereo x = Test::StereoBursts(11, 20000, 4.0f);
    for (const Set& set : sets) {
        CAPTURE(set.nSampleRate);
        CAPTURE(set.fCharacter);
        CAPTURE(set.bInterSample);
        const Test::LookAheadModel model(set.nSampleRate, double{set.fThresholdDb}, double{set.fCharacter});
        Rig rig(set, x);
        CHECK(rig.streamer.Latency() == model.LookAhead());
        const auto reduction = model.Reduction(Test::ModelPeaks(x, set.bInterSample));
        CHECK(WorstGainError(x, rig.Run(20000, 900).x, reduction, model.LookAhead()) < kTolerance);
        Rig whole(set, x);
        CHECK(Same(whole.Run(20000, 20000).x, rig.x));
    }
}

TEST_CASE("VantageLimiter passes samples below the threshold bit by bit, and mono as beside a silent right") {
    const Stereo x = Test::StereoNoise(1, 5000, static_cast<float>(std::exp(-6 * 0.115129255)));
    Rig rig({}, x);
    rig.Run(5000, 64);
    for (const auto channel : {&Stereo::left, &Stereo::right}) {
        std::vector<float> expected(706, 0.0f);
        expected.insert(expected.end(), (x.*channel).begin(), (x.*channel).end() - 706);
        CHECK(Test::FirstDifference(rig.x.*channel, expected) == -1);
    }
    CHECK(rig.limiter.LargestReduction() == 0.0f);

    for (const bool bInterSample : {false, true}) {
        Stereo loud = Test::StereoBursts(3, 8000, 4.0f);
        loud.right.assign(8000, 0.0f);
        Rig stereo({44100, -6, 0.6f, bInterSample}, loud),
            mono({44100, -6, 0.6f, bInterSample}, {loud.left, {}});
        CHECK(Same(mono.Run(8000, 100).x, {stereo.Run(8000, 100).x.left, {}}));
    }
}

TEST_CASE("VantageLimiter: a character set in mid-stream shapes the very next sample, wherever blocks end") {
    const Stereo x = Test::StereoBursts(21, 9000, 4.0f);
    const auto peaks = Test::ModelPeaks(x, true);
    for (const auto& change :
         {std::pair{0.6f, 0.1f}, {0.05f, 1.5f}, {0.03f, 0.6f}, {0.9f, 0.0f}, {0.0f, 0.9f}}) {
        const float fBefore = change.first;
        const float fAfter = change.second;
        CAPTURE(fBefore);
        CAPTURE(fAfter);
        const auto render = [&](std::uint32_t uLongest) {
            Rig rig({44100, -6, fBefore, true}, x);
            rig.Run(5000, uLongest).limiter.SetCharacter(fAfter);
            return rig.Run(4000, uLongest).x;
        };
        const Stereo y = render(5000);
        CHECK(Same(render(1), y));
        CHECK(Same(render(600), y));
        const auto reduction =
            Test::LookAheadModel(44100, -6.0, double{fBefore}).Reduction(peaks, 5000, double{fAfter});
        CHECK(WorstGainError(x, y, reduction, 706) < kTolerance);
    }
    // Through every kind, with release, without it, clipping, and back again, the states run on.
    const auto render = [&](std::uint32_t uLongest) {
        Rig rig({}, x);
        for (const float fCharacter : {0.6f, 0.03f, 0.0f, 0.03f, 0.6f}) {
            rig.limiter.SetCharacter(fCharacter);
            rig.Run(1800, uLongest);
        }
        return rig.x;
    };
    const Stereo expected = render(1800);
    CHECK(Same(render(1), expected));
    CHECK(Same(render(50), expected));
}

TEST_CASE("VantageLimiter: inter-sample detection may be switched anywhere, wherever blocks end") {
    const Stereo x = Test::StereoBursts(31, 9000, 3.0f);
    const auto render = [&](std::uint32_t uLongest) {
        Rig rig({}, x);
        // On from 3000 to 3004, and from 6000 on.
        for (const std::uint32_t uFrames : {3000u, 4u, 2996u, 3000u}) {
            rig.limiter.SetInterSampleDetection(uFrames == 4 || rig.uDone == 6000);
            rig.Run(uFrames, uLongest);
        }
        return rig.x;
    };
    const Stereo y = render(4000);
    CHECK(Same(render(1), y));
    CHECK(Same(render(700), y));
    const Stereo off = Rig({44100, -6, 0.6f, false}, x).Run(9000, 9000).x;
    const Stereo on = Rig({44100, -6, 0.6f, true}, x).Run(9000, 9000).x;
    CHECK(std::equal(off.left.begin(), off.left.begin() + 3000, y.left.begin()));
    // The over values of the look-ahead have passed, and the states agree with the model's to their rounding.
    CHECK(Test::WorstDifference({on.left.begin() + 8500, on.left.end()},
                                {y.left.begin() + 8500, y.left.end()}) < 1e-3f);
}

TEST_CASE("What VantageLimiter's detection saw when it was last on is forgotten when it comes on again") {
    // On during silence, which leaves no trace in the sound; then off; then on in the middle of noise.
    Stereo x = Test::StereoNoise(1, 5000);
    std::fill_n(x.left.begin(), 1100, 0.0f);
    std::fill_n(x.right.begin(), 1100, 0.0f);
    const auto render = [&](bool bFirst) {
        Rig rig({44100, -6, 0.0f, bFirst}, x);
        rig.Run(1000, 1000).limiter.SetInterSampleDetection(false);
        rig.Run(2000, 2000).limiter.SetInterSampleDetection(true);
        return rig.Run(2000, 2000).x;
    };
    CHECK(Same(render(true), render(false)));
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
