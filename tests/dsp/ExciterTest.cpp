#include "dsp/Exciter.h"

#include <doctest/doctest.h>

#include <cmath>

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

enum : std::int32_t { kRetro, kTape, kTube };

struct Fixture {
    Test::TestContext context;
    FakeBands bands;
    Exciter exciter{context, &bands};
    Component& component = exciter;

    Fixture() {
        component.SetBool(0, false);
        exciter.ClearState();
    }
    void Set(std::uint32_t uBand, std::int32_t nMode, float fAmount, float fMix, float fDelayMs) {
        component.SetInt(0, nMode);
        component.SetFloat(uBand, fAmount);
        component.SetFloat(4 + uBand, fMix);
        component.SetFloat(8 + uBand, fDelayMs);
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

TEST_CASE("Exciter: every mode follows its formula sample by sample, in each band, channel and block") {
    Test::Random random(1);
    for (int nRound = 0; nRound < 60; ++nRound) {
        CAPTURE(nRound);
        Fixture f;
        const std::uint32_t rates[] = {8000, 44100, 48000, 96000, 384000};
        const std::uint32_t uRate = rates[random.Between(0, 4)];
        f.bands.uCount = random.Between(1, 4);
        const std::uint32_t uBand = random.Between(0, f.bands.uCount - 1), uOther = (uBand + 1) % 4;
        const std::int32_t nMode = nRound % 3;
        const float fAmount = random.Uniform(0.1f, 15.0f), fMix = random.Uniform(0.0f, 100.0f);
        const float fDelay = nRound % 4 == 0 ? 0.0f : random.Uniform(0.0f, 10.0f);
        f.component.SetSampleRate(uRate);
        f.Set(uBand, nMode, fAmount, fMix, fDelay);

        // Near silence is where Tube's gain ends.
        const float fLevel = nRound % 5 == 0 ? 1e-5f : random.Uniform(0.01f, 2.0f);
        const Stereo input = Test::StereoNoise(random.Next(), 6000, fLevel);
        // The second time the band reaches up to another cutoff, or to half the rate.
        for (const float fCutoff : {f.bands.cutoffs[uBand % 3], 500.0f}) {
            f.bands.cutoffs[uBand % 3] = fCutoff;
            const bool bTop = uBand + 1 == f.bands.uCount;
            const float fEdge = bTop ? static_cast<float>(uRate) / 2 : fCutoff;
            Model left(nMode, fAmount, fMix, fDelay, fEdge, uRate);
            Model right = left;
            const Stereo expected{left.Run(input.left), right.Run(input.right)};
            // Another band and a mono block have no part in it.
            f.exciter.ClearState();
            f.Set(uOther, nMode, 15, 100, 10);
            RunWhole(f.component, uOther, input);
            const auto cuts = Test::RandomCuts(random.Next(), 6000, 700);
            const Stereo output = RunBlocks(f.component, uBand, input, cuts);
            // The sine and the exponentials of the C library may differ from ours in a last bit of double.
            const float fTolerance = nMode == kTape ? 2e-7f : 0.0f;
            CHECK(Test::WorstDifference(output.left, expected.left) <= fTolerance);
            CHECK(Test::WorstDifference(output.right, expected.right) <= fTolerance);
            f.exciter.ClearState();
            RunWhole(f.component, uBand, {input.right, {}});
            CHECK(Test::FirstDifference(RunWhole(f.component, uBand, input).right, output.right) == -1);
        }
        // With amount 0 the band passes undelayed.
        f.Set(uBand, nMode, 0, fMix, fDelay);
        CHECK(Same(RunWhole(f.component, uBand, input), input));
    }
}
