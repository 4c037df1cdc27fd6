#include "dsp/vector/ImagerKernels.h"

#include "tests/vector/KernelCases.h"

TEST_CASE("StereoWidth and StereoSwap give the bits of the plain loop at every level") {
    Test::AtEveryLevel([] {
        for (const int n : Test::KernelLengths()) {
            const auto l = Test::AnyFloats(static_cast<unsigned>(n), n);
            const auto r = Test::AnyFloats(static_cast<unsigned>(n) + 500, n);
            Test::Guarded<float> left(l, n % 3), right(r, n % 5);
            DSP::StereoSwap(left.Data(), right.Data(), n);
            REQUIRE(Test::FirstDifference(left.Values(), r) == -1);
            REQUIRE(Test::FirstDifference(right.Values(), l) == -1);

            std::vector<float> expectedLeft = r, expectedRight = l;
            for (std::size_t i = 0; i < l.size(); ++i) {
                const float fMid = r[i] + l[i];
                const float fSide = (r[i] - l[i]) * 1.3f;
                expectedLeft[i] = (fMid + fSide) * 0.5f;
                expectedRight[i] = (fMid - fSide) * 0.5f;
            }
            DSP::StereoWidth(1.3f, left.Data(), right.Data(), n);
            REQUIRE(Test::FirstDifference(left.Values(), expectedLeft) == -1);
            REQUIRE(Test::FirstDifference(right.Values(), expectedRight) == -1);
            REQUIRE(left.Intact());
            REQUIRE(right.Intact());
        }
    });
}
