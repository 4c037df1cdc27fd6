#include "dsp/Exciter.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "hvBase/Util/ByteStream.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

using DSP::Exciter;
using Test::RunBlocks;
using Test::RunWhole;
using Test::Stereo;

namespace {

class FakeBands : public BandSplitter {
public:
    std::uint32_t BandCount() const override { return uCount; }
    float UpperCutoff(std::uint32_t uBand) const override { return cutoffs[uBand]; }
    bool IsBandBypassed(std::uint32_t) const override { return false; }
    bool IsBandMuted(std::uint32_t) const override { return false; }

    std::uint32_t uCount = 4;
    std::array<float, 3> cutoffs{120.0f, 2000.0f, 10000.0f};
};

enum : std::uint32_t { kAmount = 0, kMix = 4, kDelay = 8, kBypass = 0, kSoloMute = 1 };
enum : std::int32_t { kRetro, kTape, kTube };

struct Fixture {
    Test::TestContext context;
    FakeBands bands;
    Exciter exciter{context, &bands};
    Component& component = exciter;

    Fixture() {
        component.SetBool(kBypass, false);
        exciter.ClearState();
    }
    void Set(std::uint32_t uBand, std::int32_t nMode, float fAmount, float fMix, float fDelayMs) {
        component.SetInt(0, nMode);
        component.SetFloat(kAmount + uBand, fAmount);
        component.SetFloat(kMix + uBand, fMix);
        component.SetFloat(kDelay + uBand, fDelayMs);
    }
};

/// One channel of one band by the formulas, sample by sample.
struct Model {
    Model(std::int32_t nBandMode, float fAmount, float fMix, float fDelayMs, float fEdge, double fRate)
        : nMode(nBandMode), A(fAmount), m(fMix / 100.0f), fHz(fEdge), fs(static_cast<float>(fRate)) {
        line.resize(static_cast<std::size_t>(std::max(1.0, std::round(fDelayMs / 1000.0 * fRate))));
    }
    float Step(float x) {
        float y = 0;
        if (nMode == kRetro) {
            const float v = x * static_cast<float>(std::exp(A * 0.115129255));
            const float s = v > 0 ? 1 - 1 / (v + 1) : 1 / (1 - v) - 1;
            y = x * (1 - m) + s * m;
        } else if (nMode == kTape) {
            const auto G = static_cast<float>(std::exp(double{A / 15.0f * 10.0f} * 0.115129255));
            const auto K = static_cast<float>(std::sin(1.2566370801612687));
            const auto s =
                static_cast<float>(std::sin(double{x} * G * 3.141592653589793 * 0.5 * 0.800000011920929) / K);
            y = s * m + x * (1 - m);
        } else {
            const auto p = static_cast<float>(std::pow(double{fHz / 200.0f}, 0.7));
            const float t = p * 200.0f * -0.2f;
            const float c = 1.0f - static_cast<float>(std::exp(double{t / (fs * 0.5f)}));
            const auto D = static_cast<float>(std::exp(double{(A - 7.0f) * 0.5f} * 0.115129255));
            fEnvelope += (std::abs(x) - fEnvelope) * c;
            const float r = fEnvelope < 0.001f ? 1000.0f : 1.0f / fEnvelope;
            const float v = x * (r * D);
            y = v * v * (v + 1.0f) * (fEnvelope * 0.02f) * m + (A * 0.2f * m + 1.0f) * x;
        }
        line[uPosition] = y;
        uPosition = (uPosition + 1) % line.size();
        return line[uPosition];
    }
    std::vector<float> Run(std::vector<float> samples) {
        for (float& x : samples)
            x = Step(x);
        return samples;
    }

    std::int32_t nMode;
    float A, m, fHz, fs;
    float fEnvelope = 1.0f;
    std::vector<float> line;
    std::size_t uPosition = 0;
};

}  // namespace

TEST_CASE("Exciter declares its table") {
    Test::TestContext context;
    Exciter exciter(context, nullptr);
    Component& component = exciter;
    REQUIRE(component.Count(ParameterGroup::Float) == 12);
    REQUIRE(component.Count(ParameterGroup::Bool) == 2);
    REQUIRE(component.Count(ParameterGroup::Int) == 1);
    CHECK(component.Count(ParameterGroup::UInt) == 0);
    const char* const names[] = {"EXC: Band 1 Amount", "EXC: Band 2 Amount", "EXC: Band 3 Amount",
                                 "EXC: Band 4 Amount", "EXC: Band 1 Mix",    "EXC: Band 2 Mix",
                                 "EXC: Band 3 Mix",    "EXC: Band 4 Mix",    "EXC: Band 1 Delay",
                                 "EXC: Band 2 Delay",  "EXC: Band 3 Delay",  "EXC: Band 4 Delay"};
    const float ranges[] = {15, 100, 10};
    const float defaults[] = {0, 100, 0};
    for (std::uint32_t i = 0; i < 12; ++i) {
        const FloatRecord& record = component.FloatInfo(i);
        CHECK(record.strName == names[i]);
        CHECK(record.strUnits == (i / 4 == 1 ? "%" : ""));
        CHECK(record.fMin == 0);
        CHECK(record.fMax == ranges[i / 4]);
        CHECK(record.fDefault == defaults[i / 4]);
        CHECK(component.GetFloat(i) == record.fDefault);
        CHECK(record.bAutomatable);
        CHECK(record.presetGroup == PresetGroup::Exciter);
        CHECK(record.storageClass == StorageClass::StateBlock);
    }
    CHECK(component.BoolInfo(0).strName == "EXC: Bypass");
    CHECK(component.BoolInfo(0).bAutomatable);
    CHECK(component.GetBool(0));
    CHECK(component.BoolInfo(1).strName == "EXC: Solo Mute");
    CHECK_FALSE(component.BoolInfo(1).bAutomatable);
    CHECK_FALSE(component.GetBool(1));
    const IntRecord& mode = component.IntInfo(0);
    CHECK(mode.strName == "EXC: Mode");
    CHECK(mode.labels == std::vector<std::string>{"Retro", "Tape", "Tube"});
    CHECK(mode.IsEnumeration());
    CHECK(mode.bAutomatable);
    CHECK(component.GetInt(0) == kTube);
    CHECK(component.Name() == "Exciter::Exciter");
}

TEST_CASE("Exciter's setters clamp, mark a change only, and tell of activity") {
    Fixture f;
    const int nDirty = f.context.nDirty;
    f.component.SetFloat(kAmount, 99);
    f.component.SetFloat(kMix + 1, -4);
    f.component.SetFloat(kDelay + 2, 11);
    f.component.SetInt(0, -3);
    CHECK(f.component.GetFloat(kAmount) == 15);
    CHECK(f.component.GetFloat(kMix + 1) == 0);
    CHECK(f.component.GetFloat(kDelay + 2) == 10);
    CHECK(f.component.GetInt(0) == kRetro);
    CHECK(f.context.nDirty == nDirty + 4);
    f.component.SetFloat(kAmount, 15);
    f.component.SetFloat(kAmount, 16);
    f.component.SetInt(0, -1);
    CHECK(f.context.nDirty == nDirty + 4);

    CHECK(f.exciter.IsActive());
    const int nRequests = f.context.nActivityRequests;
    f.component.SetBool(kSoloMute, true);
    CHECK_FALSE(f.exciter.IsActive());
    f.component.SetPresetChanging(true);
    f.component.SetBool(kSoloMute, false);
    f.component.SetBool(kSoloMute, false);
    CHECK(f.exciter.IsActive());
    CHECK(f.context.nActivityRequests == nRequests + 1);
    CHECK(f.exciter.GetLatency() == 0);
}

TEST_CASE("Every mode follows its formula sample by sample, however the stream is cut, in stereo and mono") {
    Test::Random random(1);
    for (int nRound = 0; nRound < 60; ++nRound) {
        CAPTURE(nRound);
        Fixture f;
        const std::uint32_t rates[] = {8000, 44100, 48000, 96000, 384000};
        const std::uint32_t uRate = rates[random.Between(0, 4)];
        f.bands.uCount = random.Between(1, 4);
        const std::uint32_t uBand = random.Between(0, f.bands.uCount - 1);
        const auto nMode = static_cast<std::int32_t>(random.Between(0, 2));
        const float fAmount = random.Uniform(0.1f, 15.0f), fMix = random.Uniform(0.0f, 100.0f);
        const float fDelay = nRound % 3 == 0 ? 0.0f : random.Uniform(0.0f, 10.0f);
        f.component.SetSampleRate(uRate);
        f.Set(uBand, nMode, fAmount, fMix, fDelay);
        const float fEdge =
            uBand + 1 < f.bands.uCount ? f.bands.cutoffs[uBand] : static_cast<float>(uRate) / 2;
        Model left(nMode, fAmount, fMix, fDelay, fEdge, uRate);
        Model right = left;

        const Stereo input = Test::StereoNoise(random.Next(), 9000, random.Uniform(0.01f, 2.0f));
        const Stereo output =
            RunBlocks(f.component, uBand, input, Test::RandomCuts(random.Next(), 9000, 700));
        const Stereo expected{left.Run(input.left), right.Run(input.right)};
        // The sine and the exponentials of the C library may differ from ours in a last bit of double.
        const float fTolerance = nMode == kTape ? 2e-7f : 0.0f;
        CHECK(Test::WorstDifference(output.left, expected.left) <= fTolerance);
        CHECK(Test::WorstDifference(output.right, expected.right) <= fTolerance);

        f.exciter.ClearState();
        CHECK(Same(RunWhole(f.component, uBand, input), output));
        f.exciter.ClearState();
        const Stereo mono = RunBlocks(f.component, uBand, {input.left, {}}, Test::RandomCuts(7, 9000, 900));
        CHECK(Test::FirstDifference(mono.left, output.left) == -1);
    }
}

TEST_CASE(
    "With amount 0 the audio passes bit by bit and undelayed; bypassed likewise; beyond the bands too") {
    Fixture f;
    const Stereo input = Test::StereoNoise(3, 1000);
    for (const std::int32_t nMode : {kRetro, kTape, kTube}) {
        f.Set(2, nMode, 0, 50, 10);
        CHECK(Same(RunWhole(f.component, 2, input), input));
        f.Set(1, nMode, 10, 50, 10);
        CHECK_FALSE(Same(RunWhole(f.component, 1, input), input));
        CHECK(Same(RunWhole(f.component, 4, input), input));
        f.component.SetBool(kBypass, true);
        CHECK(Same(RunWhole(f.component, 1, input), input));
        f.component.SetBool(kBypass, false);
    }
}

TEST_CASE("Retro without mix is the delay alone: 10 ms are 440 samples at 44100 Hz and 0 ms none") {
    Fixture f;
    const Stereo input = Test::StereoNoise(4, 2000);
    for (const auto& [fDelayMs, uDelay] : {std::pair{10.0f, 440u}, std::pair{0.0f, 0u}}) {
        f.Set(0, kRetro, 15, 0, fDelayMs);
        const Stereo output = RunWhole(f.component, 0, input);
        for (std::size_t i = 0; i < 2000; ++i) {
            REQUIRE(output.left[i] == (i < uDelay ? 0.0f : input.left[i - uDelay]));
            REQUIRE(output.right[i] == (i < uDelay ? 0.0f : input.right[i - uDelay]));
        }
    }
    // Another band has lines of its own.
    f.Set(0, kRetro, 15, 0, 10);
    f.Set(1, kRetro, 15, 0, 10);
    RunWhole(f.component, 0, input);
    CHECK(RunWhole(f.component, 1, input).left[0] == 0.0f);
}

TEST_CASE("The same sample rate keeps what the lines hold; another rate and another delay clear them") {
    Fixture f;
    f.Set(0, kRetro, 15, 0, 10);
    const Stereo ones{std::vector<float>(441, 1.0f), {}};
    const Stereo silence{std::vector<float>(100, 0.0f), {}};
    RunWhole(f.component, 0, ones);
    f.component.SetSampleRate(44100);
    CHECK(RunWhole(f.component, 0, silence).left[0] == 1.0f);
    f.component.SetSampleRate(48000);
    CHECK(RunWhole(f.component, 0, silence).left == silence.left);
    RunWhole(f.component, 0, {std::vector<float>(480, 1.0f), {}});
    f.component.SetFloat(kDelay, 9.9f);
    CHECK(RunWhole(f.component, 0, silence).left == silence.left);
}

TEST_CASE("Tube follows a moved cutoff, and takes half the rate for the top band") {
    Fixture f;
    f.Set(1, kTube, 12, 100, 0);
    const Stereo input = Test::StereoNoise(5, 3000);
    const auto run = [&] {
        f.exciter.ClearState();
        return RunWhole(f.component, 1, input).left;
    };
    const auto model = [&](float fEdge) { return Model(kTube, 12, 100, 0, fEdge, 44100).Run(input.left); };
    CHECK(Test::FirstDifference(run(), model(2000)) == -1);
    f.bands.cutoffs[1] = 3000;
    CHECK(Test::FirstDifference(run(), model(3000)) == -1);
    f.bands.uCount = 2;
    CHECK(Test::FirstDifference(run(), model(22050)) == -1);

    Exciter alone(f.context, nullptr);
    Component& component = alone;
    component.SetBool(kBypass, false);
    component.SetFloat(kAmount, 12);
    CHECK(Test::FirstDifference(RunWhole(component, 0, input).left, model(22050)) == -1);
}

TEST_CASE("Near silence drives Tube no harder than a thousandfold") {
    Fixture f;
    f.Set(3, kTube, 15, 100, 0);
    RunWhole(f.component, 3, {std::vector<float>(20000, 0.0f), {}});
    const float x = 1e-5f;
    const double v = x * 1000.0 * std::pow(10.0, 8.0 / 40.0);
    const float y = RunWhole(f.component, 3, {{x}, {}}).left[0];
    // The envelope is all that is left of the sample: 1e-5 times its step.
    const double fStep = 1.0 - std::exp(-40.0 * std::pow(110.25, 0.7) / 22050.0);
    CHECK(y == doctest::Approx(4.0 * x + v * v * (v + 1.0) * 0.02 * x * fStep).epsilon(1e-6));
}

TEST_CASE("A cleared exciter repeats itself to the bit, and mono leaves the right channel's state alone") {
    Fixture f;
    f.Set(0, kTube, 9, 60, 3);
    const Stereo input = Test::StereoNoise(6, 4000);
    const Stereo first = RunWhole(f.component, 0, input);
    CHECK_FALSE(Same(RunWhole(f.component, 0, input), first));
    f.exciter.ClearState();
    CHECK(Same(RunWhole(f.component, 0, input), first));

    f.exciter.ClearState();
    const auto cut = [&](std::size_t uFrom, std::size_t uTo) {
        const auto part = [&](const std::vector<float>& samples) {
            return std::vector<float>(samples.begin() + static_cast<std::ptrdiff_t>(uFrom),
                                      samples.begin() + static_cast<std::ptrdiff_t>(uTo));
        };
        return Stereo{part(input.left), part(input.right)};
    };
    RunWhole(f.component, 0, cut(0, 1000));
    RunWhole(f.component, 0, {std::vector<float>(777, 0.9f), {}});
    const Stereo rest = RunWhole(f.component, 0, cut(1000, 4000));
    CHECK(Test::FirstDifference(rest.right, {first.right.begin() + 1000, first.right.end()}) == -1);
}

TEST_CASE("A band's settings travel as three floats, all of them or none, and the host hears of each") {
    Fixture f;
    f.Set(0, kTube, 4, 30, 7);
    Util::ByteStream stream;
    f.exciter.CopyBand(0, stream);
    CHECK(stream.Length() == 12);
    stream.Seek(0);
    f.context.events.clear();
    f.exciter.PasteBand(3, stream);
    CHECK(f.component.GetFloat(kAmount + 3) == 4);
    CHECK(f.component.GetFloat(kMix + 3) == 30);
    CHECK(f.component.GetFloat(kDelay + 3) == 7);
    using Event = Test::TestContext::Event;
    const auto value = ParameterPhase::Value;
    CHECK(f.context.events == std::vector<Event>{{ParameterGroup::Float, value, 3, 4.0f},
                                                 {ParameterGroup::Float, value, 7, 30.0f},
                                                 {ParameterGroup::Float, value, 11, 7.0f}});
    f.exciter.ResetBand(3);
    CHECK(f.component.GetFloat(kAmount + 3) == 0);
    CHECK(f.component.GetFloat(kMix + 3) == 100);
    CHECK(f.component.GetFloat(kDelay + 3) == 0);

    stream.Seek(4);
    CHECK_THROWS(f.exciter.PasteBand(2, stream));
    CHECK(f.component.GetFloat(kAmount + 2) == 0);
    f.exciter.CopyBand(4, stream);
    CHECK(stream.Length() == 12);
}

TEST_CASE("A second after damage the exciter sounds as if there had been none") {
    const float damages[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                             1e30f, -1e30f};
    for (const std::int32_t nMode : {kRetro, kTape, kTube}) {
        for (const float fDamage : damages) {
            CAPTURE(nMode);
            CAPTURE(fDamage);
            Fixture f;
            f.Set(0, nMode, 10, 80, 10);
            Stereo input = Test::StereoNoise(7, 2 * 44100, 0.5f);
            const Stereo clean = RunWhole(f.component, 0, input);
            f.exciter.ClearState();
            for (std::size_t i = 100; i < 700; ++i)
                input.left[i] = fDamage;
            const Stereo output = RunBlocks(f.component, 0, input, Test::RandomCuts(3, 2 * 44100, 2048));
            CHECK(Test::FirstDifference(output.right, clean.right) == -1);
            float fWorst = 0;
            for (std::size_t i = 700 + 44100; i < output.left.size(); ++i)
                fWorst = std::max(fWorst, std::abs(output.left[i] - clean.left[i]));
            CHECK(fWorst < 1e-5f);
        }
    }
}

TEST_CASE("No storm of parameters makes the exciter's output infinite, and none allocates") {
    Fixture f;
    f.component.SetSampleRate(96000);
    f.component.SetActive(true);
    Test::Random random(8);
    const Stereo input = Test::StereoNoise(9, 1024);
    Stereo audio = input;
    bool bFinite = true;
    Test::AllocationCounter counter;
    for (int nRound = 0; nRound < 3000; ++nRound) {
        const std::uint32_t uIndex = random.Between(0, 11);
        const FloatRecord& record = std::as_const(f.component).FloatInfo(uIndex);
        const float fDraw = random.Uniform(-0.3f, 1.3f);
        f.component.SetFloat(uIndex, record.fMax * fDraw);
        if (nRound % 7 == 0) f.component.SetInt(0, static_cast<std::int32_t>(random.Between(0, 4)));
        f.bands.cutoffs[random.Between(0, 2)] = random.Uniform(20.0f, 20000.0f);
        f.bands.uCount = random.Between(1, 4);
        audio.left = input.left;
        audio.right = input.right;
        f.component.SetStage(random.Between(0, 4));
        const std::uint32_t uFrames = random.Between(0, 1024);
        f.component.ProcessAutomated({}, uFrames, audio.left.data(),
                                     nRound % 5 == 0 ? nullptr : audio.right.data());
        bFinite = bFinite && Finite(audio);
    }
    CHECK(counter.Count() == 0);
    CHECK(bFinite);
}
