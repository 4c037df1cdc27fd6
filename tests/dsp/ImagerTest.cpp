#include "dsp/Imager.h"

#include <doctest/doctest.h>

#include <cmath>

#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

using Test::RunBlocks;
using Test::RunWhole;
using Test::Stereo;

namespace {

enum : std::uint32_t { kWidth = 0, kDelay = 4, kWholeSignal = 4 };
enum : std::uint32_t { kBypass, kSoloMute, kMono, kSwitch, kInvertLeft, kInvertRight };

struct Fixture {
    Test::TestContext context;
    DSP::Imager imager{context};
    Component& component = imager;

    Fixture() { component.SetBool(kBypass, false); }
};

/// The samples so many frames later, zeros first.
std::vector<float> Late(const std::vector<float>& samples, std::size_t uFrames) {
    std::vector<float> late(samples.size(), 0.0f);
    for (std::size_t i = uFrames; i < samples.size(); ++i)
        late[i] = samples[i - uFrames];
    return late;
}

Stereo Widened(Stereo audio, float fWidth) {
    const auto w = static_cast<float>(1.0 + double{fWidth});
    for (std::size_t i = 0; i < audio.left.size(); ++i) {
        const float fMid = audio.left[i] + audio.right[i];
        const float fSide = (audio.left[i] - audio.right[i]) * w;
        audio.left[i] = (fMid + fSide) * 0.5f;
        audio.right[i] = (fMid - fSide) * 0.5f;
    }
    return audio;
}

}  // namespace

TEST_CASE("Imager: a band is delayed to the sample, left for negative values, and then widened") {
    Test::Random random(1);
    for (int nRound = 0; nRound < 60; ++nRound) {
        Fixture f;
        const std::uint32_t rates[] = {44100, 8000, 88200, 192000};
        const std::uint32_t uRate = rates[nRound % 4];
        const std::uint32_t uBand = random.Between(0, 3);
        const float fWidth = nRound % 3 == 0 ? -1.0f : random.Uniform(-1, 1);
        const float fDelay = nRound % 5 == 0 ? 0.0f : random.Uniform(-30, 30);
        CAPTURE(uRate);
        CAPTURE(fDelay);
        f.component.SetSampleRate(uRate);
        f.component.SetFloat(kWidth + uBand, fWidth);
        f.component.SetFloat(kDelay + uBand, fDelay);
        f.component.SetFloat(kDelay + (uBand + 1) % 4, -fDelay);

        const Stereo input = Test::StereoNoise(random.Next(), 8000);
        const float fLine = std::round(static_cast<float>(uRate) * (std::abs(fDelay) / 1000.0f));
        const auto uDelay = static_cast<std::size_t>(std::max(fLine, 1.0f)) - 1;
        const Stereo expected = Widened(
            {Late(input.left, fDelay < 0 ? uDelay : 0), Late(input.right, fDelay < 0 ? 0 : uDelay)}, fWidth);
        RunWhole(f.component, (uBand + 1) % 4, input);
        const Stereo output =
            RunBlocks(f.component, uBand, input, Test::RandomCuts(random.Next(), 8000, 600));
        CHECK(Same(output, expected));
        if (fWidth == -1.0f) CHECK(Test::FirstDifference(output.left, output.right) == -1);
    }
}

TEST_CASE("Imager: the channel operations are switch, invert left, invert right and mono, in this order") {
    Fixture f;
    f.component.SetBool(kBypass, true);
    const Stereo input = Test::StereoNoise(3, 700);
    for (std::uint32_t uFlags = 0; uFlags < 16; ++uFlags) {
        CAPTURE(uFlags);
        const bool bMono = uFlags & 1, bSwitch = uFlags & 2, bLeft = uFlags & 4, bRight = uFlags & 8;
        f.component.SetBool(kMono, bMono);
        f.component.SetBool(kSwitch, bSwitch);
        f.component.SetBool(kInvertLeft, bLeft);
        f.component.SetBool(kInvertRight, bRight);
        Stereo expected = input;
        for (std::size_t i = 0; i < 700; ++i) {
            float& l = expected.left[i];
            float& r = expected.right[i];
            if (bSwitch) std::swap(l, r);
            if (bLeft) l = -l;
            if (bRight) r = -r;
            if (bMono) l = r = (l + r) * 0.5f;
        }
        CHECK(Same(RunBlocks(f.component, kWholeSignal, input, {1, 0, 16, 683}), expected));
        // They leave the bands alone.
        CHECK(Same(RunWhole(f.component, 0, input), input));
    }
    // A mono block passes both.
    f.component.SetBool(kBypass, false);
    f.component.SetFloat(kWidth, 1);
    f.component.SetFloat(kDelay, -30);
    const Stereo mono{input.left, {}};
    CHECK(Same(RunWhole(f.component, 0, mono), mono));
    CHECK(Same(RunWhole(f.component, kWholeSignal, mono), mono));
}
