#include "dsp/Dither.h"

#include <doctest/doctest.h>

#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

using Test::Stereo;

namespace {

enum { kAutoBlanking, kMinimizePeaks, kKillHarmonics };
enum { kBitDepth, kType, kShape, kType3Shape, kType3Amount, kNumBits };
enum { kNone, kDshp, kType1, kType2 };

struct Fixture {
    Test::TestContext context;
    DSP::Dither dither{context};
    Component& component = dither;
    const Stereo input = Test::StereoNoise(1, 2000);

    Fixture() {
        component.SetSampleRate(44100);
        component.SetActive(true);
    }
    Stereo Run(const Stereo& audio) { return RunWhole(component, 0, audio); }

    /// Whether the component does to its input what a shaper of one's own does.
    bool Shapes(const DSP::DepthShaperSettings& settings, const DSP::NoiseShapingFilter::Table& table,
                bool bUseAmount) {
        DSP::DepthShaper shaper;
        shaper.Configure(2, 2, 0);
        DSP::NoiseShapingFilter filter(table, bUseAmount);
        filter.Rebuild(settings.fNoiseAmount);
        shaper.Set(settings, filter);
        Stereo audio = input;
        float* const channels[] = {audio.left.data(), audio.right.data()};
        shaper.Process(channels, static_cast<int>(audio.left.size()), nullptr);
        return Same(Run(input), audio);
    }
};

}  // namespace

TEST_CASE("Each type of dither runs the shaper with its filter, noise and limits, and None is a wire") {
    using Filter = DSP::NoiseShapingFilter;
    Fixture f;
    CHECK(Same(f.Run(f.input), f.input));
    CHECK_FALSE(f.component.IsActive());
    f.component.SetBool(kMinimizePeaks, true);
    f.component.SetBool(kKillHarmonics, true);
    for (std::int32_t nShape = 0; nShape < 5; ++nShape) {
        const auto uShape = static_cast<std::uint32_t>(nShape);
        f.component.SetInt(kShape, nShape);
        f.component.SetInt(kType3Shape, nShape);
        for (std::int32_t nBits = 0; nBits < 2; ++nBits) {
            CAPTURE(nShape);
            CAPTURE(nBits);
            const float fTwice = nBits == 1 ? 2.0f : 1.0f;
            f.component.SetInt(kNumBits, nBits);
            f.component.SetInt(kType, kType1);
            CHECK(f.Shapes({16, 0.5f * fTwice, false, false, false, true}, Filter::ForShape(uShape), false));
            f.component.SetInt(kType, kType2);
            CHECK(f.Shapes({16, 1.0f * fTwice, true, false, false, true}, Filter::ForShape(uShape), true));
            f.component.SetInt(kType, kDshp);
            const float amounts[] = {0.0f, 0.5f, 0.8f, 1.0f};
            for (std::int32_t nAmount = 0; nAmount < 4; ++nAmount) {
                f.component.SetInt(kType3Amount, nAmount);
                CHECK(f.Shapes({16, amounts[nAmount], true, true, false, true}, Filter::ForRate(2, uShape),
                               true));
            }
        }
    }
    CHECK(f.component.IsActive());
    f.component.SetBool(kAutoBlanking, true);
    f.component.SetSampleRate(96000);
    const std::int32_t depths[] = {8, 12, 16, 20, 24};
    for (std::int32_t n = 0; n < 5; ++n) {
        f.component.SetInt(kBitDepth, n);
        CHECK(f.dither.WordLength() == depths[n]);
        CHECK(f.Shapes({depths[n], 1.0f, true, true, true, true}, Filter::ForRate(1, 4), true));
    }
}

TEST_CASE("Dither: a change of parameters, of the rate, of the channels and of the state begin anew") {
    Fixture f;
    f.component.SetInt(kType, kDshp);
    const Stereo first = f.Run(f.input);
    CHECK_FALSE(Same(f.Run(f.input), first));
    f.component.ClearState();
    CHECK(Same(f.Run(f.input), first));
    f.component.SetSampleRate(44100);
    CHECK(Same(f.Run(f.input), first));
    f.component.SetInt(kNumBits, 1);
    CHECK(Same(f.Run(f.input), first));
    CHECK(Same(f.Run({f.input.left, {}}), {first.left, {}}));
    CHECK(Same(f.Run(f.input), first));
}
