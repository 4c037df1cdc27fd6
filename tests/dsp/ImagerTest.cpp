#include "dsp/Imager.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "hvBase/Util/ByteStream.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

using DSP::Imager;
using Test::RunBlocks;
using Test::RunWhole;
using Test::Stereo;

namespace {

enum : std::uint32_t { kWidth = 0, kDelay = 4 };
enum : std::uint32_t { kBypass, kSoloMute, kMono, kSwitch, kInvertLeft, kInvertRight };

struct Fixture {
    Test::TestContext context;
    Imager imager{context};
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

TEST_CASE("Imager declares its table") {
    Test::TestContext context;
    Imager imager(context);
    Component& component = imager;
    REQUIRE(component.Count(ParameterGroup::Float) == 8);
    REQUIRE(component.Count(ParameterGroup::Bool) == 6);
    CHECK(component.Count(ParameterGroup::Int) == 0);
    const char* const floats[] = {"IMG: Band 1 Width", "IMG: Band 2 Width", "IMG: Band 3 Width",
                                  "IMG: Band 4 Width", "IMG: Band 1 Delay", "IMG: Band 2 Delay",
                                  "IMG: Band 3 Delay", "IMG: Band 4 Delay"};
    for (std::uint32_t i = 0; i < 8; ++i) {
        const FloatRecord& record = component.FloatInfo(i);
        CHECK(record.strName == floats[i]);
        CHECK(record.strUnits.empty());
        CHECK(record.fMax == (i < 4 ? 1.0f : 30.0f));
        CHECK(record.fMin == -record.fMax);
        CHECK(record.fDefault == 0);
        CHECK(record.bAutomatable);
        CHECK(record.presetGroup == PresetGroup::Imager);
    }
    const char* const bools[] = {"IMG: Bypass",       "IMG: Solo Mute",  "CHOPS: Mono",
                                 "CHOPS: Switch L/R", "CHOPS: Invert L", "CHOPS: Invert R"};
    for (std::uint32_t i = 0; i < 6; ++i) {
        const BoolRecord& record = component.BoolInfo(i);
        CHECK(record.strName == bools[i]);
        CHECK(record.bDefault == (i == 0));
        CHECK(component.GetBool(i) == (i == 0));
        CHECK(record.bAutomatable == (i != 1));
        CHECK(record.presetGroup == PresetGroup::Imager);
    }
    CHECK(component.Name() == "Imager::Imager");
}

TEST_CASE("Imager's setters clamp, mark a change only, and tell of activity") {
    Fixture f;
    const int nDirty = f.context.nDirty;
    const int nRequests = f.context.nActivityRequests;
    f.component.SetFloat(kWidth + 1, -7);
    f.component.SetFloat(kDelay + 1, 40);
    f.component.SetFloat(kDelay + 1, 30);
    f.component.SetBool(kMono, true);
    f.component.SetBool(kMono, true);
    CHECK(f.component.GetFloat(kWidth + 1) == -1);
    CHECK(f.component.GetFloat(kDelay + 1) == 30);
    CHECK(f.context.nDirty == nDirty + 3);
    CHECK(f.context.nActivityRequests == nRequests);
    f.component.SetBool(kSoloMute, true);
    CHECK_FALSE(f.imager.IsActive());
    CHECK(f.context.nActivityRequests == nRequests + 1);
    CHECK(f.imager.GetLatency() == 0);
}

TEST_CASE("A band is delayed to the sample, then widened, at any rate and however the stream is cut") {
    Test::Random random(1);
    for (int nRound = 0; nRound < 60; ++nRound) {
        Fixture f;
        const std::uint32_t rates[] = {8000, 44100, 88200, 192000};
        const std::uint32_t uRate = rates[random.Between(0, 3)];
        const std::uint32_t uBand = random.Between(0, 3);
        const float fWidth = random.Uniform(-1, 1);
        const float fDelay = nRound % 4 == 0 ? 0.0f : random.Uniform(-30, 30);
        CAPTURE(uRate);
        CAPTURE(fDelay);
        f.component.SetSampleRate(uRate);
        f.component.SetFloat(kWidth + uBand, fWidth);
        f.component.SetFloat(kDelay + uBand, fDelay);

        const Stereo input = Test::StereoNoise(random.Next(), 8000);
        const float fLine = std::round(static_cast<float>(uRate) * (std::abs(fDelay) / 1000.0f));
        const auto uDelay = static_cast<std::size_t>(std::max(fLine, 1.0f)) - 1;
        const Stereo expected = Widened(
            {Late(input.left, fDelay < 0 ? uDelay : 0), Late(input.right, fDelay < 0 ? 0 : uDelay)}, fWidth);
        CHECK(
            Same(RunBlocks(f.component, uBand, input, Test::RandomCuts(random.Next(), 8000, 600)), expected));
        f.imager.ClearState();
        CHECK(Same(RunWhole(f.component, uBand, input), expected));
    }
}

TEST_CASE("30 ms at 44100 Hz are 1322 samples: right for positive values, left for negative ones") {
    Fixture f;
    Stereo impulse{std::vector<float>(3000, 0.0f), std::vector<float>(3000, 0.0f)};
    impulse.left[0] = 1.0f;
    impulse.right[0] = 0.5f;
    f.component.SetFloat(kDelay, 30);
    Stereo output = RunWhole(f.component, 0, impulse);
    CHECK(output.left[0] == 1.0f);
    CHECK(output.right[0] == 0.0f);
    CHECK(output.right[1322] == 0.5f);
    f.component.SetFloat(kDelay, -30);
    output = RunWhole(f.component, 0, impulse);
    CHECK(output.left[1322] == 1.0f);
    CHECK(output.right[0] == 0.5f);
}

TEST_CASE("Width -1 is mono, 0 the band itself, 1 twice the side signal") {
    Fixture f;
    const Stereo input = Test::StereoNoise(2, 500);
    for (const float fWidth : {-1.0f, 0.0f, 1.0f}) {
        f.component.SetFloat(kWidth, fWidth);
        const Stereo output = RunWhole(f.component, 0, input);
        for (std::size_t i = 0; i < 500; ++i) {
            const float fMid = (input.left[i] + input.right[i]) / 2,
                        fSide = (input.left[i] - input.right[i]) / 2;
            REQUIRE(std::abs(output.left[i] - (fMid + fSide * (1 + fWidth))) < 3e-7f);
            REQUIRE(std::abs(output.right[i] - (fMid - fSide * (1 + fWidth))) < 3e-7f);
            if (fWidth == -1.0f) REQUIRE(output.left[i] == output.right[i]);
        }
    }
}

TEST_CASE("The channel operations run in the order switch, invert left, invert right, mono") {
    Fixture f;
    f.component.SetBool(kBypass, true);
    f.component.SetFloat(kWidth, 0.5f);
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
        CHECK(Same(RunBlocks(f.component, 4, input, {1, 0, 16, 683}), expected));
        // The flags leave the bands alone, and the bands' bypass leaves the flags alone.
        CHECK(Same(RunWhole(f.component, 0, input), input));
        CHECK(Same(RunWhole(f.component, 5, input), input));
    }
}

TEST_CASE("A mono block passes bit by bit, in the bands and in the channel operations") {
    Fixture f;
    for (std::uint32_t i = kMono; i <= kInvertRight; ++i)
        f.component.SetBool(i, true);
    f.component.SetFloat(kWidth, 1);
    f.component.SetFloat(kDelay, -30);
    const Stereo mono{Test::Noise(4, 900), {}};
    CHECK(Same(RunWhole(f.component, 0, mono), mono));
    CHECK(Same(RunWhole(f.component, 4, mono), mono));
}

TEST_CASE("The same rate keeps what the lines hold; another rate, another delay and a reset clear them") {
    Fixture f;
    f.component.SetFloat(kDelay, 10);
    f.component.SetFloat(kWidth + 1, 0.5f);
    const Stereo ones{std::vector<float>(1000, 1.0f), std::vector<float>(1000, 1.0f)};
    const Stereo silence{std::vector<float>(100, 0.0f), std::vector<float>(100, 0.0f)};
    const auto held = [&] { return RunWhole(f.component, 0, silence).right[0] != 0.0f; };
    RunWhole(f.component, 0, ones);
    f.component.SetSampleRate(44100);
    CHECK(held());
    RunWhole(f.component, 0, ones);
    f.component.SetSampleRate(48000);
    CHECK_FALSE(held());
    RunWhole(f.component, 0, ones);
    f.component.SetFloat(kDelay, 9);
    CHECK_FALSE(held());
    RunWhole(f.component, 0, ones);
    f.imager.ClearState();
    CHECK_FALSE(held());
}

TEST_CASE("A band's settings travel as width and delay, both or none, and the host hears of each") {
    Fixture f;
    f.component.SetFloat(kWidth, 0.25f);
    f.component.SetFloat(kDelay, -12);
    Util::ByteStream stream;
    f.imager.CopyBand(0, stream);
    CHECK(stream.Length() == 8);
    stream.Seek(0);
    f.context.events.clear();
    f.imager.PasteBand(2, stream);
    CHECK(f.component.GetFloat(kWidth + 2) == 0.25f);
    CHECK(f.component.GetFloat(kDelay + 2) == -12);
    using Event = Test::TestContext::Event;
    const auto value = ParameterPhase::Value;
    CHECK(f.context.events == std::vector<Event>{{ParameterGroup::Float, value, 2, 0.25f},
                                                 {ParameterGroup::Float, value, 6, -12.0f}});
    f.imager.ResetBand(2);
    CHECK(f.component.GetFloat(kWidth + 2) == 0);
    CHECK(f.component.GetFloat(kDelay + 2) == 0);
    stream.Seek(4);
    CHECK_THROWS(f.imager.PasteBand(1, stream));
    CHECK(f.component.GetFloat(kWidth + 1) == 0);
}

TEST_CASE("The imager forgets damage with its delay, and no storm of parameters allocates") {
    Fixture f;
    f.component.SetFloat(kDelay, 30);
    Stereo input = Test::StereoNoise(5, 4000);
    const Stereo clean = RunWhole(f.component, 0, input);
    f.imager.ClearState();
    input.left[10] = std::numeric_limits<float>::quiet_NaN();
    input.right[20] = std::numeric_limits<float>::infinity();
    const Stereo output = RunWhole(f.component, 0, input);
    for (std::size_t i = 20 + 1322 + 1; i < 4000; ++i) {
        REQUIRE(output.left[i] == clean.left[i]);
        REQUIRE(output.right[i] == clean.right[i]);
    }

    f.component.SetSampleRate(192000);
    f.component.SetActive(true);
    Test::Random random(6);
    const Stereo noise = Test::StereoNoise(7, 1024);
    Stereo audio = noise;
    bool bFinite = true;
    Test::AllocationCounter counter;
    for (int nRound = 0; nRound < 3000; ++nRound) {
        f.component.SetFloat(random.Between(0, 3), random.Uniform(-1.2f, 1.2f));
        f.component.SetFloat(random.Between(4, 7), random.Uniform(-40, 40));
        f.component.SetBool(random.Between(0, 5), random.Next() % 2 == 0);
        audio.left = noise.left;
        audio.right = noise.right;
        f.component.SetStage(random.Between(0, 5));
        f.component.ProcessAutomated({}, random.Between(0, 1024), audio.left.data(), audio.right.data(),
                                     true);
        bFinite = bFinite && Finite(audio);
        if (nRound == 1000) f.imager.ClearState();
    }
    CHECK(counter.Count() == 0);
    CHECK(bFinite);
}
