#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "tests/dsp/EqualizerFixture.h"

using namespace DSP::Equalizer;
using Test::EqualizerFixture;
using Test::Stereo;
using Test::StereoNoise;

namespace {

enum Type : std::int32_t { kAnalog, kDigital, kMatching };

// What an impulse gives, behind the delay of the block buffer.
std::vector<float> Taps(EqualizerFixture& f, std::size_t uTaps) {
    f.eq.ClearAudio();
    const std::size_t uDelay = f.eq.BlockBufferLatency();
    const auto out = f.Render(Test::UnitImpulse(2 * (uTaps + uDelay)), {777}).left;
    const auto begin = out.begin() + static_cast<std::ptrdiff_t>(uDelay);
    const auto end = begin + static_cast<std::ptrdiff_t>(uTaps);
    CHECK(std::all_of(end, out.end(), [](float fTap) { return std::abs(fTap) < 1e-6f; }));
    return {begin, end};
}

// The greatest difference in dB between what a display draws from a frequency on and the response of taps.
template <class Curve>
double Worst(const Curve& decibels, const std::vector<float>& taps, double fRate, double fFromHz = 0.0) {
    const DSP::ResponseCurve frequencies = DSP::ResponseFrequencies();
    double fWorst = 0.0;
    for (std::size_t p = 0; p < DSP::kResponsePoints; ++p) {
        const double fHz = double{frequencies[p]};
        if (fHz > fFromHz) fWorst = std::max(fWorst, std::abs(Test::DbAt(taps, fHz, fRate) - decibels[p]));
    }
    return fWorst;
}

MatchSpectrum Flat() {
    return {{20.0f, 20000.0f}, {-30.0f, -30.0f}};
}

// Falls by 6 dB an octave above 1 kHz.
MatchSpectrum Falling() {
    MatchSpectrum spectrum{{20.0f}, {-30.0f}};
    for (float fHz = 1000.0f; fHz < 20000.0f; fHz *= 1.1f) {
        spectrum.frequencies.push_back(fHz);
        spectrum.levels.push_back(-30.0f - 20.0f * std::log10(fHz / 1000.0f));
    }
    return spectrum;
}

}  // namespace

TEST_CASE(
    "What the displays draw, in total and node by node, is what an impulse shows, the same both ways in time") {
    const struct {
        Type type;
        std::int32_t nFft;
        std::size_t uTaps;
        double fTotal, fSum;  ///< tolerances in dB
    } rows[] = {{kAnalog, 0, 16384, 1e-3, 1e-3},
                {kDigital, 0, 1024, 0.02, 0.2},
                {kDigital, 1, 4096, 0.02, 0.2},
                {kDigital, 2, 16384, 0.02, 0.2}};
    for (const auto& row : rows) {
        CAPTURE(row.type);
        CAPTURE(row.nFft);
        EqualizerFixture f;
        f.eq.SetSampleRate(48000);
        f.eq.SetNode(1, 1000.0f, 6.0f, 0.4f, Shape::Bell);
        f.eq.SetNode(3, 3000.0f, -10.0f, 0.8f, Shape::Bell);
        f.eq.SetNode(7, 9000.0f, 4.0f, 2.0f, Shape::HighShelf);
        f.Int("EQ: FFT Size", row.nFft);
        f.Int("EQ: Type", row.type);
        const auto taps = Taps(f, row.uTaps);
        DSP::ResponseCurve total, node;
        f.eq.TotalResponse(total);
        CHECK(Worst(total, taps, 48000.0) < row.fTotal);
        std::vector<double> sum(DSP::kResponsePoints);
        for (std::uint32_t i = 0; i < kNodes; ++i) {
            f.eq.NodeResponse(i, node);
            for (std::size_t p = 0; p < DSP::kResponsePoints; ++p)
                sum[p] += double{node[p]};
        }
        // Below, the shorter filters are too blunt for the sum to hold.
        CHECK(Worst(sum, taps, 48000.0, row.type == kAnalog ? 0.0 : 2000.0) < row.fSum);
        if (row.type == kDigital) {
            float fAsymmetry = std::abs(taps.back());
            for (std::size_t i = 0; i + 1 < taps.size(); ++i)
                fAsymmetry = std::max(fAsymmetry, std::abs(taps[i] - taps[taps.size() - 2 - i]));
            CHECK(fAsymmetry < 1e-6f);
            // By hand: 10 kHz lies on the plateau, past the width of exp(1 / 2.83).
            CHECK(node.back() == doctest::Approx(8.0).epsilon(0.01));
        }
        f.eq.NodeResponse(3, node);
        CHECK(*std::min_element(node.begin(), node.end()) == doctest::Approx(-10.0).epsilon(0.01));
        f.Bool("EQ: Enable 4", false);
        f.eq.NodeResponse(3, node);
        CHECK(*std::min_element(node.begin(), node.end()) > -1e-4f);
        f.eq.TotalResponse(total);
        CHECK(Worst(total, taps, 48000.0) > 3.0);
    }
}

TEST_CASE("A FIR type's mono has the bits of left alone, and back in stereo what was heard before is gone") {
    for (const std::int32_t nType : {kDigital, kMatching}) {
        EqualizerFixture f;
        f.MakeLively();
        f.eq.SetSpectra(Flat(), Falling());
        f.Int("EQ: Type", nType);
        const Stereo input = StereoNoise(2, 30000);
        const Stereo whole = f.Render(input);
        f.eq.ClearAudio();
        CHECK(Test::FirstDifference(f.Render({input.left, {}}).left, whole.left) == -1);
        f.eq.ClearAudio();
        f.Render(input);
        f.Render({std::vector<float>(20000), {}});
        CHECK(Test::Same(f.Render(Test::Silence(5000)), Test::Silence(5000)));
    }
}

TEST_CASE("A dragged node changes the filter under a running sound without a gap") {
    EqualizerFixture f, straight;
    for (EqualizerFixture* const each : {&f, &straight}) {
        each->MakeLively();
        each->Int("EQ: Type", kDigital);
    }
    const Stereo head = StereoNoise(3, 8192), tail = StereoNoise(4, 8192);
    f.Render(head);
    f.Float("EQ: Gain 4", 8.9f);
    f.Float("EQ: Gain 4", 9.0f);
    straight.Render(head);
    CHECK(Test::WorstDifference(f.Render(tail).left, straight.Render(tail).left) < 2e-6f);

    // A new rate and a new type begin with silence; at the rate, the buffer first gives what it holds.
    f.eq.SetSampleRate(48000);
    const auto rest = f.Render(Test::Silence(9000)).left;
    CHECK(std::all_of(rest.begin() + 1023, rest.end(), [](float fSample) { return fSample == 0.0f; }));
    f.Render(head);
    f.Int("EQ: Type", kMatching);
    CHECK(Test::Same(f.Render(Test::Silence(9000)), Test::Silence(9000)));
}

TEST_CASE("Matching adds the curve between the spectra, scaled by its amount") {
    EqualizerFixture f;
    f.MakeLively();
    f.Int("EQ: FFT Size", 1);
    f.Int("EQ: Type", kDigital);
    const auto digital = Taps(f, 4096);
    const auto isDigital = [&] { return Taps(f, 4096) == digital; };
    f.Int("EQ: Type", kMatching);
    CHECK(isDigital());
    f.eq.SetSpectra(Falling(), Falling());
    CHECK(isDigital());
    f.eq.SetSpectra(Flat(), Falling());
    CHECK_FALSE(isDigital());
    f.Int("EQ: Type", kDigital);
    CHECK(isDigital());
    f.Int("EQ: Type", kMatching);
    f.eq.SetMatchingAmount(0.0f);
    CHECK(isDigital());

    f.eq.SetMatchingAmount(50.0f);
    f.eq.SetSmoothing(0.0f);
    for (std::uint32_t i = 0; i < kNodes; ++i)
        f.Bool("EQ: Enable " + std::to_string(i + 1), false);
    const auto taps = Taps(f, 4096);
    const auto falls = [](const std::vector<float>& response, double fRate, double fFromHz, double fToHz) {
        return Test::DbAt(response, fFromHz, fRate) - Test::DbAt(response, fToHz, fRate);
    };
    // Half of 6 dB an octave; the level as a whole goes its own way.
    CHECK(falls(taps, 44100.0, 4000.0, 8000.0) == doctest::Approx(3.01).epsilon(0.01));
    CHECK(falls(taps, 44100.0, 2000.0, 16000.0) == doctest::Approx(9.03).epsilon(0.01));
    CHECK(falls(taps, 44100.0, 200.0, 800.0) == doctest::Approx(0.0).epsilon(0.02));
    DSP::ResponseCurve matching;
    f.eq.MatchingResponse(matching);
    CHECK(Worst(matching, taps, 44100.0) < 0.02);
    // The grid of the curve follows the length and the rate.
    f.Int("EQ: FFT Size", 0);
    f.eq.SetSampleRate(96000);
    CHECK(falls(Taps(f, 1024), 96000.0, 500.0, 4000.0) == doctest::Approx(6.02).epsilon(0.02));
}

TEST_CASE("A state load and a preset change design once, at their end") {
    for (const bool bPreset : {false, true}) {
        EqualizerFixture f, expected;
        bPreset ? f.eq.BeginPresetChange() : f.eq.BeginStateLoad();
        for (EqualizerFixture* const each : {&f, &expected}) {
            each->Int("EQ: Type", kDigital);
            each->Int("EQ: FFT Size", 1);
            each->MakeLively();
        }
        f.eq.FinishBackgroundWork();
        CHECK(f.eq.GetLatency() == 0);
        bPreset ? f.eq.EndPresetChange() : f.eq.EndStateLoad();
        CHECK(f.eq.GetLatency() == 2047);
        CHECK(f.context.nDelayRequests == 1);
        const Stereo input = StereoNoise(7, 8192);
        CHECK(Test::Same(f.Render(input), expected.Render(input)));
    }
}
