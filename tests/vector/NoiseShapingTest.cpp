#include "dsp/vector/NoiseShaping.h"

#include <doctest/doctest.h>

#include <vector>

#include "tests/support/DitherModel.h"
#include "tests/vector/KernelCases.h"

namespace {

using DSP::DitherRandom;

/// A stable filter of any order: random taps that shrink.
std::vector<float> Source(unsigned uSeed, std::size_t uOrder) {
    std::mt19937 random(uSeed);
    std::uniform_real_distribution<float> level(-1.0f, 1.0f);
    std::vector<float> source{1.0f};
    for (std::size_t k = 1; k <= uOrder; ++k)
        source.push_back(level(random) * 4.0f / static_cast<float>(k + 1));
    return source;
}

struct Case {
    std::size_t uOrder;
    bool bHighPass;
    bool bLimit;
    int nWordLength;
};

constexpr Case kCases[] = {{0, true, false, 16},   {0, false, false, 8}, {1, true, false, 24},
                           {2, false, false, 16},  {3, true, true, 12},  {9, true, false, 16},
                           {12, false, false, 16}, {39, true, true, 16}, {60, true, false, 20},
                           {60, false, true, 16}};

}  // namespace

TEST_CASE("The generator gives the numbers of its formula, and jumps to where as many draws lead") {
    DitherRandom random(1);
    std::vector<int> numbers;
    for (int i = 0; i < 5; ++i)
        numbers.push_back(random.Next());
    // 214013 + 2531011 = 2745024 = 41 * 65536 + 58048, and so on by hand.
    CHECK(numbers == std::vector<int>{41, 18467, 6334, 26500, 19169});
    CHECK(DitherRandom::After(5)(1) == random.State());
    for (const std::uint32_t uDraws : {0u, 1u, 2u, 3u, 1000u, 65537u}) {
        DitherRandom slow(77);
        for (std::uint32_t i = 0; i < uDraws; ++i)
            slow.Next();
        CHECK(DitherRandom::After(uDraws)(77) == slow.State());
    }
}

TEST_CASE("ShapeNoise gives the bits of the plain loop, at every level and however the stream is cut") {
    for (const Case& c : kCases) {
        CAPTURE(c.uOrder);
        CAPTURE(c.bLimit);
        const std::vector<float> source = Source(static_cast<unsigned>(c.uOrder) + 1, c.uOrder);
        Test::DitherModel left, right;
        for (Test::DitherModel* model : {&left, &right}) {
            model->source = source;
            model->bUseAmount = c.bHighPass;
            model->bHighPass = c.bHighPass;
            model->bLimit = c.bLimit;
            model->fPeak = 2.0f;
            model->nWordLength = c.nWordLength;
        }
        right.uSeed = 99;
        const std::vector<float> inLeft = Test::AnyFloats(5, 1200), inRight = Test::AnyFloats(6, 1200);
        std::vector<float> modelLeft = inLeft, modelRight = inRight;
        left.Process(modelLeft.data(), modelLeft.size());
        right.Process(modelRight.data(), modelRight.size());

        DSP::NoiseShapingTaps taps;
        taps.uOrder = c.uOrder;
        for (std::size_t k = 0; k < c.uOrder; ++k)
            taps.Set(k, source[k + 1] / -source[0]);
        DSP::NoiseShapingMode mode;
        mode.fScale = static_cast<float>(1 << (c.nWordLength - 1));
        mode.fNoise = 1.0f / 32767.0f;
        mode.noise = c.bHighPass ? DSP::DitherNoise::kHighPass : DSP::DitherNoise::kUniform;
        mode.bLimit = c.bLimit && c.uOrder > 0;
        mode.fMoveLimit = 2.499f;
        mode.fFeedbackLimit = 3.499f;
        Test::AtEveryLevel([&] {
            for (const bool bStereo : {true, false}) {
                DSP::NoiseShapingState state;
                state.random = {DitherRandom(1), DitherRandom(99)};
                state.last = {16383, 16383};
                std::vector<float> outLeft = inLeft, outRight = inRight;
                std::size_t uDone = 0;
                for (const int nLength : Test::KernelLengths()) {
                    const auto uLength = std::min(static_cast<std::size_t>(nLength), inLeft.size() - uDone);
                    Test::Guarded<float> l(
                        std::vector<float>(outLeft.data() + uDone, outLeft.data() + uDone + uLength), 1);
                    Test::Guarded<float> r(
                        std::vector<float>(outRight.data() + uDone, outRight.data() + uDone + uLength), 3);
                    DSP::ShapeNoise(taps, mode, state, l.Data(), bStereo ? r.Data() : nullptr, uLength);
                    REQUIRE(l.Intact());
                    REQUIRE(r.Intact());
                    std::copy_n(l.Data(), uLength, outLeft.data() + uDone);
                    std::copy_n(r.Data(), uLength, outRight.data() + uDone);
                    uDone += uLength;
                }
                REQUIRE(uDone == inLeft.size());
                CHECK(Test::FirstDifference(outLeft, modelLeft) == -1);
                CHECK(Test::FirstDifference(outRight, bStereo ? modelRight : inRight) == -1);
            }
        });
    }
}
