#include "dsp/DepthShaper.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "dsp/vector/Fft.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/DitherModel.h"
#include "tests/support/Signals.h"

namespace {

using DSP::DepthShaper;
using DSP::DepthShaperSettings;
using DSP::NoiseShapingFilter;
using Table = NoiseShapingFilter::Table;

/// A shaper as the component sets it up. Uniform noise takes the table as it is, high-passed noise follows
/// the amount.
void SetUp(DepthShaper& shaper, const DepthShaperSettings& settings, const Table& table, int nChannels = 2) {
    shaper.Configure(nChannels, nChannels, 0);
    NoiseShapingFilter filter(table, settings.bHighPassNoise);
    filter.Rebuild(settings.fNoiseAmount);
    shaper.Set(settings, filter);
}

Test::DitherModel Model(const DepthShaperSettings& settings, const Table& table, std::size_t uChannel) {
    Test::DitherModel model;
    model.source = table.coefficients;
    model.bUseAmount = settings.bHighPassNoise;
    model.fPeak = table.fPeak;
    model.nWordLength = settings.nWordLength;
    model.fAmount = settings.fNoiseAmount;
    model.bHighPass = settings.bHighPassNoise;
    model.bLimit = settings.bLimitPeaks;
    model.bBlank = settings.bAutoBlank;
    model.bKill = settings.bKillHarmonics;
    model.uSeed = DepthShaper::Seed(uChannel);
    return model;
}

std::vector<float> Render(DepthShaper& shaper, std::vector<float> left, std::vector<float>* right = nullptr,
                          const std::vector<std::uint32_t>& cuts = {}) {
    std::size_t uDone = 0;
    for (std::size_t uCut = 0; uDone < left.size(); ++uCut) {
        const std::size_t uFrames = uCut < cuts.size() ? cuts[uCut] : left.size() - uDone;
        float* const channels[] = {left.data() + uDone, right ? right->data() + uDone : nullptr};
        shaper.Process(channels, static_cast<int>(uFrames), nullptr);
        uDone += uFrames;
    }
    return left;
}

std::vector<float> Scaled(std::vector<float> samples, float fGain) {
    for (float& fSample : samples)
        fSample *= fGain;
    return samples;
}

/// Power density of a signal in each bin of a 1024-point transform, so that white noise of power p has p.
std::vector<double> PowerDensity(const std::vector<double>& signal) {
    constexpr std::size_t kLength = 1024;
    const DSP::RealFft fft(10);
    std::vector<float> frame(kLength), spectrum(fft.SpectrumLength()), work(fft.WorkLength());
    std::vector<double> power(kLength / 2 + 1, 0.0);
    double fWindowPower = 0.0;
    std::size_t uFrames = 0;
    for (std::size_t uStart = 0; uStart + kLength <= signal.size(); uStart += kLength / 2, ++uFrames) {
        fWindowPower = 0.0;
        for (std::size_t i = 0; i < kLength; ++i) {
            const double fWindow =
                0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / kLength);
            fWindowPower += fWindow * fWindow;
            frame[i] = static_cast<float>(signal[uStart + i] * fWindow);
        }
        fft.Forward(frame.data(), spectrum.data(), work.data());
        for (std::size_t k = 0; k < power.size(); ++k) {
            power[k] +=
                double{spectrum[2 * k]} * spectrum[2 * k] + double{spectrum[2 * k + 1]} * spectrum[2 * k + 1];
        }
    }
    for (double& fPower : power)
        fPower /= fWindowPower * static_cast<double>(uFrames);
    return power;
}

/// The output less the input, in steps.
std::vector<double> Added(const std::vector<float>& output, const std::vector<float>& input, double fScale) {
    std::vector<double> added;
    for (std::size_t i = 0; i < input.size(); ++i)
        added.push_back((double{output[i]} - double{input[i]}) * fScale);
    return added;
}

/// Amplitude of a frequency that fits into the signal a whole number of times.
double Amplitude(const std::vector<float>& signal, std::size_t uCycles) {
    double fRe = 0.0, fIm = 0.0;
    for (std::size_t i = 0; i < signal.size(); ++i) {
        const double fAngle = 2.0 * std::numbers::pi * static_cast<double>(i * uCycles % signal.size()) /
                              static_cast<double>(signal.size());
        fRe += double{signal[i]} * std::cos(fAngle);
        fIm += double{signal[i]} * std::sin(fAngle);
    }
    return 2.0 * std::sqrt(fRe * fRe + fIm * fIm) / static_cast<double>(signal.size());
}

struct Case {
    DepthShaperSettings settings;
    Table table;
};

/// Every branch, among them each filter length and settings that no component makes.
std::vector<Case> Cases() {
    std::vector<Case> cases;
    for (std::uint32_t uShape = 0; uShape < 5; ++uShape) {
        cases.push_back({{16, 0.5f, false, false, false, false}, NoiseShapingFilter::ForShape(uShape)});
        cases.push_back({{24, 2.0f, true, false, true, true}, NoiseShapingFilter::ForShape(uShape)});
        cases.push_back({{16, 0.8f, true, true, true, false}, NoiseShapingFilter::ForRate(2, uShape)});
        cases.push_back({{8, 0.5f, true, true, false, true}, NoiseShapingFilter::ForRate(uShape, 4)});
        cases.push_back({{12, 0.0f, true, false, true, true}, NoiseShapingFilter::ForRate(3, uShape)});
    }
    return cases;
}

/// Music-like extremes: loud, tiny, silent and wrong samples in stretches, with silences long and short.
std::vector<float> Material(std::uint64_t uSeed) {
    Test::Random random(uSeed);
    std::vector<float> samples;
    const float gains[] = {1.0f, 0.3f, 1e-3f, 1e-5f, 1e-7f, 0.0f, 3.0f};
    for (const std::uint32_t uLength : {100u, 3000u, 900u, 1500u, 31000u, 70u, 31500u, 5u, 2000u}) {
        const float fGain = uLength > 30000 ? 1e-10f : gains[random.Next() % 7];
        for (std::uint32_t i = 0; i < uLength; ++i)
            samples.push_back(random.Uniform(-1.0f, 1.0f) * fGain);
    }
    samples[500] = std::numeric_limits<float>::quiet_NaN();
    samples[4500] = -std::numeric_limits<float>::infinity();
    samples[5000] = 1e30f;
    return samples;
}

}  // namespace

TEST_CASE("DepthShaper gives the samples of the plain model in both channels, whatever it is set to") {
    const std::vector<float> inLeft = Material(1), inRight = Material(2);
    std::size_t uCase = 0;
    for (const Case& c : Cases()) {
        CAPTURE(uCase++);
        DepthShaper shaper;
        SetUp(shaper, c.settings, c.table);
        std::vector<float> modelLeft = inLeft, modelRight = inRight, right = inRight;
        Model(c.settings, c.table, 0).Process(modelLeft.data(), modelLeft.size());
        Model(c.settings, c.table, 1).Process(modelRight.data(), modelRight.size());
        CHECK(Test::FirstDifference(Render(shaper, inLeft, &right), modelLeft) == -1);
        CHECK(Test::FirstDifference(right, modelRight) == -1);

        // Mono is the left channel alone, and a reset begins anew.
        SetUp(shaper, c.settings, c.table, 1);
        CHECK(Test::FirstDifference(Render(shaper, inLeft), modelLeft) == -1);
        shaper.Reset();
        CHECK(Test::FirstDifference(Render(shaper, inLeft), modelLeft) == -1);
    }
}

TEST_CASE("DepthShaper: a stream may be cut anywhere, and nothing allocates") {
    const std::vector<float> inLeft = Scaled(Test::Noise(3, 20000), 0.2f), inRight = Test::Noise(4, 20000);
    const std::vector<std::vector<std::uint32_t>> allCuts = {
        std::vector<std::uint32_t>(20000, 1), Test::RandomCuts(5, 20000, 300), {511, 0, 1, 513, 8192}};
    for (const Case& c : Cases()) {
        DepthShaper shaper;
        SetUp(shaper, c.settings, c.table);
        std::vector<float> wholeRight = inRight;
        const std::vector<float> whole = Render(shaper, inLeft, &wholeRight);
        for (const auto& cuts : allCuts) {
            shaper.Reset();
            std::vector<float> left = inLeft, right = inRight;
            std::size_t uAllocations;
            {
                float* channels[] = {left.data(), right.data()};
                Test::AllocationCounter counter;
                for (const std::uint32_t uFrames : cuts) {
                    shaper.Process(channels, static_cast<int>(uFrames), nullptr);
                    channels[0] += uFrames;
                    channels[1] += uFrames;
                }
                const auto uRest = static_cast<int>(left.data() + left.size() - channels[0]);
                shaper.Process(channels, uRest, nullptr);
                uAllocations = counter.Count();
            }
            CHECK(uAllocations == 0);
            CHECK(Test::FirstDifference(left, whole) == -1);
            CHECK(Test::FirstDifference(right, wholeRight) == -1);
        }
    }
}

TEST_CASE("With blanking, block for block, silences of every length end and begin as in the plain model") {
    Test::Random random(61);
    std::vector<float> left, right;
    for (int nStretch = 0; nStretch < 400; ++nStretch) {
        // Around a hold of 70 samples.
        const std::uint32_t uLength =
            random.Between(0, 3) == 0 ? random.Between(68, 73) : random.Between(1, 200);
        const float fLeft = random.Between(0, 2) == 0 ? 0.1f : 0.0f;
        const float fRight = random.Between(0, 2) == 0 ? 0.1f : 0.0f;
        for (std::uint32_t i = 0; i < uLength; ++i) {
            left.push_back(random.Uniform(0.5f, 1.0f) * fLeft);
            right.push_back(random.Uniform(0.5f, 1.0f) * fRight);
        }
    }
    for (const bool bKill : {false, true}) {
        const DepthShaperSettings settings{16, 0.8f, true, false, true, bKill};
        const Table table = NoiseShapingFilter::ForShape(2);
        DepthShaper shaper;
        SetUp(shaper, settings, table);
        shaper.SetSampleRate(101);  // 0.7 of it and a bit, cut off
        Test::DitherModel modelLeft = Model(settings, table, 0), modelRight = Model(settings, table, 1);
        modelLeft.nHold = modelRight.nHold = 70;
        std::size_t uDone = 0;
        std::vector<float> outLeft = left, outRight = right, wantLeft = left, wantRight = right;
        for (const std::uint32_t uFrames :
             Test::RandomCuts(62, static_cast<std::uint32_t>(left.size()), 90)) {
            float* const channels[] = {outLeft.data() + uDone, outRight.data() + uDone};
            shaper.Process(channels, static_cast<int>(uFrames), nullptr);
            modelLeft.Process(wantLeft.data() + uDone, uFrames);
            modelRight.Process(wantRight.data() + uDone, uFrames);
            uDone += uFrames;
        }
        CHECK(Test::FirstDifference(outLeft, wantLeft) == -1);
        CHECK(Test::FirstDifference(outRight, wantRight) == -1);
    }
}

TEST_CASE("A separate output gets the samples and leaves the input alone") {
    DepthShaper shaper;
    SetUp(shaper, {}, NoiseShapingFilter::ForShape(4));
    std::vector<float> left = Test::Noise(3, 100), right = Test::Noise(4, 100), out(100), outRight(100);
    const std::vector<float> input = left;
    float* const inputs[] = {left.data(), right.data()};
    float* const outputs[] = {out.data(), outRight.data()};
    shaper.Process(inputs, 100, outputs);
    CHECK(Test::FirstDifference(left, input) == -1);
    shaper.Reset();
    shaper.Process(inputs, 100, nullptr);
    CHECK(Test::FirstDifference(left, out) == -1);
    CHECK(Test::FirstDifference(right, outRight) == -1);
}

TEST_CASE("Every output sample is a whole number of steps of the word length") {
    for (const int nBits : {8, 12, 16, 20, 24}) {
        for (Case c : Cases()) {
            c.settings.nWordLength = nBits;
            c.settings.bAutoBlank = false;
            DepthShaper shaper;
            SetUp(shaper, c.settings, c.table, 1);
            bool bOnGrid = true;
            for (const float fSample : Render(shaper, Test::Noise(9, 3000))) {
                const double fSteps = std::ldexp(double{fSample}, nBits - 1);
                bOnGrid = bOnGrid && fSteps == std::floor(fSteps);
            }
            CAPTURE(nBits);
            CHECK(bOnGrid);
        }
    }
}

TEST_CASE("The noise has the spectrum of the total error through the filter's transfer function") {
    const std::vector<float> input = Scaled(Test::Noise(11, 400000), 0.25f);
    const Table tables[] = {{},
                            NoiseShapingFilter::ForShape(1),
                            NoiseShapingFilter::ForShape(2),
                            NoiseShapingFilter::ForShape(4),
                            NoiseShapingFilter::ForRate(2, 3),
                            NoiseShapingFilter::ForRate(2, 4),
                            NoiseShapingFilter::ForRate(4, 1),
                            NoiseShapingFilter::ForRate(0, 1)};
    for (const Table& table : tables) {
        CAPTURE(table.coefficients.size());
        DepthShaper shaper;
        SetUp(shaper, {}, table, 1);
        const std::vector<double> power = PowerDensity(Added(Render(shaper, input), input, 32768.0));
        // White rounding error and high-passed dither, a twelfth of a squared step each before shaping; in
        // bands of 16 bins, as a single one is as uncertain as noise is.
        double fWorstDb = 0.0;
        for (std::size_t uBand = 16; uBand + 16 <= 512; uBand += 16) {
            double fMeasured = 0.0, fExpected = 0.0;
            for (std::size_t k = uBand; k < uBand + 16; ++k) {
                const double w = std::numbers::pi * static_cast<double>(k) / 512.0;
                double fRe = table.coefficients.empty() ? 1.0 : 0.0, fIm = 0.0;
                for (std::size_t n = 0; n < table.coefficients.size(); ++n) {
                    fRe += double{table.coefficients[n]} / table.coefficients[0] *
                           std::cos(w * static_cast<double>(n));
                    fIm += double{table.coefficients[n]} / table.coefficients[0] *
                           std::sin(w * static_cast<double>(n));
                }
                fExpected += (fRe * fRe + fIm * fIm) * (1.0 + 2.0 - 2.0 * std::cos(w)) / 12.0;
                fMeasured += power[k];
            }
            fWorstDb = std::max(fWorstDb, std::abs(10.0 * std::log10(fMeasured / fExpected)));
        }
        CHECK(fWorstDb < 0.4);
    }
}

TEST_CASE("Noise has nothing to do with the signal, nor with the other channel's noise") {
    constexpr std::size_t kLength = 200000;
    const double fUncertain = 4.0 / std::sqrt(static_cast<double>(kLength));
    const std::vector<float> input = Scaled(Test::Noise(21, kLength), 3e-4f);
    for (const float fAmount : {1.0f, 0.8f, 0.5f}) {
        CAPTURE(fAmount);
        DepthShaper shaper;
        SetUp(shaper, {.fNoiseAmount = fAmount}, {});
        const std::vector<float> inRight = Scaled(Test::Noise(22, kLength), 3e-4f);
        std::vector<float> right = inRight;
        const auto noiseLeft = Added(Render(shaper, input, &right), input, 32768.0);
        const auto noiseRight = Added(right, inRight, 32768.0);
        double fWithSignal = 0.0, fBetween = 0.0, fPower = 0.0, fSignal = 0.0;
        for (std::size_t i = 0; i < kLength; ++i) {
            fWithSignal += noiseLeft[i] * double{input[i]};
            fBetween += noiseLeft[i] * noiseRight[i];
            fPower += noiseLeft[i] * noiseLeft[i];
            fSignal += double{input[i]} * double{input[i]};
        }
        CHECK(std::abs(fWithSignal) / std::sqrt(fPower * fSignal) < fUncertain);
        CHECK(std::abs(fBetween) / fPower < fUncertain);
        // Rounding, and triangular dither with twice its power.
        CHECK(std::abs(fPower / kLength - (1.0 + 2.0 * double{fAmount * fAmount}) / 12.0) < 0.005);
    }
}

TEST_CASE("A sine below one step has no harmonics with Type 2, and has them without dither") {
    constexpr std::size_t kLength = 65536, kCycles = 367;
    std::vector<float> sine(kLength);
    for (std::size_t i = 0; i < kLength; ++i) {
        sine[i] = static_cast<float>(
            0.7 / 32768.0 *
            std::sin(2.0 * std::numbers::pi * static_cast<double>(i * kCycles % kLength) / kLength));
    }
    const auto harmonics = [&](float fAmount) {
        DepthShaper shaper;
        SetUp(shaper, {.fNoiseAmount = fAmount}, {}, 1);
        const std::vector<float> steps = Scaled(Render(shaper, sine), 32768.0f);
        double fGreatest = 0.0;
        for (const std::size_t uHarmonic : {2u, 3u, 5u, 7u, 9u, 11u})
            fGreatest = std::max(fGreatest, Amplitude(steps, uHarmonic * kCycles));
        return std::pair(Amplitude(steps, kCycles), fGreatest);
    };
    const auto [fDithered, fDitheredHarmonics] = harmonics(1.0f);
    CHECK(std::abs(fDithered - 0.7) < 0.02);
    // A bin of noise with the power of half a step squared has an amplitude of about 0.004.
    CHECK(fDitheredHarmonics < 0.016);
    CHECK(harmonics(0.0f).second > 0.1);
}

TEST_CASE("Uniform noise spans half a step either way, and twice that with twice the amount") {
    // The middle between two steps rounds to either as often; a whole step is never missed by 0.5 or more.
    for (const float fAmount : {0.5f, 1.0f}) {
        DepthShaper shaper;
        SetUp(shaper, {.fNoiseAmount = fAmount, .bHighPassNoise = false}, {}, 1);
        std::vector<int> counts(5);
        for (const float fSample : Render(shaper, std::vector<float>(40000, 0.25f / 32768.0f)))
            ++counts[static_cast<std::size_t>(2 + static_cast<int>(fSample * 32768.0f))];
        CAPTURE(fAmount);
        const double fUp = counts[3] / 40000.0, fDown = counts[1] / 40000.0;
        CHECK(fUp == doctest::Approx(fAmount == 0.5f ? 0.25 : 0.375).epsilon(0.01));
        CHECK(fDown == doctest::Approx(fAmount == 0.5f ? 0.0 : 0.125).epsilon(0.01));
        CHECK(counts[0] + counts[4] == 0);
    }
}

TEST_CASE("With limits no sample is moved further than the peak and a step, which happens without them") {
    const std::vector<float> input = Scaled(Test::Noise(31, 50000), 0.01f);
    for (const std::uint32_t uShape : {1u, 3u}) {
        const Table table = NoiseShapingFilter::ForRate(2, uShape);
        double greatest[2] = {};
        for (const bool bLimit : {false, true}) {
            DepthShaper shaper;
            SetUp(shaper, {.bLimitPeaks = bLimit}, table, 1);
            for (const double fMoved : Added(Render(shaper, input), input, 32768.0))
                greatest[bLimit] = std::max(greatest[bLimit], std::abs(fMoved));
        }
        CHECK(greatest[1] <= table.fPeak + 1.0);
        CHECK(greatest[0] > greatest[1]);
    }
}

TEST_CASE("Blanking begins 0.7 s after sound, ends with it, and a silent start stays silent") {
    constexpr int kRate = 1000, kHold = 700;
    const auto silentFrom = [](const std::vector<float>& samples) {
        std::size_t uFrom = samples.size();
        while (uFrom > 0 && samples[uFrom - 1] == 0.0f)
            --uFrom;
        return uFrom;
    };
    DepthShaper shaper;
    const Table table = NoiseShapingFilter::ForShape(4);
    const auto restart = [&](bool bBlank) {
        SetUp(shaper, {.bAutoBlank = bBlank}, table, 1);
        shaper.SetSampleRate(kRate);
    };
    restart(true);
    CHECK(silentFrom(Render(shaper, std::vector<float>(500, 0.0f))) == 0);

    std::vector<float> input(2000, 0.0f);
    std::fill_n(input.begin(), 100, 0.5f);
    std::fill_n(input.begin() + 1900, 100, 0.5f);
    restart(true);
    std::vector<float> output = Render(shaper, input);
    const std::vector<float> gap(output.begin() + 100, output.begin() + 1900);
    const std::size_t uFrom = silentFrom(gap);
    CHECK(uFrom <= kHold);
    CHECK(uFrom >= kHold - 16);
    // Sound is dithered again.
    CHECK(Test::FirstDifference({output.begin() + 1900, output.end()}, std::vector<float>(100, 0.5f)) != -1);

    // A block begins with the sample at which the hold is over: it waits for the sixth of the block.
    restart(true);
    output = Render(shaper, input, nullptr, {100 + kHold, 3, 100});
    bool bNoise = false;
    for (std::size_t i = 100 + kHold; i < 103 + kHold; ++i)
        bNoise = bNoise || output[i] != 0.0f;
    CHECK(bNoise);
    CHECK(silentFrom({output.begin() + 100, output.begin() + 1900}) <= kHold + 3 + 5);

    // Without a filter, and with blanking off, noise goes on.
    restart(false);
    CHECK(silentFrom(Render(shaper, std::vector<float>(2000, 0.0f))) > 1900);
    SetUp(shaper, {.bAutoBlank = true}, {}, 1);
    CHECK(silentFrom(Render(shaper, std::vector<float>(2000, 0.0f))) > 1900);
}

TEST_CASE("After a NaN, an infinity or an astronomical sample the output is as if it had been silence") {
    for (const Case& c : Cases()) {
        std::vector<float> bad = Test::Noise(41, 3000), good = bad;
        for (std::size_t i = 1000; i < 1100; ++i) {
            bad[i] = i % 3 == 0   ? std::numeric_limits<float>::quiet_NaN()
                     : i % 3 == 1 ? std::numeric_limits<float>::infinity()
                                  : 1e30f;
            good[i] = 0.0f;
        }
        DepthShaper shaper;
        SetUp(shaper, c.settings, c.table, 1);
        const std::vector<float> expected = Render(shaper, good);
        shaper.Reset();
        CHECK(Test::FirstDifference(Render(shaper, bad), expected) == -1);
    }
}
