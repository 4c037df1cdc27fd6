#include "dsp/PartConv.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "tests/dsp/StreamRig.h"
#include "tests/support/CountingAllocator.h"

using Test::Stereo;

namespace {

using Signal = std::vector<float>;

/// Noise at nTaps places at most, the first and the last among them, zeros elsewhere: long impulses whose
/// model is affordable.
Signal SparseImpulse(std::uint64_t uSeed, int nLength, int nTaps) {
    Signal impulse(static_cast<std::size_t>(nLength));
    Test::Random random(uSeed);
    for (int i = 0; i < nTaps; ++i)
        impulse[random.Between(0, static_cast<std::uint32_t>(nLength) - 1)] = random.Uniform(-1.0f, 1.0f);
    impulse.front() = 0.7f;
    impulse.back() = -0.6f;
    return impulse;
}

/// The model: the sum itself, in double.
std::vector<double> Convolve(const Signal& input, const Signal& impulse) {
    std::vector<double> output(input.size());
    for (std::size_t i = 0; i < impulse.size(); ++i) {
        if (impulse[i] == 0.0f) continue;
        for (std::size_t n = i; n < output.size(); ++n)
            output[n] += double{impulse[i]} * double{input[n - i]};
    }
    return output;
}

/// Whether an output is the model's to what the class promises: single precision through a transform and
/// back, and sums of products in float.
bool Agrees(const Signal& output, const std::vector<double>& model) {
    double fErrors = 0.0, fSquares = 0.0, fWorst = 0.0;
    for (std::size_t n = 0; n < output.size(); ++n) {
        const double fError = std::abs(double{output[n]} - model[n]);
        if (!std::isfinite(fError)) return false;
        fWorst = std::max(fWorst, fError);
        fErrors += fError * fError;
        fSquares += model[n] * model[n];
    }
    const double fRms = std::sqrt(fSquares / static_cast<double>(output.size()));
    return fWorst < 1e-5 * fRms && std::sqrt(fErrors / fSquares) < 1e-6;
}

void Load(DSP::PartConv& convolver, const Signal& impulse) {
    const float* channel = impulse.data();
    convolver.SetImpulse(&channel, static_cast<int>(impulse.size()), 1);
}

void SetUp(DSP::PartConv& convolver, int nBlock, const Signal& impulse) {
    convolver.Configure(2, 2, nBlock);
    Load(convolver, impulse);
}

}  // namespace

TEST_CASE("PartConv is direct convolution for every block and every length around a change of layout") {
    for (const int nBlock : {1, 48, 64, 128, 441, 512, 1024, 4096}) {
        std::vector<int> lengths = {1, 2, 63, 64, 65, 127, 129};
        for (const int nFactor : {1, 2, 3, 4, 8, 9, 16, 17}) {
            for (const int nOff : {-1, 0, 1})
                lengths.push_back(nFactor * nBlock + nOff);
        }
        for (const int nLength : lengths) {
            if (nLength < 1 || nLength > 20000) continue;
            CAPTURE(nBlock);
            CAPTURE(nLength);
            const Signal impulse = SparseImpulse(static_cast<std::uint64_t>(nLength), nLength, 40);
            const Stereo input =
                Test::StereoNoise(1, static_cast<std::size_t>(2 * nLength + 3 * std::max(nBlock, 64)));
            DSP::PartConv convolver;
            SetUp(convolver, nBlock, impulse);
            const auto output = Test::RunCut(convolver, input, {static_cast<std::uint32_t>(nBlock)});
            CHECK(Agrees(output.left, Convolve(input.left, impulse)));
            CHECK(Agrees(output.right, Convolve(input.right, impulse)));
        }
    }
}

TEST_CASE(
    "PartConv convolves a damaged stream, cut at random, as if it were repaired, and again after a reset") {
    Signal impulse = Test::Noise(5, 6000);
    for (std::size_t i = 0; i < impulse.size(); ++i)
        impulse[i] *= 1.0f - static_cast<float>(i) / 6000.0f;
    Stereo input = Test::StereoNoise(3, 12000);
    Stereo repaired = input;
    for (const std::size_t n : {5u, 700u, 701u}) {
        input.left[n] = n == 5 ? NAN : n == 700 ? INFINITY : 1e30f;
        repaired.left[n] = 0.0f;
    }
    const auto left = Convolve(repaired.left, impulse), right = Convolve(repaired.right, impulse);
    for (const int nBlock : {64, 512}) {
        // Longer than the configured block, too: the object grows and loses nothing.
        for (const std::uint32_t uLongest : {20u, 512u, 5000u}) {
            CAPTURE(nBlock);
            CAPTURE(uLongest);
            DSP::PartConv convolver;
            SetUp(convolver, nBlock, impulse);
            const auto cuts = Test::RandomCuts(uLongest, 12000, uLongest);
            const auto output = Test::RunCut(convolver, input, cuts);
            CHECK((Agrees(output.left, left) && Agrees(output.right, right)));
            convolver.Reset();
            CHECK(Test::Same(Test::RunCut(convolver, input, cuts), output));
        }
    }
}

TEST_CASE("PartConv gives the same bits for every cut into whole blocks of its grid") {
    const Stereo input = Test::StereoNoise(6, 16384);
    DSP::PartConv convolver;
    SetUp(convolver, 512, SparseImpulse(8, 9000, 500));
    const auto uGrid = static_cast<std::uint32_t>(convolver.Impulse()->Layout().Grid());
    REQUIRE(uGrid <= 512);
    const auto whole = Test::RunCut(convolver, input, {16384});
    for (const std::uint32_t uBlocks : {1u, 3u}) {
        convolver.Reset();
        CHECK(Test::Same(Test::RunCut(convolver, input, {uBlocks * uGrid}), whole));
    }
}

TEST_CASE("PartConv starts as a wire, takes hostile arguments, and allocates nothing whatever the blocks") {
    DSP::PartConv convolver;
    convolver.Configure(0, 0, 0);
    convolver.Process(nullptr, 16, nullptr);
    convolver.Configure(1, 1, -5);
    Signal samples = Test::Noise(13, 8192);
    CHECK(Agrees(Test::RunCut(convolver, {samples, {}}, {8}).left, {samples.begin(), samples.end()}));
    const float damaged[] = {1.0f, NAN, -INFINITY};
    const float* const taps = damaged;
    convolver.SetImpulse(&taps, 3, 1);
    CHECK(Agrees(Test::RunCut(convolver, {samples, {}}, {8}).left, {samples.begin(), samples.end()}));
    convolver.SetImpulse(nullptr, 0, 0);
    convolver.Reset();
    CHECK(Test::RunCut(convolver, {samples, {}}, {8}).left == Signal(8192));
    CHECK(convolver.Swap(nullptr) == nullptr);

    SetUp(convolver, 256, SparseImpulse(22, 20000, 50));
    Signal right = samples;
    float* const pointers[] = {samples.data(), right.data()};
    const Test::AllocationCounter counter;
    for (const int nFrames : {256, 1, 0, 255, 256, 8192, 77})
        convolver.Process(pointers, nFrames, nullptr);
    convolver.Reset();
    CHECK(counter.Count() == 0);
}

TEST_CASE(
    "PartConv: where memory is reserved, other impulses and channels take none and are as in a new one") {
    constexpr int kLongest = 60000;
    Test::Random random(23);
    for (const int nBlock : {64, 500, 8192}) {
        DSP::PartConv convolver;
        convolver.Configure(1, 1, nBlock);
        Load(convolver, SparseImpulse(24, 100, 5));
        DSP::PartConvImpulse impulses[2];
        DSP::PartConvImpulse::Workshop workshop;
        for (auto& impulse : impulses)
            impulse.Reserve(kLongest, 1, nBlock);
        workshop.Reserve();
        convolver.Reserve(kLongest, 2);
        const Stereo input{Test::Noise(25, 16384), Test::Noise(26, 16384)};
        for (std::size_t i = 0; i < 12; ++i) {
            const int nLength =
                i == 0 ? kLongest : static_cast<int>(random.Between(1, i % 2 == 0 ? 400 : kLongest));
            const int nChannels = static_cast<int>(random.Between(1, 2));
            const Signal taps = SparseImpulse(27 + i, nLength, 20);
            const float* const channel = taps.data();
            DSP::PartConvImpulse& impulse = impulses[i % 2];
            // Not owned: both outlive the convolver's use.
            const std::shared_ptr<const DSP::PartConvImpulse> handle(std::shared_ptr<void>(), &impulse);
            {
                const Test::AllocationCounter counter;
                impulse.Set(&channel, nLength, 1, nBlock, workshop);
                convolver.Swap(handle);
                convolver.Configure(nChannels, nChannels, nBlock);
                convolver.Reset();
                CHECK(counter.Count() == 0);
            }
            DSP::PartConv fresh;
            fresh.Configure(nChannels, nChannels, nBlock);
            Load(fresh, taps);
            CAPTURE(nBlock);
            CAPTURE(nLength);
            CAPTURE(nChannels);
            for (DSP::PartConv* const each : {&convolver, &fresh})
                REQUIRE(each->InputChannels() == nChannels);
            Stereo ours = input, theirs = input;
            float* const ourChannels[] = {ours.left.data(), ours.right.data()};
            float* const theirChannels[] = {theirs.left.data(), theirs.right.data()};
            convolver.Process(ourChannels, 16384, nullptr);
            fresh.Process(theirChannels, 16384, nullptr);
            CHECK(Test::FirstDifference(ours.left, theirs.left) == -1);
            CHECK(Test::FirstDifference(ours.right, theirs.right) == -1);
        }
        // It holds a handle of ours no longer than these live.
        Load(convolver, SparseImpulse(24, 100, 5));
    }
}
