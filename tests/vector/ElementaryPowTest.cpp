#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <doctest/doctest.h>

#include "dsp/vector/Elementary.h"
#include "dsp/vector/ElementaryVector.h"
#include "tests/vector/KernelCases.h"

using namespace Test;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Operands {
    std::vector<float> magnitudes, exponents;
};

/// Ordinary magnitudes, 1 among them, and exponents that also take them beyond the floats at both ends.
Operands Ordinary(std::mt19937& random, std::size_t uLength) {
    std::uniform_real_distribution<float> octave(-125.0f, 127.0f), exponent(-1.0f, 1.0f);
    Operands operands;
    for (std::size_t i = 0; i < uLength; ++i) {
        operands.magnitudes.push_back(random() % 16 == 0 ? 1.0f : std::exp2(octave(random)));
        const float fSpread = random() % 4 == 0 ? 40.0f : 1.0f;
        operands.exponents.push_back(random() % 16 == 0 ? 0.0f : fSpread * exponent(random));
    }
    return operands;
}

}  // namespace

TEST_CASE("VectorPow: has the scalar function's bits, alone or beside edges, whichever buffer it fills") {
    const float edges[] = {0.0f, kInfinity, kNaN, std::numeric_limits<float>::denorm_min()};
    std::mt19937 random(51);
    AtEveryLevel([&] {
        for (const int n : KernelLengths()) {
            const auto uLength = static_cast<std::size_t>(n);
            for (const bool bEdge : {false, true}) {
                Operands operands = Ordinary(random, uLength);
                if (bEdge) {
                    auto& side = random() % 2 == 0 ? operands.magnitudes : operands.exponents;
                    side[random() % uLength] = edges[random() % std::size(edges)];
                }
                const float fExponent = operands.exponents.back();
                std::vector<float> expected, expectedSame;
                for (std::size_t i = 0; i < uLength; ++i) {
                    expected.push_back(DSP::Pow(operands.magnitudes[i], operands.exponents[i]));
                    expectedSame.push_back(DSP::Pow(operands.magnitudes[i], fExponent));
                }
                CAPTURE(n);
                CAPTURE(bEdge);
                Guarded<float> source(operands.magnitudes, n % 5);
                Guarded<float> exponents(operands.exponents, n % 3);
                std::vector<float> same(uLength);
                DSP::VectorPow(source.Data(), fExponent, same.data(), n);
                CHECK(FirstDifference(same, expectedSame) == -1);
                Guarded<float>& destination = n % 2 == 0 ? source : exponents;
                DSP::VectorPow(source.Data(), exponents.Data(), destination.Data(), n);
                CHECK(FirstDifference(destination.Values(), expected) == -1);
                CHECK(destination.Intact());
            }
        }
    });
}
