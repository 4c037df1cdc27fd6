#include <doctest/doctest.h>

#include <utility>

#include "PluginBase/EnvelopeHandler.h"
#include "tests/dsp/EqualizerFixture.h"
#include "tests/support/CountingAllocator.h"

using namespace DSP::Equalizer;
using Test::Db;
using Test::EqualizerFixture;
using Test::StereoNoise;
using Test::StereoSignal;

namespace {

enum Type : std::int32_t { kAnalog, kDigital, kMatching };
constexpr std::size_t kTaps[] = {1024, 4096, 16384};
constexpr std::size_t kBlocks[] = {128, 256, 512, 1024, 2048, 4096, 8192};

// The taps, behind the delay of the block buffer.
std::vector<float> Taps(EqualizerFixture& f, std::size_t uTaps, std::size_t uBlock) {
    f.eq.ClearAudio();
    std::vector<float> impulse(2 * (uTaps + uBlock));
    impulse[0] = 1.0f;
    const auto out = f.Render({impulse, {}}, {777}).left;
    CHECK(std::all_of(out.begin() + static_cast<std::ptrdiff_t>(uBlock - 1 + uTaps), out.end(),
                      [](float fTap) { return std::abs(fTap) < 1e-6f; }));
    return {out.begin() + static_cast<std::ptrdiff_t>(uBlock - 1),
            out.begin() + static_cast<std::ptrdiff_t>(uBlock - 1 + uTaps)};
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

TEST_CASE("Digital delays by half its taps and its buffer, exactly and for every pair of sizes") {
    const StereoSignal input = StereoNoise(1, 40000);
    for (std::int32_t nFft = 0; nFft < 3; ++nFft) {
        for (std::int32_t nBuffer = 0; nBuffer < 7; ++nBuffer) {
            EqualizerFixture f;
            f.Int("EQ: FFT Size", nFft);
            f.Int("EQ: Buffer Size", nBuffer);
            f.Int("EQ: Type", kDigital);
            const std::size_t uOwn = kTaps[nFft] / 2 - 1;
            const std::size_t uBuffer = kBlocks[nBuffer] - 1;
            CHECK(f.eq.GetLatency() == uOwn);
            CHECK(f.eq.BlockBufferLatency() == uBuffer);
            // All nodes are flat: what comes out is what went in.
            const StereoSignal out = f.Render(input, {1000});
            float fWorst = 0.0f;
            for (std::size_t n = 0; n < 40000; ++n) {
                const float fLeft = n < uOwn + uBuffer ? 0.0f : input.left[n - uOwn - uBuffer];
                const float fRight = n < uOwn + uBuffer ? 0.0f : input.right[n - uOwn - uBuffer];
                fWorst = std::max({fWorst, std::abs(out.left[n] - fLeft), std::abs(out.right[n] - fRight)});
            }
            CAPTURE(nFft);
            CAPTURE(nBuffer);
            CHECK(fWorst < 2e-6f);
        }
    }
}

TEST_CASE("Digital is a symmetrical filter whose response is the display's, the sum of the nodes' own") {
    const DSP::ResponseCurve frequencies = DSP::ResponseFrequencies();
    for (std::int32_t nFft = 0; nFft < 3; ++nFft) {
        CAPTURE(nFft);
        EqualizerFixture f;
        f.SetRate(48000);
        f.eq.SetNode(1, 1000.0f, 6.0f, 0.4f, Shape::Bell);
        f.eq.SetNode(3, 3000.0f, -10.0f, 0.8f, Shape::Bell);
        f.eq.SetNode(7, 9000.0f, 4.0f, 2.0f, Shape::HighShelf);
        f.Int("EQ: FFT Size", nFft);
        f.Int("EQ: Type", kDigital);
        const auto taps = Taps(f, kTaps[nFft], 1024);
        float fAsymmetry = 0.0f;
        for (std::size_t i = 0; i + 1 < taps.size(); ++i)
            fAsymmetry = std::max(fAsymmetry, std::abs(taps[i] - taps[taps.size() - 2 - i]));
        CHECK(fAsymmetry < 1e-6f);
        CHECK(std::abs(taps.back()) < 1e-6f);

        DSP::ResponseCurve total;
        DSP::ResponseCurve node;
        f.eq.TotalResponse(total);
        std::vector<double> sum(DSP::kResponsePoints);
        for (std::uint32_t i = 0; i < kNodes; ++i) {
            f.eq.NodeResponse(i, node);
            for (std::size_t p = 0; p < DSP::kResponsePoints; ++p)
                sum[p] += double{node[p]};
        }
        double fWorst = 0.0;
        double fWorstSum = 0.0;
        for (std::size_t p = 0; p < DSP::kResponsePoints; ++p) {
            const double fDb = Db(Test::MagnitudeAt(taps, double{frequencies[p]}, 48000.0));
            fWorst = std::max(fWorst, std::abs(fDb - double{total[p]}));
            // Below, the shorter filters are too blunt for the sum to hold.
            if (double{frequencies[p]} > 2000.0) fWorstSum = std::max(fWorstSum, std::abs(sum[p] - fDb));
        }
        CHECK(fWorst < 0.02);
        CHECK(fWorstSum < 0.2);
        // The curves by hand: 10 kHz lies on the plateau, past the width of exp(1 / 2.83).
        f.eq.NodeResponse(7, node);
        CHECK(node.back() == doctest::Approx(8.0).epsilon(0.01));
        f.eq.NodeResponse(3, node);
        CHECK(*std::min_element(node.begin(), node.end()) == doctest::Approx(-10.0).epsilon(0.01));
        f.eq.NodeResponse(0, node);
        CHECK(*std::max_element(node.begin(), node.end()) < 1e-4f);
        f.Bool("EQ: Enable 4", false);
        f.eq.NodeResponse(3, node);
        CHECK(*std::min_element(node.begin(), node.end()) > -1e-4f);
        f.eq.TotalResponse(total);
        CHECK(double{total[300]} > Db(Test::MagnitudeAt(taps, double{frequencies[300]}, 48000.0)) + 3.0);
    }
}

TEST_CASE("Digital gives the same bits in every cut, and mono the bits of left alone") {
    const StereoSignal input = StereoNoise(2, 30000);
    for (const std::int32_t nType : {kDigital, kMatching}) {
        for (const std::int32_t nBuffer : {0, 3}) {
            EqualizerFixture f;
            f.MakeLively();
            f.eq.SetSpectra(Flat(), Falling());
            f.Int("EQ: Buffer Size", nBuffer);
            f.Int("EQ: Type", nType);
            const StereoSignal whole = f.Render(input, {30000});
            CAPTURE(nType);
            CAPTURE(nBuffer);
            for (const std::vector<std::uint32_t>& cuts : {std::vector<std::uint32_t>{1, 2, 3},
                                                           {64},
                                                           {511, 1, 513},
                                                           {8192},
                                                           Test::RandomCuts(4, 30000, 3000)}) {
                f.eq.ClearAudio();
                CHECK(Test::SameBits(f.Render(input, cuts), whole));
            }
            f.eq.ClearAudio();
            CHECK(Test::FirstDifference(f.Render({input.left, {}}).left, whole.left) == -1);
            // Back in stereo, what was heard before the mono is gone.
            f.eq.ClearAudio();
            f.Render(input);
            f.Render({std::vector<float>(20000), {}});
            const StereoSignal silence{std::vector<float>(5000), std::vector<float>(5000)};
            CHECK(Test::SameBits(f.Render(silence), silence));
        }
    }
}

TEST_CASE(
    "A dragged node changes the filter under a running sound, without a gap or an allocation in the audio") {
    EqualizerFixture f;
    f.MakeLively();
    f.Int("EQ: Type", kDigital);
    StereoSignal block = StereoNoise(3, 8192);
    f.Process(8192, block.left.data(), block.right.data());
    EqualizerFixture straight;
    straight.MakeLively();
    straight.Int("EQ: Type", kDigital);
    const StereoSignal input = StereoNoise(4, 16384);
    f.eq.ClearAudio();
    const StereoSignal head{{input.left.begin(), input.left.begin() + 8192},
                            {input.right.begin(), input.right.begin() + 8192}};
    const StereoSignal tail{{input.left.begin() + 8192, input.left.end()},
                            {input.right.begin() + 8192, input.right.end()}};
    f.Render(head);
    f.Float("EQ: Gain 4", 8.9f);
    f.Float("EQ: Gain 4", 9.0f);
    std::size_t uAllocations = 0;
    StereoSignal dragged = tail;
    {
        const Test::AllocationCounter counter;
        f.Process(8192, dragged.left.data(), dragged.right.data());
        uAllocations = counter.Count();
    }
    CHECK(uAllocations == 0);
    straight.Render(head);
    const StereoSignal undisturbed = straight.Render(tail);
    CHECK(Test::WorstDifference(dragged.left, undisturbed.left) < 2e-6f);

    // A new rate and a new type begin with silence; at the rate, the buffer first gives what it holds.
    const StereoSignal silence{std::vector<float>(9000), std::vector<float>(9000)};
    f.SetRate(48000);
    const StereoSignal rest = f.Render(silence);
    CHECK(std::all_of(rest.left.begin() + 1023, rest.left.end(),
                      [](float fSample) { return fSample == 0.0f; }));
    f.Render(input);
    f.Int("EQ: Type", kMatching);
    CHECK(Test::SameBits(f.Render(silence), silence));
}

TEST_CASE("Matching adds the curve between the spectra, scaled by its amount") {
    const DSP::ResponseCurve frequencies = DSP::ResponseFrequencies();
    const auto difference = [](const std::vector<float>& a, const std::vector<float>& b) {
        return Test::WorstDifference(a, b);
    };
    EqualizerFixture f;
    f.MakeLively();
    f.Int("EQ: FFT Size", 1);
    f.Int("EQ: Type", kDigital);
    const auto digital = Taps(f, 4096, 1024);
    f.Int("EQ: Type", kMatching);
    CHECK(difference(Taps(f, 4096, 1024), digital) == 0.0f);
    f.eq.SetSpectra(Falling(), Falling());
    CHECK(difference(Taps(f, 4096, 1024), digital) == 0.0f);
    f.eq.SetSpectra(Flat(), Falling());
    CHECK(difference(Taps(f, 4096, 1024), digital) > 0.01f);
    f.Int("EQ: Type", kDigital);
    CHECK(difference(Taps(f, 4096, 1024), digital) == 0.0f);
    f.Int("EQ: Type", kMatching);
    f.eq.SetMatchingAmount(0.0f);
    CHECK(difference(Taps(f, 4096, 1024), digital) == 0.0f);

    f.eq.SetMatchingAmount(50.0f);
    f.eq.SetSmoothing(0.0f);
    for (std::uint32_t i = 0; i < kNodes; ++i)
        f.Bool("EQ: Enable " + std::to_string(i + 1), false);
    const auto taps = Taps(f, 4096, 1024);
    const auto at = [&](double fHz) { return Db(Test::MagnitudeAt(taps, fHz, 44100.0)); };
    // Half of 6 dB an octave; the level as a whole goes its own way.
    CHECK(at(4000.0) - at(8000.0) == doctest::Approx(3.01).epsilon(0.01));
    CHECK(at(2000.0) - at(16000.0) == doctest::Approx(9.03).epsilon(0.01));
    CHECK(at(200.0) - at(800.0) == doctest::Approx(0.0).epsilon(0.02));
    DSP::ResponseCurve matching;
    f.eq.MatchingResponse(matching);
    double fWorst = 0.0;
    for (std::size_t p = 0; p < DSP::kResponsePoints; ++p)
        fWorst = std::max(fWorst, std::abs(double{matching[p]} - at(double{frequencies[p]})));
    CHECK(fWorst < 0.02);

    // The grid of the curve follows the length and the rate.
    f.Int("EQ: FFT Size", 0);
    f.SetRate(96000);
    const auto shortTaps = Taps(f, 1024, 1024);
    CHECK(Db(Test::MagnitudeAt(shortTaps, 500.0, 96000.0) / Test::MagnitudeAt(shortTaps, 4000.0, 96000.0)) ==
          doctest::Approx(6.02).epsilon(0.02));
    // And is clamped.
    f.eq.SetMatchingAmount(1e9f);
    CHECK(f.eq.MatchingAmount() == 100.0f);
    f.eq.SetSmoothing(-1.0f);
    CHECK(f.eq.Smoothing() == 0.0f);
}

TEST_CASE("A type and a buffer set the block buffer, and the engine hears of every change of the delay") {
    EqualizerFixture f;
    const auto expect = [&](int nRequests, std::uint32_t uOwn, std::uint32_t uBuffer) {
        CHECK(f.context.nDelayRequests == nRequests);
        CHECK(f.eq.GetLatency() == uOwn);
        CHECK(f.eq.BlockBufferLatency() == uBuffer);
    };
    f.Int("EQ: Type", kDigital);
    expect(1, 511, 1023);
    f.Int("EQ: FFT Size", 2);
    expect(2, 8191, 1023);
    f.Int("EQ: Buffer Size", 0);
    expect(3, 8191, 127);
    f.Int("EQ: Type", kMatching);
    expect(3, 8191, 127);
    f.Int("EQ: Type", kAnalog);
    expect(4, 0, 0);
    f.eq.SetPresetChanging(true);
    f.Int("EQ: Type", kDigital);
    expect(4, 8191, 127);
}

TEST_CASE("A state load and a preset change design once, at their end") {
    for (const bool bPreset : {false, true}) {
        EqualizerFixture f;
        bPreset ? f.eq.BeginPresetChange() : f.eq.BeginStateLoad();
        f.Int("EQ: Type", kDigital);
        f.Int("EQ: FFT Size", 1);
        f.MakeLively();
        CHECK(f.eq.GetLatency() == 0);
        f.eq.FinishBackgroundWork();
        bPreset ? f.eq.EndPresetChange() : f.eq.EndStateLoad();
        CHECK(f.eq.GetLatency() == 2047);
        CHECK(f.context.nDelayRequests == 1);
        EqualizerFixture expected;
        expected.MakeLively();
        expected.Int("EQ: FFT Size", 1);
        expected.Int("EQ: Type", kDigital);
        const StereoSignal input = StereoNoise(7, 8192);
        CHECK(Test::SameBits(f.Render(input), expected.Render(input)));
    }
}

TEST_CASE("An automated node of a FIR type is designed on the audio thread and heard from its block on") {
    EqualizerFixture f;
    f.eq.SetNode(3, 1000.0f, -1.0f, 0.5f, Shape::Bell);
    f.Int("EQ: Type", kDigital);
    f.eq.SetAutomationActive(true);
    const EnvelopeSegment segment{0, 1000000000, 12.0f, 12.0f};
    f.eq.Envelopes().AddSegments(ParameterGroup::Float, f.Find(ParameterGroup::Float, "EQ: Gain 4"),
                                 {&segment, 1});
    f.Render(StereoNoise(5, 8192));
    CHECK(f.Float("EQ: Gain 4") == 12.0f);
    EqualizerFixture expected;
    expected.eq.SetNode(3, 1000.0f, 12.0f, 0.5f, Shape::Bell);
    expected.Int("EQ: Type", kDigital);
    const StereoSignal input = StereoNoise(6, 8192);
    f.eq.ClearAudio();
    CHECK(Test::SameBits(f.Render(input), expected.Render(input)));
}
