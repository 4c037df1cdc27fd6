#include "dsp/PartConv.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

namespace {

using Signal = std::vector<float>;

/// Noise at nTaps places at most, the first and the last among them, zeros elsewhere: long impulses whose
/// model is affordable.
Signal SparseImpulse(std::uint64_t uSeed, int nLength, int nTaps) {
    Signal impulse(static_cast<std::size_t>(nLength));
    Test::Random random(uSeed);
    for (int i = 0; i < nTaps; ++i) {
        impulse[random.Between(0, static_cast<std::uint32_t>(nLength) - 1)] = random.Uniform(-1.0f, 1.0f);
    }
    impulse.front() = 0.7f;
    impulse.back() = -0.6f;
    return impulse;
}

/// The model: the sum itself, in double.
std::vector<double> Convolve(const Signal& input, const Signal& impulse) {
    std::vector<double> output(input.size());
    for (std::size_t i = 0; i < impulse.size(); ++i) {
        if (impulse[i] == 0.0f) continue;
        for (std::size_t n = i; n < output.size(); ++n) {
            output[n] += double{impulse[i]} * double{input[n - i]};
        }
    }
    return output;
}

/// The rms of the error relative to the model's; huge if anything is not finite, or if a single sample is off
/// by more than what an error of that kind allows.
double RelativeError(const Signal& output, const std::vector<double>& model) {
    double fErrors = 0.0, fSquares = 0.0, fWorst = 0.0;
    for (std::size_t n = 0; n < model.size(); ++n) {
        const double fError = std::abs(double{output[n]} - model[n]);
        if (!std::isfinite(fError)) return 1e9;
        fWorst = std::max(fWorst, fError);
        fErrors += fError * fError;
        fSquares += model[n] * model[n];
    }
    const double fRms = std::sqrt(fSquares / static_cast<double>(model.size()));
    return fWorst < 1e-5 * fRms ? std::sqrt(fErrors / fSquares) : 1e9;
}

struct Stereo {
    Signal left, right;
};

Stereo Render(DSP::PartConv& convolver, Stereo signal, const std::vector<std::uint32_t>& cuts) {
    std::size_t uPosition = 0;
    for (const std::uint32_t uFrames : cuts) {
        float* pointers[] = {signal.left.data() + uPosition, signal.right.data() + uPosition};
        convolver.Process(pointers, static_cast<int>(uFrames), nullptr);
        uPosition += uFrames;
    }
    return signal;
}

std::vector<std::uint32_t> Even(std::size_t uTotal, std::uint32_t uBlock) {
    std::vector<std::uint32_t> cuts;
    for (std::size_t u = 0; u < uTotal; u += uBlock) {
        cuts.push_back(static_cast<std::uint32_t>(std::min<std::size_t>(uBlock, uTotal - u)));
    }
    return cuts;
}

void Load(DSP::PartConv& convolver, const Signal& impulse) {
    const float* channel = impulse.data();
    convolver.SetImpulse(&channel, static_cast<int>(impulse.size()), 1);
}

// What the class promises: single precision through a transform and back, and sums of products in float.
constexpr double kBound = 1e-6;

}  // namespace

TEST_CASE("PartConv is direct convolution for every block and every length around a change of layout") {
    for (const int nBlock : {1, 48, 64, 128, 441, 512, 1024, 4096}) {
        CAPTURE(nBlock);
        std::vector<int> lengths = {1, 2, 63, 64, 65, 127, 129};
        for (const int nFactor : {1, 2, 3, 4, 8, 9, 16, 17}) {
            for (const int nOff : {-1, 0, 1})
                lengths.push_back(nFactor * nBlock + nOff);
        }
        for (const int nLength : lengths) {
            if (nLength < 1 || nLength > 20000) continue;
            CAPTURE(nLength);
            const auto uFrames = static_cast<std::size_t>(2 * nLength + 3 * std::max(nBlock, 64));
            const Stereo input{Test::Noise(1, uFrames), Test::Noise(2, uFrames)};
            const Signal impulse = SparseImpulse(static_cast<std::uint64_t>(nLength), nLength, 40);
            DSP::PartConv convolver;
            convolver.Configure(2, 2, nBlock);
            Load(convolver, impulse);
            const auto output = Render(convolver, input, Even(uFrames, static_cast<std::uint32_t>(nBlock)));
            CHECK(RelativeError(output.left, Convolve(input.left, impulse)) < kBound);
            CHECK(RelativeError(output.right, Convolve(input.right, impulse)) < kBound);
        }
    }
}

TEST_CASE("PartConv with a long dense impulse, cut at random, is direct convolution") {
    const Stereo input{Test::Noise(3, 12000), Test::Noise(4, 12000)};
    Signal impulse = Test::Noise(5, 6000);
    for (std::size_t i = 0; i < impulse.size(); ++i)
        impulse[i] *= 1.0f - static_cast<float>(i) / 6000.0f;
    const auto left = Convolve(input.left, impulse);
    const auto right = Convolve(input.right, impulse);
    for (const int nBlock : {64, 512}) {
        for (std::uint64_t uSeed = 0; uSeed < 4; ++uSeed) {
            CAPTURE(nBlock);
            CAPTURE(uSeed);
            DSP::PartConv convolver;
            convolver.Configure(2, 2, nBlock);
            Load(convolver, impulse);
            // Longer than the configured block, too: the object grows and loses nothing.
            const auto output = Render(convolver, input,
                                       Test::RandomCuts(uSeed, 12000,
                                                        uSeed == 0   ? 20
                                                        : uSeed == 1 ? 512
                                                                     : 5000));
            CHECK(RelativeError(output.left, left) < kBound);
            CHECK(RelativeError(output.right, right) < kBound);
        }
    }
}

TEST_CASE("PartConv gives the same bits for every cut into whole blocks of its grid") {
    const Stereo input{Test::Noise(6, 16384), Test::Noise(7, 16384)};
    const Signal impulse = SparseImpulse(8, 9000, 500);
    DSP::PartConv convolver;
    convolver.Configure(2, 2, 512);
    Load(convolver, impulse);
    const auto uGrid = static_cast<std::uint32_t>(convolver.Impulse()->Layout().Grid());
    REQUIRE(uGrid <= 512);
    const auto whole = Render(convolver, input, {16384});
    for (const std::uint32_t uBlocks : {1u, 2u, 3u}) {
        convolver.Reset();
        const auto output = Render(convolver, input, Even(16384, uBlocks * uGrid));
        CHECK(Test::FirstDifference(output.left, whole.left) == -1);
        CHECK(Test::FirstDifference(output.right, whole.right) == -1);
    }
}

TEST_CASE("PartConv: a stereo impulse serves each channel, a mono one all, and mono input takes the first") {
    const Stereo input{Test::Noise(9, 3000), Test::Noise(10, 3000)};
    const Signal first = SparseImpulse(11, 700, 30);
    const Signal second = SparseImpulse(12, 700, 30);
    const float* both[] = {first.data(), second.data()};
    DSP::PartConv convolver;
    convolver.Configure(2, 2, 128);
    convolver.SetImpulse(both, 700, 2);
    const auto output = Render(convolver, input, Even(3000, 128));
    CHECK(RelativeError(output.left, Convolve(input.left, first)) < kBound);
    CHECK(RelativeError(output.right, Convolve(input.right, second)) < kBound);

    DSP::PartConv mono;
    mono.Configure(1, 1, 128);
    mono.SetImpulse(both, 700, 2);
    const auto left = Render(mono, input, Even(3000, 128)).left;
    CHECK(RelativeError(left, Convolve(input.left, first)) < kBound);
    CHECK(Test::FirstDifference(left, output.left) == -1);
}

TEST_CASE("PartConv starts as a wire, and a reset gives the bits of a fresh one") {
    const Stereo input{Test::Noise(13, 4000), Test::Noise(14, 4000)};
    DSP::PartConv convolver;
    convolver.Configure(2, 2, 256);
    CHECK(RelativeError(Render(convolver, input, Even(4000, 256)).left,
                        std::vector<double>(input.left.begin(), input.left.end())) < kBound);
    Load(convolver, SparseImpulse(15, 5000, 100));
    const auto cuts = Test::RandomCuts(1, 4000, 700);
    const auto once = Render(convolver, input, cuts);
    convolver.Reset();
    const auto again = Render(convolver, input, cuts);
    CHECK(Test::FirstDifference(once.left, again.left) == -1);
    CHECK(Test::FirstDifference(once.right, again.right) == -1);
}

TEST_CASE("PartConv: a new impulse of the same length works on the history, another length starts anew") {
    const Signal impulse = SparseImpulse(16, 3000, 60);
    DSP::PartConv convolver;
    convolver.Configure(2, 2, 256);
    Load(convolver, impulse);
    const Stereo input{Test::Noise(17, 8192), Test::Noise(18, 8192)};
    Render(convolver, input, Even(8192, 256));
    // The same taps again change nothing that is heard.
    auto prepared = std::make_shared<const DSP::PartConvImpulse>(*convolver.Impulse(), 256);
    CHECK(convolver.Fits(*prepared));
    {
        Test::AllocationCounter counter;
        prepared = convolver.Swap(std::move(prepared));
        CHECK(counter.Count() == 0);
    }
    Stereo twice{input.left, input.right};
    twice.left.insert(twice.left.end(), input.left.begin(), input.left.end());
    const auto model = Convolve(twice.left, impulse);
    const auto output = Render(convolver, input, Even(8192, 256));
    CHECK(RelativeError(output.left, {model.begin() + 8192, model.end()}) < kBound);

    const float fZero = 0.0f;
    const float* channel = &fZero;
    convolver.SetImpulse(&channel, 1, 1);
    const auto silent = Render(convolver, input, Even(8192, 256));
    CHECK(Test::WorstDifference(silent.left, Signal(8192)) == 0.0f);
}

TEST_CASE("PartConv: damage in the input leaves nothing behind") {
    DSP::PartConv convolver;
    convolver.Configure(2, 2, 128);
    const Signal impulse = SparseImpulse(19, 2000, 50);
    Load(convolver, impulse);
    Stereo input{Test::Noise(20, 4096), Test::Noise(21, 4096)};
    Stereo repaired = input;
    for (const std::size_t n : {5u, 700u, 701u}) {
        input.left[n] = n == 5 ? NAN : n == 700 ? INFINITY : 1e30f;
        repaired.left[n] = 0.0f;
    }
    const auto output = Render(convolver, input, Even(4096, 128));
    CHECK(RelativeError(output.left, Convolve(repaired.left, impulse)) < kBound);
    CHECK(RelativeError(output.right, Convolve(repaired.right, impulse)) < kBound);
}

TEST_CASE("PartConv allocates nothing while it runs, whatever the blocks") {
    DSP::PartConv convolver;
    convolver.Configure(2, 2, 256);
    Load(convolver, SparseImpulse(22, 20000, 50));
    std::vector<float> left(8192), right(8192);
    float* pointers[] = {left.data(), right.data()};
    Test::AllocationCounter counter;
    for (const int nFrames : {256, 1, 0, 255, 256, 8192, 77})
        convolver.Process(pointers, nFrames, nullptr);
    convolver.Reset();
    CHECK(counter.Count() == 0);
}

TEST_CASE("PartConv: hostile arguments give silence or a wire, never a crash") {
    DSP::PartConv convolver;
    convolver.Configure(0, 0, 0);
    convolver.Process(nullptr, 16, nullptr);
    convolver.Configure(1, 1, -5);
    convolver.SetImpulse(nullptr, 0, 0);
    float samples[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    float* channel = samples;
    convolver.Process(&channel, 8, nullptr);
    CHECK(samples[0] == 0.0f);
    CHECK(convolver.Swap(nullptr) == nullptr);
}
