#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>
#include <string>

#include "dsp/vector/CombBank.h"
#include "dsp/vector/ExciterKernels.h"
#include "dsp/vector/LimiterCurve.h"
#include "dsp/vector/LimiterPeaks.h"
#include "dsp/vector/MultiRateFir.h"
#include "dsp/vector/NoiseShaping.h"
#include "tests/support/Signals.h"
#include "tests/vector/KernelCases.h"

using namespace Test;

namespace {

using Outputs = std::vector<std::vector<float>>;

/// Takes the next frames of a stream of two channels, and appends what comes out.
using Stream = std::function<void(const float* left, const float* right, int n, Outputs& outputs)>;

/// A kernel that carries a state along. What it computes is held where it is used, by the models of the
/// modules; here it is that it computes the same everywhere.
struct StreamKernel {
    std::string strName;
    std::function<Stream()> start;
};

/// A stream that processes copies of both channels in place, and notices a write beside them.
template <class Process>
Stream InPlace(Process process) {
    return [process](const float* left, const float* right, int n, Outputs& outputs) mutable {
        Guarded<float> buffers[] = {{std::vector<float>(left, left + n), n % 4},
                                    {std::vector<float>(right, right + n), n % 3}};
        process(left, buffers[0].Data(), buffers[1].Data(), n);
        outputs.resize(2);
        for (std::size_t i = 0; i < 2; ++i) {
            outputs[i].insert(outputs[i].end(), buffers[i].Data(), buffers[i].Data() + n);
            CHECK(buffers[i].Intact());
        }
    };
}

struct CombRings {
    explicit CombRings(int nShortest) {
        const auto add = [&](auto& line, int nLength) {
            rings.emplace_back(static_cast<std::size_t>(nLength));
            line.ring = rings.back().data();
            line.nLength = nLength;
        };
        for (int i = 0; i < 8; ++i)
            add(channel.combs[static_cast<std::size_t>(i)], nShortest + 37 * i);
        for (int i = 0; i < 4; ++i)
            add(channel.allpasses[static_cast<std::size_t>(i)], nShortest + 11 * i);
    }
    DSP::CombChannel channel;
    std::vector<std::vector<float>> rings;
};

Stream CombBanks(int nShortest, bool bStereo) {
    auto left = std::make_shared<CombRings>(nShortest), right = std::make_shared<CombRings>(nShortest + 23);
    return InPlace([=](const float* input, float* a, float* b, int n) {
        CHECK(DSP::VectorCombBank({0.91f, 0.3f, 0.7f}, input, &left->channel, a,
                                  bStereo ? &right->channel : nullptr, bStereo ? b : nullptr,
                                  n) == DSP::kVectorOk);
    });
}

Stream Tube(bool bStereo) {
    return InPlace(
        [=, envelopes = DSP::ExciterEnvelopes{0.4f, 0.2f}](const float*, float* a, float* b, int n) mutable {
            DSP::ExciterTube({0.013f, 1.3f, 0.7f, 2.9f}, envelopes, a, bStereo ? b : nullptr, n);
        });
}

Stream Shaper(std::size_t uOrder, DSP::DitherNoise noise, bool bLimit, bool bStereo) {
    DSP::NoiseShapingTaps taps;
    taps.uOrder = uOrder;
    const auto draws = AnyBits(7, 60);
    for (std::size_t k = 0; k < uOrder; ++k)
        taps.Set(k, 4.0f / static_cast<float>(k + 2) * (std::signbit(draws[k]) ? -0.7f : 0.3f));
    DSP::NoiseShapingState state;
    state.random = {DSP::DitherRandom(1), DSP::DitherRandom(99)};
    const DSP::NoiseShapingMode mode{32768.0f, 1.0f / 32767.0f, noise, bLimit, 3.499f, 2.499f};
    return InPlace([=](const float*, float* a, float* b, int n) mutable {
        DSP::ShapeNoise(taps, mode, state, a, bStereo ? b : nullptr, static_cast<std::size_t>(n));
    });
}

struct FirShape {
    int nTaps, nUp, nPhase, nDown;

    std::vector<float> Taps() const { return Noise(1, static_cast<std::size_t>(nTaps)); }
    DSP::MultiRateFir Filter() const {
        DSP::MultiRateFir fir;
        fir.Configure(Taps().data(), nTaps, nUp, nPhase, nDown);
        return fir;
    }
};
constexpr FirShape kFirShapes[] = {{64, 5, 0, 1}, {64, 5, 0, 3}, {7, 3, 1, 2}, {33, 1, 0, 1}, {21, 1, 1, 4},
                                   {12, 2, 2, 3}, {1, 1, 0, 1},  {2, 5, 0, 1}, {40, 7, 6, 7}, {600, 2, 0, 1}};

/// A frame is an iteration: the samples are the filter's own.
Stream Fir(const FirShape& shape) {
    return [shape, fir = shape.Filter(), samples = AnyFloats(2, 4000 * shape.nDown), nDone = 0](
               const float*, const float*, int n, Outputs& outputs) mutable {
        const float* const source = samples.data() + nDone * shape.nDown;
        nDone += n;
        Guarded<float> block(n * std::max(shape.nUp, shape.nDown), n % 4);
        const bool bInPlace = n % 2 == 0;
        if (bInPlace) std::copy_n(source, n * shape.nDown, block.Data());
        fir.Process(bInPlace ? block.Data() : source, block.Data(), n);
        outputs.resize(1);
        outputs[0].insert(outputs[0].end(), block.Data(), block.Data() + n * shape.nUp);
        CHECK(block.Intact());
    };
}

/// A kernel that looks around each of its elements: it gets the place in a long signal of levels, with 300 to
/// either side, and gives a value each.
template <class Process>
Stream Around(Process process) {
    auto levels = AnyFloats(5, 4000);
    for (float& fLevel : levels)
        fLevel = std::isfinite(fLevel) ? std::min(std::abs(fLevel), 2.0f) : 0.0f;
    return [=, nDone = 300](const float*, const float*, int n, Outputs& outputs) mutable {
        Guarded<float> results(n, n % 4);
        process(levels.data() + nDone, results.Data(), n);
        nDone += n;
        outputs.resize(1);
        outputs[0].insert(outputs[0].end(), results.Data(), results.Data() + n);
        CHECK(results.Intact());
    };
}

Stream Sliding(int nWidth, bool bMaximum) {
    return Around([=](const float* x, float* results, int n) {
        // The scratch is the source, or between guards.
        std::vector<float> source(x, x + n + nWidth - 1);
        Guarded<float> scratch(source, n % 3);
        if (bMaximum) {
            DSP::SlidingMaximum(source.data(), nWidth, scratch.Data(), results, n);
        } else {
            DSP::SlidingMinimum(scratch.Data(), nWidth, scratch.Data(), results, n);
        }
        CHECK(scratch.Intact());
    });
}

Stream Smoothing(int nHalf) {
    return Around(
        [taps = Noise(6, static_cast<std::size_t>(nHalf) + 1), nHalf](const float* x, float* results, int n) {
            DSP::SmoothSymmetric(taps.data(), nHalf, x, results, n);
        });
}

/// The moving sum of steps, carried along within a block.
void StepSums(const float* x, float* results, int n) {
    constexpr int kSteps = 217;
    std::vector<double> changes(static_cast<std::size_t>(n));
    DSP::StepSumChanges(x, kSteps, changes.data(), n);
    double fSum = DSP::StepSum(x, kSteps), fPlain = 0.0;
    for (int j = 0; j < kSteps; ++j)
        fPlain += std::abs(double{x[j + 1]} - double{x[j]});
    CHECK(std::abs(fSum - fPlain) < kSteps * 0x1p-33 * 1.01);
    for (int i = 0; i < n; ++i) {
        results[i] = static_cast<float>(fSum * 0x1p32 - std::floor(fSum * 0x1p10) * 0x1p22);
        fSum += changes[static_cast<std::size_t>(i)];
    }
}

/// The phases of both channels begin at places of their own.
void Oversampled(const float* x, float* results, int n) {
    const float* phases[10];
    for (int p = 0; p < 10; ++p)
        phases[p] = x + 20 * p - 100;
    DSP::OversampledPeaks(phases, phases + 5, x, results, n);
}

std::vector<StreamKernel> Kernels() {
    std::vector<StreamKernel> kernels = {{"tube", [] { return Tube(true); }},
                                         {"tube in mono", [] { return Tube(false); }},
                                         {"steps", [] { return Around(&StepSums); }},
                                         {"oversampled peaks", [] { return Around(&Oversampled); }},
                                         {"comb bank", [] { return CombBanks(1116, false); }}};
    for (const int nShortest : {DSP::kCombChunk, 225})
        kernels.push_back({"comb banks", [=] { return CombBanks(nShortest, true); }});
    for (const int nWidth : {1, 2, 3, 4, 5, 17, 64, 65, 129, 200, 257}) {
        for (const bool bMaximum : {false, true})
            kernels.push_back({"sliding extreme", [=] { return Sliding(nWidth, bMaximum); }});
    }
    for (const int nHalf : {0, 1, 8, 32, 128})
        kernels.push_back({"smoothing", [=] { return Smoothing(nHalf); }});
    for (const std::size_t uOrder : {0u, 1u, 2u, 3u, 9u, 12u, 39u, 60u}) {
        for (const auto noise : {DSP::DitherNoise::kUniform, DSP::DitherNoise::kHighPass}) {
            for (const bool bLimit : {false, true})
                kernels.push_back({"shaper", [=] { return Shaper(uOrder, noise, bLimit, uOrder != 2); }});
        }
    }
    for (const FirShape& shape : kFirShapes)
        kernels.push_back({"multi-rate filter", [=] { return Fir(shape); }});
    return kernels;
}

}  // namespace

TEST_CASE("Kernels of streams give the bits of one lane at every level, in blocks of any length") {
    REQUIRE(DSP::AvailableProcessorLevels().back().strName == "SCALAR");
    const std::vector<int> lengths = KernelLengths();
    const int nTotal = std::accumulate(lengths.begin(), lengths.end(), 0);
    for (const StreamKernel& kernel : Kernels()) {
        CAPTURE(kernel.strName);
        for (const bool bAnyBits : {false, true}) {
            const auto left = bAnyBits ? AnyBits(3, nTotal) : AnyFloats(3, nTotal);
            const auto right = bAnyBits ? AnyBits(4, nTotal) : AnyFloats(4, nTotal);
            const auto run = [&](const std::vector<int>& cuts) {
                Outputs outputs;
                const Stream stream = kernel.start();
                std::size_t uDone = 0;
                for (const int n : cuts) {
                    stream(left.data() + uDone, right.data() + uDone, n, outputs);
                    uDone += static_cast<std::size_t>(n);
                }
                return outputs;
            };
            DSP::UseProcessorLevel(DSP::AvailableProcessorLevels().back());
            const Outputs expected = run({nTotal});
            AtEveryLevel([&] {
                for (const auto& cuts :
                     {lengths, {nTotal}, std::vector<int>(lengths.rbegin(), lengths.rend())}) {
                    const Outputs outputs = run(cuts);
                    for (std::size_t i = 0; i < expected.size(); ++i)
                        CHECK(FirstDifference<float>(outputs[i], expected[i]) == -1);
                }
            });
        }
    }
}

TEST_CASE("The dither's generator gives the numbers of its formula, and jumps to where as many draws lead") {
    DSP::DitherRandom random(1);
    // 214013 + 2531011 = 2745024 = 41 * 65536 + 58048, and so on by hand.
    for (const int nExpected : {41, 18467, 6334, 26500, 19169})
        CHECK(random.Next() == nExpected);
    for (const std::uint32_t uDraws : {0u, 1u, 2u, 3u, 1000u, 65537u}) {
        DSP::DitherRandom slow(77);
        for (std::uint32_t i = 0; i < uDraws; ++i)
            slow.Next();
        CHECK(DSP::DitherRandom::After(uDraws)(77) == slow.State());
    }
}

TEST_CASE("MultiRateFir: outputs are the sums of the definition, phase by phase too, and a NaN leaves it") {
    for (const FirShape& shape : kFirShapes) {
        const int nFrames = 300, nUp = shape.nUp;
        CAPTURE(shape.nTaps);
        CAPTURE(nUp);
        auto input = Noise(2, static_cast<std::size_t>(nFrames * shape.nDown));
        input[20] = std::numeric_limits<float>::quiet_NaN();
        const auto taps = shape.Taps();
        std::vector<float> expected, output(static_cast<std::size_t>(nFrames * nUp)), phases = output;
        for (int k = 0; k < nFrames * nUp; ++k) {
            const int m = k * shape.nDown + shape.nPhase;
            float fSum = 0.0f;
            for (int j = 0; nUp * j + m % nUp < shape.nTaps; ++j) {
                const float fTap = taps[static_cast<std::size_t>(nUp * j + m % nUp)];
                const float fProduct =
                    m / nUp < j ? 0.0f : fTap * input[static_cast<std::size_t>(m / nUp - j)];
                fSum = j == 0 ? fProduct : fSum + fProduct;
            }
            expected.push_back(fSum);
        }
        shape.Filter().Process(input.data(), output.data(), nFrames);
        CHECK(FirstDifference<float>(output, expected) == -1);
        if (shape.nDown != 1) continue;
        std::vector<float*> pointers;
        for (int p = 0; p < nUp; ++p)
            pointers.push_back(phases.data() + p * nFrames);
        shape.Filter().ProcessPhases(input.data(), pointers.data(), nFrames);
        for (std::size_t i = 0; i < phases.size(); ++i) {
            const auto uUp = static_cast<std::size_t>(nUp);
            REQUIRE(SameBits(phases[i % uUp * 300 + i / uUp], expected[i]));
        }
    }
}
