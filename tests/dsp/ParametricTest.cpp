#include "dsp/Parametric.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/vector/SoftSaturation.h"
#include "tests/dsp/EqualizerFixture.h"

using namespace DSP::Equalizer;
using Test::EqualizerFixture;
using Test::Stereo;

namespace {

// The cascade as it is told: node by node over the whole signal, each in double, rounded to float behind it.
std::vector<float> PlainCascade(std::vector<float> samples, const Parametric& eq, std::uint32_t uRate) {
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        const FilterNode node = eq.Node(i);
        if (!node.bEnabled || (node.shape <= Shape::HighShelf && node.fGainDb == 0.0f)) continue;
        const BiquadTaps t = DesignBiquad(node, uRate);
        double s1 = 0.0;
        double s2 = 0.0;
        for (float& fSample : samples) {
            const double x = double{fSample};
            const double y = t[0] * x + s1;
            s1 = (t[1] * x + s2) - t[4] * y;
            s2 = t[2] * x - t[5] * y;
            fSample = static_cast<float>(y);
        }
    }
    return samples;
}

Stereo PlainCascade(const Stereo& audio, const Parametric& eq, std::uint32_t uRate) {
    return {PlainCascade(audio.left, eq, uRate), PlainCascade(audio.right, eq, uRate)};
}

}  // namespace

TEST_CASE(
    "Analog is a cascade of biquads in double with floats in between, whatever the cut and the channels") {
    const Stereo input = Test::StereoNoise(2, 20000);
    EqualizerFixture f;
    f.MakeLively();
    f.eq.SetNode(2, 250.0f, 5.0f, 1.0f, Shape::Bell);
    f.Bool("EQ: Enable 3", false);
    // The same rate again, as at every start of a stream, begins with silence; another one designs anew.
    for (const std::uint32_t uRate : {44100u, 48000u, 48000u}) {
        f.eq.SetSampleRate(uRate);
        CHECK(Test::Same(f.Render(input, {511, 1, 513}), PlainCascade(input, f.eq, uRate)));
    }
    f.eq.ClearState();
    CHECK(f.Render({input.right, {}}).left == PlainCascade(input.right, f.eq, 48000));
    // What was set while another type sounded is there when Analog comes back.
    f.Int("EQ: Type", 1);
    f.Float("EQ: Freq 4", 700.0f);
    f.eq.SetSampleRate(44100);
    f.Int("EQ: Type", 0);
    CHECK(Test::Same(f.Render(input), PlainCascade(input, f.eq, 44100)));
}

TEST_CASE("A small step keeps a node's delay lines, a great one and a new shape clear them") {
    // A low pass holds what it heard; after a clear, silence comes out as silence.
    const auto keeps = [](auto change) {
        EqualizerFixture f;
        f.eq.SetNode(5, 1000.0f, 2.0f, 1.0f, Shape::LowPass);
        f.Render(Test::StereoNoise(4, 64));
        change(f);
        const Stereo silence = f.Render(Test::Silence(8));
        CHECK((silence.left[0] != 0.0f) == (silence.right[0] != 0.0f));
        return silence.left[0] != 0.0f;
    };
    const float f29 = 1000.0f * std::pow(10.0f, 0.29f);
    const float f31 = 1000.0f * std::pow(10.0f, 0.31f);
    CHECK(keeps([&](auto& f) { f.Float("EQ: Freq 6", f29); }));
    CHECK(keeps([&](auto& f) { f.Float("EQ: Freq 6", 1e6f / f29); }));
    CHECK_FALSE(keeps([&](auto& f) { f.Float("EQ: Freq 6", f31); }));
    CHECK_FALSE(keeps([&](auto& f) { f.Float("EQ: Freq 6", 1e6f / f31); }));
    CHECK(keeps([&](auto& f) { f.eq.SetNode(5, f29, -30.0f, 12.0f, Shape::LowPass); }));
    CHECK_FALSE(keeps([&](auto& f) { f.eq.SetNode(5, f29, 5.0f, 9.0f, Shape::HighPass); }));
    CHECK_FALSE(keeps([](auto& f) { f.eq.SetSampleRate(48000); }));
    CHECK_FALSE(keeps([](auto& f) {
        f.Int("EQ: Type", 1);
        f.Int("EQ: Type", 0);
    }));
    CHECK_FALSE(keeps([](auto& f) { f.eq.ResetStream(); }));
}

TEST_CASE("The audition filter is heard alone, without nodes and saturation, and goes without a trace") {
    EqualizerFixture f;
    f.MakeLively();
    f.Bool("EQ: Soft Saturation", true);
    const Stereo input = Test::StereoNoise(5, 4000);
    Stereo saturated = PlainCascade(input, f.eq, 44100);
    DSP::VectorSoftSaturate(saturated.left.data(), 4000);
    DSP::VectorSoftSaturate(saturated.right.data(), 4000);
    CHECK(Test::Same(f.Render(input), saturated));

    // A new rate moves it to the same frequency there; a reset clears its delay lines.
    Util::NamedLock lock("Model");
    DSP::AltSoloImpl model(lock);
    f.eq.SetAuditionFilter(1000.0f, 12.0f, 2.0f);
    model.Set(44100, 1000.0f, 12.0f, 2.0f);
    for (const std::uint32_t uRate : {44100u, 88200u}) {
        f.eq.SetSampleRate(uRate);
        model.Set(uRate, std::nullopt, std::nullopt, std::nullopt);
        for (int i = 0; i < 2; ++i) {
            f.eq.ResetStream();
            model.Reset();
            Stereo heard = input;
            model.Process(4000, heard.left.data(), heard.right.data());
            CHECK(Test::Same(f.Render(input), heard));
        }
    }
    f.eq.SetSampleRate(44100);
    f.eq.ClearAuditionFilter();
    CHECK(Test::Same(f.Render(input), saturated));
}

// Poles and zeros then lie on the unit circle, where they cancel in the response but not in what the delay
// lines hold.
TEST_CASE("A pass that is dragged to exactly half the rate stays in bounds") {
    EqualizerFixture f;
    f.eq.SetSampleRate(16000);
    f.eq.SetNode(3, 7200.0f, 0.0f, 0.7f, Shape::LowPass);
    f.Render(Test::StereoNoise(6, 4000, 0.1f));
    f.eq.SetNode(3, 8000.0f, 0.0f, 0.7f, Shape::LowPass);
    const auto left = f.Render(Test::StereoNoise(7, 16000, 0.1f)).left;
    CHECK(*std::max_element(left.begin(), left.end()) < 1.0f);
}
