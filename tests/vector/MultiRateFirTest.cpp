#include "dsp/vector/MultiRateFir.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "tests/vector/KernelCases.h"
#include "tests/vector/Signals.h"

namespace {

struct Shape {
    int nTaps;
    int nUp;
    int nPhase;
    int nDown;
};

std::size_t Size(int nCount) {
    return static_cast<std::size_t>(nCount);
}

// Zeros between the samples, every output of the high rate, and then one of nDown.
std::vector<float> Plain(const Shape& shape, const std::vector<float>& taps, const std::vector<float>& x) {
    std::vector<float> y;
    for (std::size_t m = Size(shape.nPhase); m < x.size() * Size(shape.nUp); m += Size(shape.nDown)) {
        float sum = 0.0f;
        bool bFirst = true;
        for (std::size_t i = m % Size(shape.nUp); i < taps.size(); i += Size(shape.nUp)) {
            const std::size_t uAge = i / Size(shape.nUp);
            const float in = uAge <= m / Size(shape.nUp) ? x[m / Size(shape.nUp) - uAge] : 0.0f;
            sum = bFirst ? taps[i] * in : sum + taps[i] * in;
            bFirst = false;
        }
        y.push_back(sum);
    }
    return y;
}

const std::vector<Shape> kShapes = {{64, 5, 0, 1}, {64, 5, 0, 3}, {7, 3, 1, 2}, {33, 1, 0, 1},
                                    {21, 1, 1, 4}, {12, 2, 2, 3}, {1, 1, 0, 1}, {2, 5, 0, 1},
                                    {40, 7, 6, 7}, {600, 2, 0, 1}};

}  // namespace

TEST_CASE("MultiRateFir: the definition's bits at every level, for any cut of the stream, in place and not") {
    Test::AtEveryLevel([&] {
        for (std::size_t iShape = 0; iShape < kShapes.size(); ++iShape) {
            CAPTURE(iShape);
            const Shape& shape = kShapes[iShape];
            const auto taps = Test::Noise<float>(1, Size(shape.nTaps));
            constexpr int kIterations = 1300;
            const auto input = Test::Noise<float>(2, Size(kIterations * shape.nDown));
            const auto expected = Plain(shape, taps, input);
            DSP::MultiRateFir fir;
            fir.Configure(taps.data(), shape.nTaps, shape.nUp, shape.nPhase, shape.nDown);
            for (const std::uint32_t uLongest : {1u, 17u, 512u, 1300u}) {
                CAPTURE(uLongest);
                const bool bInPlace = uLongest % 2 == 1;
                fir.Reset();
                std::vector<float> output;
                const float* source = input.data();
                for (const std::uint32_t uCount : Test::RandomCuts(uLongest, kIterations, uLongest)) {
                    const int nCount = static_cast<int>(uCount);
                    Test::Guarded<float> block(nCount * std::max(shape.nUp, shape.nDown), nCount % 3);
                    if (bInPlace) std::copy_n(source, nCount * shape.nDown, block.Data());
                    fir.Process(bInPlace ? block.Data() : source, block.Data(), nCount);
                    REQUIRE(block.Intact());
                    output.insert(output.end(), block.Data(), block.Data() + nCount * shape.nUp);
                    source += nCount * shape.nDown;
                }
                CHECK(Test::FirstBitDifference(output, expected) == -1);
            }
        }
    });
}

TEST_CASE("MultiRateFir: phase by phase the same outputs, each phase in its own array") {
    const auto taps = Test::Noise<float>(3, 64), input = Test::Noise<float>(4, 900);
    const auto expected = Plain({64, 5, 0, 1}, taps, input);
    Test::AtEveryLevel([&] {
        DSP::MultiRateFir fir;
        fir.Configure(taps.data(), 64, 5);
        std::vector<float> output(expected.size());
        for (std::size_t uDone = 0; uDone < input.size(); uDone += 300) {
            std::vector<float> phases(5 * 300);
            float* pointers[5];
            for (std::size_t p = 0; p < 5; ++p)
                pointers[p] = &phases[p * 300];
            fir.ProcessPhases(input.data() + uDone, pointers, 300);
            for (std::size_t i = 0; i < phases.size(); ++i)
                output[5 * (uDone + i % 300) + i / 300] = phases[i];
        }
        CHECK(Test::FirstBitDifference(output, expected) == -1);
    });
}

TEST_CASE("MultiRateFir: no iterations change nothing, and a NaN is gone once the last tap has passed it") {
    const auto taps = Test::Noise<float>(5, 64);
    auto input = Test::Noise<float>(6, 400);
    const auto expected = Plain({64, 5, 0, 1}, taps, input);
    input[20] = std::numeric_limits<float>::quiet_NaN();
    DSP::MultiRateFir fir;
    std::vector<float> output(2000);
    fir.Process(input.data(), output.data(), 400);
    CHECK(output == std::vector<float>(2000));
    fir.Configure(taps.data(), 64, 5);
    fir.Process(input.data(), output.data(), 100);
    for (const int nCount : {0, -3})
        fir.Process(input.data(), output.data(), nCount);
    fir.Process(input.data() + 100, output.data() + 500, 300);
    CHECK(output[100] != output[100]);
    CHECK(std::equal(output.begin() + 5 * (20 + 13), output.end(), expected.begin() + 5 * (20 + 13)));
}
