#include "dsp/Dynamics.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/vector/Dispatch.h"
#include "tests/support/DynamicsModel.h"
#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

using Test::RunBlocks;
using Test::RunWhole;
using Test::Stereo;

namespace {

constexpr std::uint32_t kBypass = 0, kMeanSquare = 2, kSmooth = 3, kHistogram = 4;

struct Fixture {
    Test::TestContext context;
    DSP::Dynamics dynamics{context};
    Component& component = dynamics;

    Fixture() { component.SetBool(kBypass, false); }
};

/// A band's settings, field by field.
std::array<float, 13> DrawBand(Test::Random& random) {
    const auto threshold = [&] { return random.Next() % 6 == 0 ? 0.0f : random.Uniform(-70, 0); };
    const auto ratio = [&](float fLowest) {
        return random.Next() % 5 == 0 ? 1.0f : random.Uniform(fLowest, 12);
    };
    const auto time = [&](float fLongest) {
        const float fShare = random.Uniform(0, 1);
        return random.Next() % 5 == 0 ? 0.0f : fShare * fShare * fLongest;
    };
    return {random.Uniform(-30, 30),
            threshold(),
            ratio(1),
            time(500),
            time(5000),
            threshold(),
            ratio(1),
            time(500),
            time(5000),
            threshold(),
            ratio(0.1f),
            time(500),
            time(5000)};
}

/// Noise in stretches of random loudness, from -90 dB to +6 dB, each channel by itself.
Stereo Wandering(std::uint64_t uSeed, std::size_t uLength) {
    Test::Random random(uSeed);
    Stereo audio = Test::StereoNoise(uSeed + 1, uLength);
    for (std::vector<float>* channel : {&audio.left, &audio.right}) {
        float fGain = 1.0f;
        for (float& x : *channel) {
            if (random.Next() % 300 == 0) fGain = std::pow(10.0f, random.Uniform(-4.5f, 0.3f));
            x *= fGain;
        }
    }
    return audio;
}

}  // namespace

TEST_CASE(
    "Dynamics: samples and readings of each band are those of the plain loop at every processor level") {
    Test::Random random(11);
    for (int nTrial = 0; nTrial < 40; ++nTrial) {
        CAPTURE(nTrial);
        const std::uint32_t rates[] = {44100, 400, 192000, random.Between(8000, 192000)};
        const std::uint32_t uRate = rates[nTrial % 4], uBand = random.Between(0, 3);
        const bool bMeanSquare = random.Next() % 2 == 0, bSmooth = random.Next() % 2 == 0;
        const float fGlobalGainDb = random.Uniform(-20, 10);
        std::array<std::array<float, 13>, 4> bands;
        for (auto& band : bands)
            band = DrawBand(random);
        Stereo input = Wandering(random.Next(), 5000);
        if (nTrial % 3 == 0) input.right.clear();

        const auto& v = bands[uBand];
        Test::DynamicsModel model(uRate, v[0], {v[1], v[2], v[3], v[4]}, {v[5], v[6], v[7], v[8]},
                                  {v[9], v[10], v[11], v[12]});
        model.bMeanSquare = bMeanSquare;
        model.bSmooth = bSmooth;
        model.fGlobalGain = Test::DynamicsModel::Linear(fGlobalGainDb);
        Stereo expected = input;
        float fPeak = 0, fComp = 1, fGate = 1, fUnused = 0;
        DSP::LevelHistogram histogram;
        for (std::size_t i = 0; i < expected.left.size(); ++i) {
            const bool bMono = input.right.empty();
            model.Process(expected.left[i], bMono ? fUnused : expected.right[i], bMono);
            fPeak = std::max(fPeak, model.fLevel);
            fComp = std::min(fComp, model.fUsedComp);
            fGate = std::min(fGate, model.fUsedGate);
            histogram.Add(&model.fLevel, 1);
        }

        for (const DSP::ProcessorLevel& level : DSP::AvailableProcessorLevels()) {
            CAPTURE(level.strName);
            DSP::UseProcessorLevel(level);
            Fixture f;
            f.component.SetSampleRate(uRate);
            f.component.SetBool(kMeanSquare, bMeanSquare);
            f.component.SetBool(kSmooth, bSmooth);
            f.component.SetFloat(0, fGlobalGainDb);
            for (std::uint32_t i = 0; i < 52; ++i)
                f.component.SetFloat(1 + i, bands[i % 4][i / 4]);
            CHECK(Same(RunBlocks(f.component, uBand, input, Test::RandomCuts(random.Next(), 5000, 700)),
                       expected));
            CHECK(f.dynamics.LevelPeaks()[uBand] == fPeak);
            CHECK(f.dynamics.TakeMinimumCompGain(uBand) == fComp);
            CHECK(f.dynamics.TakeMinimumGateGain(uBand) == fGate);
            CHECK(f.dynamics.Histogram(uBand) == histogram.Counts());
        }
        DSP::UseBestProcessorLevel();
    }
}

TEST_CASE_FIXTURE(Fixture,
                  "Dynamics: displays read a band's own levels since the last look, and begin anew") {
    component.SetFloat(7, -20);  // comp threshold and ratio of band 3
    component.SetFloat(11, 30);
    const Stereo loud{std::vector<float>(2000, 0.5f), {}};
    RunWhole(component, 2, loud);
    CHECK(dynamics.LevelPeaks()[2] == doctest::Approx(0.5).epsilon(1e-3));
    CHECK(dynamics.LevelPeaks()[1] == 0);
    dynamics.ClearLevelPeaks();
    CHECK(dynamics.LevelPeaks()[2] == 0);
    CHECK(dynamics.TakeMinimumCompGain(2) < 0.6f);
    CHECK(dynamics.TakeMinimumCompGain(2) == 1.0f);
    CHECK(dynamics.Histogram(2)[6] > 1000);  // -6.02 dB
    const DSP::LevelHistogram::CountTable nothing{};
    CHECK(dynamics.Histogram(1) == nothing);
    component.SetSampleRate(44100);
    CHECK(dynamics.Histogram(2)[6] > 1000);
    component.SetSampleRate(48000);
    CHECK(dynamics.Histogram(2) == nothing);
    component.SetBool(kHistogram, false);
    RunWhole(component, 2, loud);
    CHECK(dynamics.Histogram(2) == nothing);
    component.SetBool(kHistogram, true);
    RunWhole(component, 2, loud);
    component.ClearState();
    CHECK(dynamics.Histogram(2) == nothing);
    CHECK(dynamics.LevelPeaks()[2] == 0);
    CHECK(dynamics.TakeMinimumCompGain(2) == 1.0f);
}
