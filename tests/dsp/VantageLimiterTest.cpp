#include "dsp/VantageLimiter.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "dsp/LookAheadStreamer.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/LimiterModels.h"
#include "tests/support/Signals.h"

using DSP::LookAheadStreamer;
using DSP::VantageLimiter;
using Test::Stereo;

namespace {

struct Set {
    int nSampleRate = 44100;
    float fThresholdDb = -6.0f;
    float fCharacter = 0.6f;
    bool bInterSample = false;
};

/// The limiter under its streamer, as a component runs it.
struct Rig {
    explicit Rig(const Set& set, int nChannels = 2) {
        limiter.SetThreshold(set.fThresholdDb);
        limiter.SetCharacter(set.fCharacter);
        limiter.SetInterSampleDetection(set.bInterSample);
        limiter.Initialise(nChannels, set.nSampleRate, 64);
        streamer.Configure(nChannels, nChannels, 64);
    }

    void Run(Stereo& x, std::size_t uFrom, std::size_t uFrames) {
        float* const channels[2] = {x.left.data() + uFrom,
                                    x.right.empty() ? nullptr : x.right.data() + uFrom};
        streamer.Process(channels, static_cast<int>(uFrames), nullptr);
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

    VantageLimiter limiter;
    LookAheadStreamer streamer{limiter};
};

std::vector<std::uint32_t> Blocks(std::size_t uTotal, std::uint32_t uBlock) {
    std::vector<std::uint32_t> blocks(uTotal / uBlock, uBlock);
    if (uTotal % uBlock != 0) blocks.push_back(static_cast<std::uint32_t>(uTotal % uBlock));
    return blocks;
}

bool SameBits(const Stereo& a, const Stereo& b) {
    return Test::FirstDifference(a.left, b.left) == -1 && Test::FirstDifference(a.right, b.right) == -1;
}

/// The worst relative difference of the gain that the rig applied from the model's, as a factor on what comes
/// out where something goes in.
double WorstGainError(const Stereo& in, const Stereo& out, const std::vector<double>& reduction,
                      int nLookAhead) {
    double fWorst = 0.0;
    const auto uDelay = static_cast<std::size_t>(nLookAhead);
    for (std::size_t i = 0; i + 2 * uDelay < in.left.size(); ++i) {
        const double fGain = std::exp(-reduction[i] * 0.115129255);
        const double fExpected = double{in.left[i]} * fGain;
        const double fError = std::abs(double{out.left[i + uDelay]} - fExpected);
        fWorst = std::max(fWorst, fError / std::max(std::abs(fExpected), 1e-3));
    }
    return fWorst;
}

}  // namespace

TEST_CASE("VantageLimiter takes off what the model takes off, at every rate and character") {
    // Relative. The states are single precision, and so are the sums of up to 257 taps over tens of dB.
    constexpr double kTolerance = 4e-6;
    const Set sets[] = {{44100, -6, 0.6f, false},  {44100, -6, 0.6f, true},   {44100, 0, 0.0f, false},
                        {44100, -3, 0.03f, false}, {44100, -3, 0.1f, true},   {44100, -12, 0.31f, false},
                        {44100, -20, 1.5f, false}, {44100, -9, 1.05f, false}, {44100, -6, 0.9f, true},
                        {8000, -6, 0.6f, true},    {22050, -6, 1.2f, true},   {48000, -1, 0.45f, false},
                        {96000, -6, 0.75f, true},  {192000, -6, 0.2f, false}};
    for (const Set& set : sets) {
        CAPTURE(set.nSampleRate);
        CAPTURE(set.fCharacter);
        CAPTURE(set.bInterSample);
        Stereo x = Test::StereoBursts(11, 20000, 4.0f);
        const Test::LookAheadModel model(set.nSampleRate, double{set.fThresholdDb}, double{set.fCharacter});
        Rig rig(set);
        CHECK(rig.streamer.Latency() == model.LookAhead());
        const auto reduction = model.Reduction(Test::ModelPeaks(x, set.bInterSample));
        const Stereo out = rig.Render(x, Test::RandomCuts(3, 20000, 900));
        CHECK(WorstGainError(x, out, reduction, model.LookAhead()) < kTolerance);
    }
}

TEST_CASE("VantageLimiter gives the same samples however the stream is cut, and again after a reset") {
    for (const bool bInterSample : {false, true}) {
        for (const float fCharacter : {0.0f, 0.1f, 0.6f, 1.5f}) {
            CAPTURE(bInterSample);
            CAPTURE(fCharacter);
            const Set set{44100, -10, fCharacter, bInterSample};
            const Stereo x = Test::StereoBursts(5, 20000, 8.0f);
            Rig whole(set);
            const Stereo expected = whole.Render(x, {20000});
            Rig rig(set);
            const std::vector<std::uint32_t> cuts[] = {Blocks(20000, 1),
                                                       Blocks(20000, 64),
                                                       Blocks(20000, 511),
                                                       Blocks(20000, 8192),
                                                       Blocks(20000, 705),
                                                       Test::RandomCuts(9, 20000, 40),
                                                       Test::RandomCuts(8, 20000, 3000)};
            for (const auto& blocks : cuts) {
                CAPTURE(blocks.front());
                rig.streamer.Reset();
                CHECK(SameBits(rig.Render(x, blocks), expected));
            }
        }
    }
}

TEST_CASE("Below the threshold samples pass bit by bit, delayed by the look-ahead; mono is left alone") {
    const Set set{44100, -6, 0.6f, false};
    const auto fThreshold = static_cast<float>(std::exp(-6 * 0.115129255));
    Stereo x{Test::Noise(1, 5000), Test::Noise(2, 5000)};
    for (std::size_t i = 0; i < 5000; ++i) {
        x.left[i] *= fThreshold;
        x.right[i] *= fThreshold;
    }
    Rig rig(set);
    const Stereo out = rig.Render(x, Blocks(5000, 64));
    REQUIRE(rig.streamer.Latency() == 706);
    CHECK(Test::FirstDifference({out.left.begin() + 706, out.left.end()},
                                {x.left.begin(), x.left.end() - 706}) == -1);
    CHECK(Test::FirstDifference({out.right.begin() + 706, out.right.end()},
                                {x.right.begin(), x.right.end() - 706}) == -1);
    CHECK(rig.limiter.LargestReduction() == 0.0f);

    for (const bool bInterSample : {false, true}) {
        Stereo loud = Test::StereoBursts(3, 8000, 4.0f);
        loud.right.assign(8000, 0.0f);
        const Stereo silent = Rig({44100, -6, 0.6f, bInterSample}).Render(loud, Blocks(8000, 100));
        const Stereo mono =
            Rig({44100, -6, 0.6f, bInterSample}, 1).Render({loud.left, {}}, Blocks(8000, 100));
        CHECK(Test::FirstDifference(mono.left, silent.left) == -1);
    }
}

TEST_CASE(
    "One sample above the threshold bends the gain twice half a filter before itself, and not earlier") {
    // Held to 32 samples on either side, then smoothed over 32 to either side.
    Stereo x{std::vector<float>(4000, 0.25f), std::vector<float>(4000, 0.25f)};
    x.right[2000] = -1.0f;
    Rig rig({44100, -6, 0.6f, false});
    const Stereo out = rig.Render(x, {4000});
    const auto at = [&](int nOffset) { return out.left[static_cast<std::size_t>(2000 + 706 + nOffset)]; };
    CHECK(at(-65) == 0.25f);
    CHECK(at(-64) < 0.25f);
    CHECK(at(-32) < 0.25f * 0.9f);
    // The full reduction of 6 dB on the sample itself.
    CHECK(std::abs(double{at(0)} - 0.25 * std::exp(-6 * 0.115129255)) < 1e-6);
    CHECK(std::abs(double{rig.limiter.LargestReduction()} - 6.0) < 1e-4);
}

TEST_CASE("Character 0 clips: only samples above the threshold change, to the threshold") {
    Stereo x{Test::Noise(7, 3000), Test::Noise(8, 3000)};
    Rig rig({44100, -6, 0.0f, false});
    const Stereo out = rig.Render(x, {3000});
    const double fThreshold = std::exp(-6 * 0.115129255);
    double fWorst = 0.0;
    for (std::size_t i = 0; i + 706 < 3000; ++i) {
        const double fPeak = std::max(std::abs(double{x.left[i]}), std::abs(double{x.right[i]}));
        const double fGain = fPeak > fThreshold ? fThreshold / fPeak : 1.0;
        fWorst = std::max(fWorst, std::abs(double{out.left[i + 706]} - fGain * double{x.left[i]}));
    }
    CHECK(fWorst < 1e-6);
}

TEST_CASE("A character set in mid-stream shapes the very next sample, wherever the blocks are cut") {
    const Stereo x = Test::StereoBursts(21, 9000, 4.0f);
    const auto peaks = Test::ModelPeaks(x, true);
    for (const auto& change :
         {std::pair{0.6f, 0.1f}, {0.05f, 1.5f}, {0.03f, 0.6f}, {0.9f, 0.0f}, {0.0f, 0.9f}}) {
        const float fBefore = change.first;
        const float fAfter = change.second;
        CAPTURE(fBefore);
        CAPTURE(fAfter);
        const auto render = [&](const std::vector<std::uint32_t>& head,
                                const std::vector<std::uint32_t>& tail) {
            Rig rig({44100, -6, fBefore, true});
            Stereo y = x;
            std::size_t uDone = 0;
            for (const std::uint32_t uFrames : head) {
                rig.Run(y, uDone, uFrames);
                uDone += uFrames;
            }
            rig.limiter.SetCharacter(fAfter);
            for (const std::uint32_t uFrames : tail) {
                rig.Run(y, uDone, uFrames);
                uDone += uFrames;
            }
            return y;
        };
        const Stereo y = render({5000}, {4000});
        CHECK(SameBits(render(Blocks(5000, 1), Blocks(4000, 7)), y));
        CHECK(SameBits(render(Test::RandomCuts(1, 5000, 600), Test::RandomCuts(2, 4000, 600)), y));
        const auto reduction =
            Test::LookAheadModel(44100, -6.0, double{fBefore}).Reduction(peaks, 5000, double{fAfter});
        CHECK(WorstGainError(x, y, reduction, 706) < 4e-6);
    }
}

TEST_CASE("Through every kind of character the states run on, wherever the blocks are cut") {
    // With release, without it, clipping, and back again, 2000 frames each.
    const Stereo x = Test::StereoBursts(22, 10000, 4.0f);
    const auto render = [&](std::uint32_t uLongest) {
        Rig rig({44100, -6, 0.6f, false});
        Stereo y = x;
        std::size_t uDone = 0;
        for (const float fCharacter : {0.6f, 0.03f, 0.0f, 0.03f, 0.6f}) {
            rig.limiter.SetCharacter(fCharacter);
            for (const std::uint32_t uFrames : Test::RandomCuts(uLongest, 2000, uLongest)) {
                rig.Run(y, uDone, uFrames);
                uDone += uFrames;
            }
        }
        return y;
    };
    const Stereo expected = render(2000);
    CHECK(SameBits(render(1), expected));
    CHECK(SameBits(render(50), expected));
    CHECK(SameBits(render(800), expected));
}

TEST_CASE("Inter-sample detection may be switched anywhere in a stream, wherever the blocks are cut") {
    const Stereo x = Test::StereoBursts(31, 9000, 3.0f);
    const auto render = [&](std::uint32_t uBlock) {
        Rig rig({44100, -6, 0.6f, false});
        Stereo y = x;
        for (std::size_t uDone = 0; uDone < 9000; uDone += uBlock) {
            // On from 3000 to 3004, and from 6000 on.
            const bool bOn = (uDone >= 3000 && uDone < 3004) || uDone >= 6000;
            rig.limiter.SetInterSampleDetection(bOn);
            rig.Run(y, uDone, uBlock);
        }
        return y;
    };
    const Stereo expected = render(4);
    CHECK(SameBits(render(1), expected));
    CHECK(SameBits(render(2), expected));
    const Stereo off = Rig({44100, -6, 0.6f, false}).Render(x, {9000});
    const Stereo on = Rig({44100, -6, 0.6f, true}).Render(x, {9000});
    CHECK(Test::FirstDifference({off.left.begin(), off.left.begin() + 3000},
                                {expected.left.begin(), expected.left.begin() + 3000}) == -1);
    // The over values of the look-ahead have passed, and the states agree with the model's to their rounding.
    CHECK(Test::WorstDifference({on.left.begin() + 8500, on.left.end()},
                                {expected.left.begin() + 8500, expected.left.end()}) < 1e-3f);
}

TEST_CASE("What the detection saw when it was last on is forgotten when it comes on again") {
    // On during silence, which leaves no trace in the sound; then off; then on in the middle of noise.
    Stereo x{Test::Noise(1, 5000), Test::Noise(2, 5000)};
    std::fill_n(x.left.begin(), 1100, 0.0f);
    std::fill_n(x.right.begin(), 1100, 0.0f);
    const auto render = [&](bool bFirst) {
        Rig rig({44100, -6, 0.0f, bFirst});
        Stereo y = x;
        rig.Run(y, 0, 1000);
        rig.limiter.SetInterSampleDetection(false);
        rig.Run(y, 1000, 2000);
        rig.limiter.SetInterSampleDetection(true);
        rig.Run(y, 3000, 2000);
        return y;
    };
    CHECK(SameBits(render(true), render(false)));
}

TEST_CASE("VantageLimiter allocates nothing, however long a block is, whatever is set") {
    Rig rig({44100, -6, 0.6f, true});
    Stereo x = Test::StereoBursts(1, 6000, 4.0f);
    rig.Run(x, 0, 6000);
    float* const channels[2] = {x.left.data(), x.right.data()};
    const Test::AllocationCounter counter;
    rig.limiter.SetCharacter(0.05f);
    rig.limiter.SetThreshold(-20);
    rig.limiter.SetInterSampleDetection(false);
    rig.streamer.Process(channels, 6000, nullptr);
    rig.limiter.SetInterSampleDetection(true);
    rig.limiter.SetCharacter(1.5f);
    rig.streamer.Process(channels, 100, nullptr);
    rig.limiter.Process(channels, 5000, nullptr);
    rig.streamer.Reset();
    CHECK(counter.Count() == 0);
}

TEST_CASE("Every rate from 8000 Hz on detects as far ahead as the activity looks") {
    for (int nRate = 8000; nRate < 400000; nRate += 37) {
        DSP::LimiterCharacter character;
        character.SetUp(nRate);
        const int nLookAhead = 1 + static_cast<int>(nRate * 0.016);
        REQUIRE(character.nHalfWidth + character.nActivitySpan <=
                nLookAhead - DSP::InterSampleDetector::kDelay);
        REQUIRE(2 * character.nHalfWidth <= nLookAhead - DSP::InterSampleDetector::kDelay);
    }
}
