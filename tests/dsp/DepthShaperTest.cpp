#include "dsp/DepthShaper.h"

#include <doctest/doctest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "tests/support/DitherModel.h"
#include "tests/support/ModuleRun.h"

namespace {

using DSP::DepthShaper;
using DSP::NoiseShapingFilter;
using Table = NoiseShapingFilter::Table;
using Test::Stereo;

struct Case {
    DSP::DepthShaperSettings settings;
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

/// Sets a shaper up as the component does. Uniform noise takes the table as it is, high-passed noise follows
/// the amount.
void SetUp(DepthShaper& shaper, const Case& c, int nChannels) {
    shaper.Configure(nChannels, nChannels, 0);
    NoiseShapingFilter filter(c.table, c.settings.bHighPassNoise);
    filter.Rebuild(c.settings.fNoiseAmount);
    shaper.Set(c.settings, filter);
}

Test::DitherModel Model(const Case& c, std::size_t uChannel, std::uint32_t uRate) {
    Test::DitherModel model;
    model.source = c.table.coefficients;
    model.bUseAmount = c.settings.bHighPassNoise;
    model.fPeak = c.table.fPeak;
    model.nWordLength = c.settings.nWordLength;
    model.fAmount = c.settings.fNoiseAmount;
    model.bHighPass = c.settings.bHighPassNoise;
    model.bLimit = c.settings.bLimitPeaks;
    model.bBlank = c.settings.bAutoBlank;
    model.bKill = c.settings.bKillHarmonics;
    model.nHold = static_cast<long>(uRate * 0.7);
    model.uSeed = DepthShaper::Seed(uChannel);
    return model;
}

/// Whether the shaper gives the plain model's samples, block for block: mono in place, stereo in other
/// buffers than the input's, which stay as they are.
bool Agrees(const Case& c, bool bMono, const Stereo& input, const std::vector<std::uint32_t>& cuts,
            std::uint32_t uRate = 44100) {
    DepthShaper shaper;
    SetUp(shaper, c, bMono ? 1 : 2);
    shaper.SetSampleRate(uRate);
    Test::DitherModel left = Model(c, 0, uRate), right = Model(c, 1, uRate);
    Stereo source = input, output = input, expected = input;
    std::size_t uDone = 0;
    for (const std::uint32_t uFrames : cuts) {
        float* const inputs[] = {source.left.data() + uDone, source.right.data() + uDone};
        float* const outputs[] = {output.left.data() + uDone, output.right.data() + uDone};
        shaper.Process(bMono ? outputs : inputs, static_cast<int>(uFrames), bMono ? nullptr : outputs);
        left.Process(expected.left.data() + uDone, uFrames);
        if (!bMono) right.Process(expected.right.data() + uDone, uFrames);
        uDone += uFrames;
    }
    const auto untouched = [](const std::vector<float>& a, const std::vector<float>& b) {
        return std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
    };
    if (Test::FirstDifference(output.left, expected.left) != -1) return false;
    if (bMono) return untouched(output.right, input.right);
    return Test::FirstDifference(output.right, expected.right) == -1 && untouched(source.left, input.left) &&
           untouched(source.right, input.right);
}

}  // namespace

TEST_CASE("DepthShaper gives the samples of the plain model in both channels, whatever it is set to") {
    // Loud, tiny, silent and wrong samples in stretches, with silences long and short.
    const auto material = [](std::uint64_t uSeed) {
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
    };
    const Stereo input{material(1), material(2)};
    const auto uLength = static_cast<std::uint32_t>(input.left.size());
    std::size_t uCase = 0;
    for (const Case& c : Cases()) {
        CAPTURE(uCase++);
        CHECK(Agrees(c, false, input, {uLength}));
        CHECK(Agrees(c, true, input, Test::RandomCuts(uCase, uLength, 3000)));
    }
}

TEST_CASE("DepthShaper: with blanking silences of every length end and begin as in the plain model") {
    Test::Random random(61);
    // A silent start stays silent.
    Stereo input{std::vector<float>(100), std::vector<float>(100)};
    for (int nStretch = 0; nStretch < 400; ++nStretch) {
        // Around a hold of 70 samples.
        const std::uint32_t uLength =
            random.Between(0, 3) == 0 ? random.Between(68, 73) : random.Between(1, 200);
        const float fLeft = random.Between(0, 2) == 0 ? 0.1f : 0.0f;
        const float fRight = random.Between(0, 2) == 0 ? 0.1f : 0.0f;
        for (std::uint32_t i = 0; i < uLength; ++i) {
            input.left.push_back(random.Uniform(0.5f, 1.0f) * fLeft);
            input.right.push_back(random.Uniform(0.5f, 1.0f) * fRight);
        }
    }
    const auto cuts = Test::RandomCuts(62, static_cast<std::uint32_t>(input.left.size()), 90);
    for (const bool bKill : {false, true}) {
        // 0.7 of the rate and a bit, cut off.
        CHECK(Agrees({{16, 0.8f, true, false, true, bKill}, NoiseShapingFilter::ForShape(2)}, false, input,
                     cuts, 101));
    }
}

TEST_CASE("DepthShaper: behind its filter are white rounding errors and high-passed dither, and no signal") {
    constexpr std::size_t kLength = 200000;
    const Stereo input = Test::StereoNoise(21, kLength, 3e-4f);
    std::vector<Case> cases{{{.fNoiseAmount = 0.8f}, {}}, {{.fNoiseAmount = 0.5f}, {}}, {{}, {}}};
    for (const std::uint32_t uShape : {1u, 2u, 3u, 4u}) {
        cases.push_back({{}, NoiseShapingFilter::ForShape(uShape)});
        cases.push_back({{}, NoiseShapingFilter::ForRate(2, uShape)});
        cases.push_back({{}, NoiseShapingFilter::ForRate(uShape % 2 * 4, uShape)});
    }
    int nCase = 0;
    for (const Case& c : cases) {
        CAPTURE(nCase++);
        DepthShaper shaper;
        SetUp(shaper, c, 2);
        Stereo output = input;
        float* const channels[] = {output.left.data(), output.right.data()};
        shaper.Process(channels, kLength, nullptr);
        // The filter is undone: its response to the total errors is what the shaper has added, in steps.
        const auto errors = [&](const std::vector<float>& in, const std::vector<float>& out) {
            std::vector<double> found(kLength);
            for (std::size_t n = 0; n < kLength; ++n) {
                found[n] = (double{out[n]} - double{in[n]}) * 32768.0;
                for (std::size_t k = 1; k < c.table.coefficients.size() && k <= n; ++k)
                    found[n] -=
                        double{c.table.coefficients[k]} / double{c.table.coefficients[0]} * found[n - k];
            }
            return found;
        };
        const auto left = errors(input.left, output.left), right = errors(input.right, output.right);
        const auto product = [](const auto& a, const auto& b, std::size_t uLag) {
            double fSum = 0.0;
            for (std::size_t i = uLag; i < kLength; ++i)
                fSum += double{a[i]} * double{b[i - uLag]};
            return fSum / kLength;
        };
        // A twelfth of a squared step each; the dither is the difference of two neighbours of its source.
        const double fDither = double{c.settings.fNoiseAmount * c.settings.fNoiseAmount} / 12.0;
        const double fPower = 1.0 / 12.0 + 2.0 * fDither;
        const double fShare = 4.0 / std::sqrt(static_cast<double>(kLength)), fUncertain = fShare * fPower;
        const double fSignal = product(input.left, input.left, 0);
        CHECK(std::abs(product(left, left, 0) - fPower) < 0.005);
        CHECK(std::abs(product(left, left, 1) + fDither) < fUncertain);
        for (const std::size_t uLag : {2u, 3u, 4u, 5u, 11u, 39u})
            CHECK(std::abs(product(left, left, uLag)) < fUncertain);
        CHECK(std::abs(product(left, right, 0)) < fUncertain);
        CHECK(std::abs(product(left, input.left, 0)) < fShare * std::sqrt(fPower * fSignal));
    }
}
