#include "dsp/CombReverb.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/Reverb.h"
#include "tests/dsp/CutoffsModel.h"
#include "tests/dsp/StreamRig.h"
#include "tests/support/TestContext.h"

using Test::Stereo;

namespace {

/// The settings of one case, and the network worked out from them sample by sample in double.
struct Model {
    double fRate = 44100;
    double fDry = 0.0, fWet = 100.0, fRoom = 0.5, fDamping = 0.4, fDelayMs = 0.0, fWidth = 1.0;
    DSP::ReverbCutoffs cutoffs;
    bool bSoloWet = false;

    /// A reverb of the plate type, in the order of its table.
    void Apply(Component& reverb) const {
        reverb.SetSampleRate(static_cast<std::uint32_t>(fRate));
        reverb.SetInt(0, 0);
        std::uint32_t i = 0;
        for (const double f : {fDry, fWet, fRoom, fDamping, fDelayMs, fWidth, double{cutoffs.fLowHz},
                               double{cutoffs.fLowQ}, double{cutoffs.fHighHz}, double{cutoffs.fHighQ}})
            reverb.SetFloat(i++, static_cast<float>(f));
        reverb.SetBool(2, bSoloWet);
        reverb.FinishBackgroundWork();
    }

    using Signal = std::vector<double>;

    /// One comb by its definition as a difference equation: y[n] = x[n - N] + feedback * lowpass(y)[n - N].
    Signal Comb(const Signal& x, std::size_t N) const {
        const double fFeedback = fRoom * 0.28 + 0.7, fDamp = fDamping * 0.4;
        Signal y(x.size()), low(x.size());
        for (std::size_t n = 0; n < x.size(); ++n) {
            if (n >= N) y[n] = x[n - N] + fFeedback * low[n - N];
            low[n] = fDamp * (n > 0 ? low[n - 1] : 0.0) + (1.0 - fDamp) * y[n];
        }
        return y;
    }
    /// y[n] = -x[n] + v[n - N], v[n] = x[n] + v[n - N] / 2.
    static Signal Allpass(const Signal& x, std::size_t N) {
        Signal v(x), y(x.size());
        for (std::size_t n = 0; n < x.size(); ++n) {
            const double fPast = n >= N ? v[n - N] : 0.0;
            v[n] += 0.5 * fPast;
            y[n] = fPast - x[n];
        }
        return y;
    }
    Signal Bank(const Signal& x, std::size_t uSpread) const {
        Signal sum(x.size());
        for (const std::size_t N : {1116u, 1188u, 1277u, 1356u, 1422u, 1491u, 1557u, 1617u}) {
            const Signal y = Comb(x, N + uSpread);
            for (std::size_t n = 0; n < y.size(); ++n)
                sum[n] += y[n];
        }
        for (const std::size_t N : {556u, 441u, 341u, 225u})
            sum = Allpass(sum, N + uSpread);
        return sum;
    }
    /// The greatest difference of an output to dry and wet sound together.
    double Worst(const std::vector<float>& dry, const Signal& own, const Signal& other,
                 const std::vector<float>& output) const {
        const double w1 = (fWidth / 2.0 + 0.5) * fWet / 100.0, w2 = (0.5 - fWidth / 2.0) * fWet / 100.0;
        const auto uDelay =
            static_cast<std::size_t>(std::max(std::lround(fRate * fDelayMs / 1000.0), 1L) - 1);
        Signal wet(own.size());
        for (std::size_t n = uDelay; n < wet.size(); ++n)
            wet[n] = w1 * own[n - uDelay] + w2 * other[n - uDelay];
        Test::ApplyCutoffs(wet, fRate, cutoffs);
        double fWorst = 0.0;
        for (std::size_t n = 0; n < wet.size(); ++n) {
            const double fExpected = (bSoloWet ? 0.0 : fDry / 100.0 * double{dry[n]}) + wet[n];
            fWorst = std::max(fWorst, std::abs(fExpected - double{output[n]}));
        }
        return fWorst;
    }
    double Worst(const Stereo& input, const Stereo& output) const {
        const bool bStereo = !input.right.empty();
        Signal x(input.left.size());
        for (std::size_t n = 0; n < x.size(); ++n)
            x[n] = 0.015 * (double{input.left[n]} + double{bStereo ? input.right[n] : input.left[n]});
        const Signal left = Bank(x, 0), right = bStereo ? Bank(x, 23) : Signal(x.size());
        const double fLeft = Worst(input.left, left, right, output.left);
        return bStereo ? std::max(fLeft, Worst(input.right, right, left, output.right)) : fLeft;
    }
};

}  // namespace

TEST_CASE("The comb network's response is that of its combs, allpasses, delay and filters") {
    std::vector<Model> cases(8);
    cases[1].fDry = 70.0;
    cases[1].fRoom = 0.8;
    cases[1].fDamping = 1.0;
    cases[1].fWidth = 3.0;
    cases[2].fRate = 96000;
    cases[2].fDelayMs = 100.0;
    cases[2].fWidth = 0.0;
    cases[3].fRate = 22050;
    cases[3].fDelayMs = 0.04;  // 0.88 samples round to 1, which delays by nothing
    cases[3].cutoffs = {300.0f, 0.2f, 9000.0f, 12.0f};
    cases[4].fDelayMs = 0.0567;  // 2.5005 samples round to 3
    cases[5].fDry = 70.0;
    cases[5].bSoloWet = true;
    // Above half the rate the high cut is a wire, and the low cut silences the wet sound.
    cases[6].fRate = cases[7].fRate = 22050;
    cases[6].cutoffs = {20.0f, 0.7f, 11026.0f, 0.2f};
    cases[7].cutoffs = {11026.0f, 2.0f, 7000.0f, 2.0f};
    for (const Model& model : cases) {
        CAPTURE(&model - cases.data());
        for (const bool bStereo : {true, false}) {
            Test::TestContext context;
            DSP::Reverb reverb(context);
            model.Apply(reverb);
            Stereo input = Test::UnitImpulse(30000);
            if (bStereo) input.right = Test::Noise(3, 30000);
            // Float arithmetic in loops with a gain below 0.93: errors add up to some 14 of 3e-8 a comb,
            // times 16 combs.
            CHECK(model.Worst(input, Test::RunCut(reverb, input, {511, 1, 513})) < 3e-6);
        }
    }
}

TEST_CASE("A new comb network is a wire, and mono blocks move its left bank only") {
    DSP::CombReverb reverb;
    const auto run = [&](const Stereo& audio) {
        const auto process = [&](int nFrames, float* left, float* right) {
            reverb.Process(nFrames, left, right);
        };
        return Test::RunCut(process, audio, {511});
    };
    const Stereo input = Test::StereoNoise(1, 3000);
    CHECK(Test::Same(run(input), input));
    reverb.Reset();
    reverb.SetWet(100.0f);
    run({input.left, {}});
    // With the width at 1 the right output is the right bank's alone.
    const Stereo tail = run(Test::Silence(3000));
    CHECK(tail.right == std::vector<float>(3000, 0.0f));
    CHECK(tail.left != tail.right);
}

TEST_CASE("A high cut that is dragged to exactly half the rate stays in bounds") {
    Test::TestContext context;
    DSP::Reverb reverb(context);
    Model model;
    model.fRate = 16000;
    model.cutoffs.fHighHz = 7200.0f;
    model.Apply(reverb);
    Test::RunCut(reverb, Test::StereoNoise(6, 4000, 0.1f), {512});
    reverb.SetFloat(8, 8000.0f);
    const auto left = Test::RunCut(reverb, Test::StereoNoise(7, 16000, 0.1f), {512}).left;
    CHECK(*std::max_element(left.begin(), left.end()) < 1.0f);
}
