#include "dsp/vector/ExciterKernels.h"

#include <doctest/doctest.h>

#include <cmath>
#include <numbers>

#include "dsp/vector/Elementary.h"
#include "tests/vector/KernelCases.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kNormaliser = double{0.95105654f};

float TapeModel(const DSP::ExciterTapeLaw& law, float x) {
    const double fAngle = double{x} * double{law.fDrive} * kPi * 0.5 * 0.800000011920929;
    // Not std::sin: not every C library takes all the turns out of a large angle.
    const auto s = static_cast<float>(DSP::Sin(fAngle) / kNormaliser);
    return s * law.fMix + x * law.fDry;
}

}  // namespace

TEST_CASE("Tape gives the same bits at every level, those of an exact sine in all but a few samples") {
    const DSP::ExciterTapeLaw law{3.1622776f, 1.0f, 0.0f};
    // Dense around full scale, then around the angles where the sine vanishes, then of any magnitude.
    std::vector<float> input = Test::AnyBits(5, 20001);
    for (int i = -150000; i <= 150000; ++i)
        input.push_back(static_cast<float>(i) * 1.7e-5f);
    for (int k = 1; k < 20000; ++k) {
        const float fZero = static_cast<float>(k / (3.1622776 * 0.5 * 0.800000011920929));
        input.insert(input.end(), {std::nextafter(fZero, -1e9f), std::nextafter(fZero, 1e9f)});
    }
    std::vector<float> reference;
    Test::AtEveryLevel([&] {
        std::vector<float> output = input;
        // Lanes do not know each other: the length of a block does not matter.
        DSP::ExciterTape(law, output.data(), 3);
        DSP::ExciterTape(law, output.data() + 3, static_cast<int>(output.size()) - 3);
        if (reference.empty()) reference = output;
        CHECK(Test::FirstDifference(output, reference) == -1);
    });
    int nDifferent = 0;
    for (std::size_t i = 0; i < input.size(); ++i) {
        const float fExpected = TapeModel(law, input[i]);
        if (Test::SameBits(reference[i], fExpected)) continue;
        ++nDifferent;
        REQUIRE((reference[i] == std::nextafter(fExpected, 2.0f) ||
                 reference[i] == std::nextafter(fExpected, -2.0f)));
    }
    CHECK(nDifferent <= 1);
}
