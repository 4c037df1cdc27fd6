#include "dsp/vector/Elementwise.h"

#include <algorithm>

#include "tests/vector/KernelCases.h"

using namespace Test;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

}  // namespace

TEST_CASE("Conversions, extremes and the guard refuse null pointers and lengths below 1") {
    float narrow[2] = {5.0f, 6.0f};
    double wide[2] = {7.0, 8.0};
    for (const int n : {0, -1}) {
        CHECK(DSP::VectorConvert(narrow, wide, n) == DSP::kVectorBadLength);
        CHECK(DSP::VectorConvert(wide, narrow, n) == DSP::kVectorBadLength);
        CHECK(DSP::VectorMin(narrow, n, narrow) == DSP::kVectorBadLength);
        CHECK(DSP::VectorMax(narrow, n, narrow) == DSP::kVectorBadLength);
        CHECK(DSP::VectorGuard(narrow, n, 1.0f, 77) == 77);
    }
    CHECK(DSP::VectorConvert(narrow, static_cast<double*>(nullptr), 2) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorConvert(wide, static_cast<float*>(nullptr), 2) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorMin(narrow, 2, nullptr) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorMax(nullptr, 2, narrow) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorGuard(nullptr, 2, 1.0f, 77) == 77);
    CHECK((narrow[0] == 5.0f && narrow[1] == 6.0f && wide[0] == 7.0 && wide[1] == 8.0));
}

TEST_CASE("Element-wise: a move may shift a buffer over itself either way") {
    for (const int nShift : {-5, -1, 1, 7}) {
        CAPTURE(nShift);
        std::vector<float> line = AnyFloats(5, 60);
        std::vector<float> expected = line;
        for (std::size_t i = 10; i < 50; ++i)
            expected[i + static_cast<std::size_t>(nShift)] = line[i];
        DSP::VectorMove(line.data() + 10, line.data() + 10 + nShift, 40);
        CHECK(FirstDifference(line, expected) == -1);
    }
}

TEST_CASE("Element-wise: widening is exact, and narrowing rounds to nearest and overflows to infinity") {
    AtEveryLevel([] {
        for (const int n : KernelLengths()) {
            CAPTURE(n);
            Guarded<float> narrow(AnyBits(6, n), n % 4);
            Guarded<double> wide(n, n % 2);
            DSP::VectorConvert(narrow.Data(), wide.Data(), n);
            CHECK(FirstDifference(wide.Values(), {narrow.Data(), narrow.Data() + n}) == -1);
            CHECK(wide.Intact());
            // A factor moves the doubles off the floats; the greatest ones leave float's range.
            std::vector<float> rounded;
            for (int i = 0; i < n; ++i) {
                wide.Data()[i] *= i % 8 == 7 ? 1e300 : 1.000000123;
                rounded.push_back(static_cast<float>(wide.Data()[i]));
            }
            DSP::VectorConvert(wide.Data(), narrow.Data(), n);
            CHECK(FirstDifference(narrow.Values(), rounded) == -1);
            CHECK(narrow.Intact());
        }
    });
}

TEST_CASE("Element-wise: the extremes find their element in every place and pass NaNs over") {
    AtEveryLevel([] {
        for (const int n : KernelLengths()) {
            CAPTURE(n);
            int nWrong = 0;
            for (int iPeak = 0; iPeak < n; ++iPeak) {
                std::vector<float> x(static_cast<std::size_t>(n), 0.5f);
                // NaNs on both sides of the peak, but never on it.
                x.front() = x.back() = kNaN;
                float fLeast = 0.0f, fGreatest = 0.0f;
                x[static_cast<std::size_t>(iPeak)] = -3.0f;
                DSP::VectorMin(x.data(), n, &fLeast);
                x[static_cast<std::size_t>(iPeak)] = 3.0f;
                DSP::VectorMax(x.data(), n, &fGreatest);
                if (fLeast != -3.0f || fGreatest != 3.0f) ++nWrong;
            }
            CHECK(nWrong == 0);
        }
        struct Case {
            std::vector<float> x;
            float fResult;
        };
        for (const Case& c : {Case{{kNaN, kNaN}, 0.0f}, Case{{kInfinity, kNaN}, kInfinity},
                              Case{{-kInfinity, kNaN}, -kInfinity}, Case{{-0.0f, -0.0f}, 0.0f},
                              Case{{0.0f, -0.0f, kNaN}, 0.0f}, Case{{-7.0f}, -7.0f}}) {
            float fLeast = 9.0f, fGreatest = 9.0f;
            DSP::VectorMin(c.x.data(), static_cast<int>(c.x.size()), &fLeast);
            DSP::VectorMax(c.x.data(), static_cast<int>(c.x.size()), &fGreatest);
            CHECK(SameBits(fLeast, c.fResult));
            CHECK(SameBits(fGreatest, c.fResult));
        }
    });
}

TEST_CASE("Denormal guard: the sign turns every 128 samples, wherever the stream is cut") {
    std::mt19937 generator(11);
    for (const int nStart : {0, 1, 127, 128, 200, 255}) {
        CAPTURE(nStart);
        std::vector<float> output = AnyFloats(9, 1500);
        std::vector<float> expected = output;
        int nPhase = nStart;
        for (float& sample : expected) {
            sample += nPhase < 128 ? 1e-10f : -1e-10f;
            nPhase = (nPhase + 1) % 256;
        }
        auto uPhase = static_cast<std::uint8_t>(nStart);
        for (int i = 0; i < 1500;) {
            const int n = std::min(1500 - i, static_cast<int>(generator() % 300));
            uPhase = DSP::VectorGuard(output.data() + i, n, 1e-10f, uPhase);
            i += n;
        }
        CHECK(FirstDifference(output, expected) == -1);
        CHECK(int{uPhase} == nPhase);
    }
}
