#include "dsp/CombReverb.h"

#include <doctest/doctest.h>

#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

using DSP::CombReverb;

namespace {

struct Stereo {
    std::vector<float> left;
    std::vector<float> right;  ///< empty: mono
};

Stereo Impulse(std::size_t uLength) {
    Stereo impulse{std::vector<float>(uLength), std::vector<float>(uLength)};
    impulse.left[0] = 1.0f;
    return impulse;
}

void Run(CombReverb& reverb, Stereo& audio, const std::vector<std::uint32_t>& cuts) {
    std::size_t uDone = 0;
    for (std::size_t i = 0; uDone < audio.left.size(); ++i) {
        const std::size_t uFrames =
            std::min<std::size_t>(cuts[std::min(i, cuts.size() - 1)], audio.left.size() - uDone);
        reverb.Process(static_cast<int>(uFrames), audio.left.data() + uDone,
                       audio.right.empty() ? nullptr : audio.right.data() + uDone);
        uDone += uFrames;
    }
}

/// The settings of one case, and the network worked out from them sample by sample in double.
struct Model {
    double fRate = 44100;
    double fDry = 0.0, fWet = 100.0, fRoom = 0.5, fDamping = 0.4, fDelayMs = 0.0, fWidth = 1.0;
    DSP::ReverbCutoffs cutoffs;

    void Apply(CombReverb& reverb) const {
        const auto f = [](double value) { return static_cast<float>(value); };
        reverb.SetSampleRate(static_cast<std::uint32_t>(fRate));
        reverb.SetDry(f(fDry));
        reverb.SetWet(f(fWet));
        reverb.SetRoomSize(f(fRoom));
        reverb.SetDamping(f(fDamping));
        reverb.SetReflectionsDelay(f(fDelayMs));
        reverb.SetWidth(f(fWidth));
        reverb.SetCutoffs(cutoffs);
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
    /// A second-order filter in direct form I, from its analogue-style coefficients.
    Signal Filter(const Signal& x, double fHz, double fQ, bool bHighPass) const {
        const double w = 2.0 * std::numbers::pi * fHz / fRate, c = std::cos(w), s = std::sin(w) / (2.0 * fQ);
        const double b0 = bHighPass ? (1.0 + c) / 2.0 : (1.0 - c) / 2.0;
        const double b1 = bHighPass ? -(1.0 + c) : 1.0 - c;
        Signal y(x.size());
        const auto at = [](const Signal& z, std::size_t n, std::size_t k) { return n >= k ? z[n - k] : 0.0; };
        for (std::size_t n = 0; n < x.size(); ++n) {
            y[n] = (b0 * (x[n] + at(x, n, 2)) + b1 * at(x, n, 1) + 2.0 * c * at(y, n, 1) -
                    (1.0 - s) * at(y, n, 2)) /
                   (1.0 + s);
        }
        return y;
    }
    Signal Wet(const Signal& own, const Signal& other, double fOther) const {
        const double w1 = (fWidth / 2.0 + 0.5) * fWet / 100.0, w2 = (0.5 - fWidth / 2.0) * fWet / 100.0;
        const auto uDelay =
            static_cast<std::size_t>(std::max(std::lround(fRate * fDelayMs / 1000.0), 1L) - 1);
        Signal mix(own.size());
        for (std::size_t n = uDelay; n < mix.size(); ++n)
            mix[n] = w1 * own[n - uDelay] + fOther * w2 * other[n - uDelay];
        mix = Filter(mix, double{cutoffs.fLowHz}, double{cutoffs.fLowQ}, true);
        return Filter(mix, double{cutoffs.fHighHz}, double{cutoffs.fHighQ}, false);
    }
    /// The greatest difference to what the network made of an input.
    double Worst(const Stereo& input, const Stereo& output) const {
        const bool bStereo = !input.right.empty();
        Signal x(input.left.size());
        for (std::size_t n = 0; n < x.size(); ++n)
            x[n] = 0.015 * (double{input.left[n]} + double{bStereo ? input.right[n] : input.left[n]});
        const Signal left = Bank(x, 0), right = Bank(x, 23);
        const Signal wetLeft = Wet(left, right, bStereo ? 1.0 : 0.0);
        const Signal wetRight = Wet(right, left, 1.0);
        double fWorst = 0.0;
        const auto compare = [&](const std::vector<float>& dry, const Signal& wet,
                                 const std::vector<float>& actual) {
            for (std::size_t n = 0; n < actual.size(); ++n) {
                const double fExpected = fDry / 100.0 * double{dry[n]} + wet[n];
                fWorst = std::max(fWorst, std::abs(fExpected - double{actual[n]}));
            }
        };
        compare(input.left, wetLeft, output.left);
        if (bStereo) compare(input.right, wetRight, output.right);
        return fWorst;
    }
};

}  // namespace

TEST_CASE("The comb network's response is that of its combs, allpasses, delay and filters") {
    std::vector<Model> cases(5);
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
    for (const Model& model : cases) {
        CAPTURE(&model - cases.data());
        for (const bool bStereo : {true, false}) {
            CombReverb reverb;
            model.Apply(reverb);
            Stereo input = Impulse(30000);
            input.right = Test::Noise(3, 30000);
            if (!bStereo) input.right.clear();
            Stereo output = input;
            Run(reverb, output, {511, 1, 513});
            // Float arithmetic in loops with a gain below 0.93: errors add up to some 14 of 3e-8 a comb,
            // times 16 combs.
            CHECK(model.Worst(input, output) < 3e-6);
        }
    }
}

TEST_CASE("A comb network without wet sound is a wire, alone with it silent") {
    CombReverb reverb;
    Stereo audio{Test::Noise(1, 5000), Test::Noise(2, 5000)};
    const Stereo input = audio;
    Run(reverb, audio, {512});
    CHECK(Test::FirstDifference(audio.left, input.left) == -1);
    CHECK(Test::FirstDifference(audio.right, input.right) == -1);
    reverb.SetSoloWet(true);
    Run(reverb, audio, {512});
    CHECK(audio.left == std::vector<float>(5000, 0.0f));
}

TEST_CASE("Above half the rate the high cut is a wire and the low cut silences the wet sound") {
    const auto render = [](const DSP::ReverbCutoffs& cutoffs) {
        CombReverb reverb;
        reverb.SetSampleRate(22050);
        reverb.SetDry(0.0f);
        reverb.SetWet(100.0f);
        reverb.SetCutoffs(cutoffs);
        Stereo audio = Impulse(4000);
        Run(reverb, audio, {333});
        return audio;
    };
    CHECK(render({11026.0f, 2.0f, 7000.0f, 2.0f}).left == std::vector<float>(4000, 0.0f));
    // With the low cut at 20 Hz next to nothing is lost: the first echo of an unfiltered network comes after
    // 1116 samples, four allpasses turn its sign four times, and its height is the input's gain.
    const Stereo open = render({20.0f, 0.7f, 11026.0f, 0.2f});
    CHECK(open.left[1115] == 0.0f);
    CHECK(open.left[1116] == doctest::Approx(0.015).epsilon(0.01));
}

TEST_CASE("A comb network's stream may be cut anywhere, and a reset forgets it") {
    CombReverb reverb;
    reverb.SetWet(60.0f);
    reverb.SetReflectionsDelay(13.0f);
    reverb.SetWidth(2.0f);
    const Stereo input{Test::Noise(1, 20000), Test::Noise(2, 20000)};
    Stereo whole = input;
    Run(reverb, whole, {20000});
    for (const auto& cuts :
         {std::vector<std::uint32_t>{1}, {64}, {511, 1, 513}, Test::RandomCuts(9, 20000, 900)}) {
        CAPTURE(cuts.front());
        reverb.Reset();
        Stereo audio = input;
        Run(reverb, audio, cuts);
        CHECK(Test::FirstDifference(audio.left, whole.left) == -1);
        CHECK(Test::FirstDifference(audio.right, whole.right) == -1);
    }
}

TEST_CASE("A mono block moves the left bank only") {
    CombReverb reverb, untouched;
    for (CombReverb* each : {&reverb, &untouched})
        each->SetWet(100.0f);
    Stereo mono{Test::Noise(4, 3000), {}};
    Run(reverb, mono, {256});
    // With the width at 1 the right output is the right bank's alone.
    Stereo silence{std::vector<float>(3000), std::vector<float>(3000)};
    Run(reverb, silence, {256});
    CHECK(silence.right == std::vector<float>(3000, 0.0f));
    CHECK(silence.left != silence.right);
}

TEST_CASE("A comb network is clean right after damage, and no setting of it allocates") {
    CombReverb reverb, clean;
    for (CombReverb* each : {&reverb, &clean}) {
        each->SetSampleRate(48000);
        each->SetWet(50.0f);
    }
    Stereo audio{Test::Noise(1, 4096), Test::Noise(2, 4096)};
    Stereo expected = audio;
    for (float* f : {&expected.left[100], &expected.left[200], &expected.right[300]})
        *f = 0.0f;
    audio.left[100] = std::numeric_limits<float>::quiet_NaN();
    audio.left[200] = -std::numeric_limits<float>::infinity();
    audio.right[300] = 1e30f;
    Run(reverb, audio, {512});
    Run(clean, expected, {512});
    for (const std::size_t n : {100u, 200u})
        audio.left[n] = expected.left[n];
    audio.right[300] = expected.right[300];
    CHECK(Test::FirstDifference(audio.left, expected.left) == -1);
    CHECK(Test::FirstDifference(audio.right, expected.right) == -1);

    Test::Random random(5);
    const Test::AllocationCounter counter;
    for (int i = 0; i < 100; ++i) {
        reverb.SetReflectionsDelay(random.Uniform(0.0f, 100.0f));
        reverb.SetCutoffs({random.Uniform(20.0f, 20000.0f), random.Uniform(0.2f, 12.0f),
                           random.Uniform(20.0f, 20000.0f), random.Uniform(0.2f, 12.0f)});
        reverb.SetDamping(random.Uniform(0.1f, 1.0f));
        reverb.SetRoomSize(random.Uniform(0.1f, 0.8f));
        reverb.Process(512, audio.left.data(), audio.right.data());
    }
    reverb.Reset();
    CHECK(counter.Count() == 0);
    float fWorst = 0.0f;
    for (const float f : audio.left)
        fWorst = std::max(fWorst, std::isfinite(f) ? std::abs(f) : 1e9f);
    CHECK(fWorst < 1e6f);
}
