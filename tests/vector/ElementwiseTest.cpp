#include "dsp/vector/Elementwise.h"

#include <algorithm>
#include <functional>
#include <string>

#include <doctest/doctest.h>

#include "tests/support/CountingAllocator.h"
#include "tests/vector/KernelCases.h"

using namespace Test;

namespace {

struct Operation {
    std::string strName;
    std::function<DSP::VectorStatus(const float* a, const float* b, float* d, int n)> kernel;
    std::function<float(float a, float b, float d)> model;
};

// What each operation does to one element, written as the plain loop would have it.
const std::vector<Operation>& Operations() {
    static const std::vector<Operation> operations = {
        {"copy", [](auto a, auto, auto d, int n) { return DSP::VectorCopy(a, d, n); },
         [](float a, float, float) { return a; }},
        {"copy bytes", [](auto a, auto, auto d, int n) { return DSP::VectorCopyBytes(a, d, 4 * n); },
         [](float a, float, float) { return a; }},
        {"move", [](auto a, auto, auto d, int n) { return DSP::VectorMove(a, d, n); },
         [](float a, float, float) { return a; }},
        {"zero", [](auto, auto, auto d, int n) { return DSP::VectorZero(d, n); },
         [](float, float, float) { return 0.0f; }},
        {"fill", [](auto, auto, auto d, int n) { return DSP::VectorFill(-0.3f, d, n); },
         [](float, float, float) { return -0.3f; }},
        {"add constant", [](auto, auto, auto d, int n) { return DSP::VectorAddConstant(0.7f, d, n); },
         [](float, float, float d) { return d + 0.7f; }},
        {"add", [](auto a, auto, auto d, int n) { return DSP::VectorAdd(a, d, n); },
         [](float a, float, float d) { return d + a; }},
        {"subtract", [](auto a, auto, auto d, int n) { return DSP::VectorSubtract(a, d, n); },
         [](float a, float, float d) { return d - a; }},
        {"multiply", [](auto a, auto, auto d, int n) { return DSP::VectorMultiply(a, d, n); },
         [](float a, float, float d) { return d * a; }},
        {"multiply add", [](auto a, auto b, auto d, int n) { return DSP::VectorMultiplyAdd(a, b, d, n); },
         [](float a, float b, float d) {
             const float fProduct = a * b;
             return d + fProduct;
         }},
        {"scale", [](auto, auto, auto d, int n) { return DSP::VectorScale(1.1f, d, n); },
         [](float, float, float d) { return d * 1.1f; }},
        {"scale to", [](auto a, auto, auto d, int n) { return DSP::VectorScaleTo(a, 1.1f, d, n); },
         [](float a, float, float) { return a * 1.1f; }},
        {"threshold", [](auto, auto, auto d, int n) { return DSP::VectorThresholdGT(d, n, 0.25f); },
         [](float, float, float d) { return d > 0.25f ? 0.25f : d; }},
    };
    return operations;
}

}  // namespace

TEST_CASE(
    "Element-wise: every operation gives the bits of the plain loop at every level, length and alignment") {
    AtEveryLevel([] {
        for (const Operation& operation : Operations()) {
            CAPTURE(operation.strName);
            for (const int n : KernelLengths()) {
                CAPTURE(n);
                const int nOffset = n % 4;
                Guarded<float> a(AnyFloats(1, n), nOffset);
                Guarded<float> b(AnyFloats(2, n), 3 - nOffset);
                Guarded<float> d(AnyFloats(3, n), n % 3);
                std::vector<float> expected = d.Values();
                for (std::size_t i = 0; i < expected.size(); ++i) {
                    expected[i] = operation.model(a.Data()[i], b.Data()[i], expected[i]);
                }
                CHECK(operation.kernel(a.Data(), b.Data(), d.Data(), n) == DSP::kVectorOk);
                CHECK(FirstDifference(d.Values(), expected) == -1);
                CHECK(d.Intact());
            }
        }
    });
}

TEST_CASE("Element-wise: a source may be the destination") {
    AtEveryLevel([] {
        const std::vector<float> x = AnyFloats(4, 99);
        std::vector<float> doubled = x, square = x, fused = x;
        DSP::VectorAdd(doubled.data(), doubled.data(), 99);
        DSP::VectorMultiply(square.data(), square.data(), 99);
        DSP::VectorMultiplyAdd(fused.data(), fused.data(), fused.data(), 99);
        std::vector<float> expected[3] = {x, x, x};
        for (std::size_t i = 0; i < x.size(); ++i) {
            expected[0][i] = x[i] + x[i];
            expected[1][i] = x[i] * x[i];
            expected[2][i] = x[i] + expected[1][i];
        }
        CHECK(FirstDifference(doubled, expected[0]) == -1);
        CHECK(FirstDifference(square, expected[1]) == -1);
        CHECK(FirstDifference(fused, expected[2]) == -1);
    });
}

TEST_CASE("Element-wise: a null pointer or a length below 1 is named and changes nothing") {
    float a[2] = {1.0f, 2.0f}, b[2] = {3.0f, 4.0f}, d[2] = {5.0f, 6.0f};
    double wide[2] = {7.0, 8.0};
    for (const int n : {0, -1, std::numeric_limits<int>::min()}) {
        CAPTURE(n);
        for (const Operation& operation : Operations()) {
            CAPTURE(operation.strName);
            // The byte count is a multiple of the length, which overflows for the last of these.
            if (operation.strName == "copy bytes" && n < -1) continue;
            CHECK(operation.kernel(a, b, d, n) == DSP::kVectorBadLength);
            CHECK(operation.kernel(a, b, nullptr, n) == DSP::kVectorNullPointer);
        }
        CHECK(DSP::VectorConvert(a, wide, n) == -6);
        CHECK(DSP::VectorConvert(wide, a, n) == -6);
        CHECK(DSP::VectorMin(a, n, d) == -6);
        CHECK(DSP::VectorMax(a, n, d) == -6);
        CHECK(DSP::VectorGuard(d, n, 1.0f, 77) == 77);
    }
    CHECK(DSP::VectorCopy(nullptr, d, 2) == -8);
    CHECK(DSP::VectorMultiplyAdd(a, nullptr, d, 2) == -8);
    CHECK(DSP::VectorConvert(a, static_cast<double*>(nullptr), 2) == -8);
    CHECK(DSP::VectorMin(a, 2, nullptr) == -8);
    CHECK(DSP::VectorMax(nullptr, 2, d) == -8);
    CHECK(DSP::VectorGuard(nullptr, 2, 1.0f, 77) == 77);
    CHECK((a[0] == 1.0f && a[1] == 2.0f && d[0] == 5.0f && d[1] == 6.0f && wide[0] == 7.0 && wide[1] == 8.0));
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
            Guarded<float> narrow(AnyFloats(6, n), n % 4);
            Guarded<double> wide(n, n % 2);
            CHECK(DSP::VectorConvert(narrow.Data(), wide.Data(), n) == DSP::kVectorOk);
            std::vector<double> expected(narrow.Data(), narrow.Data() + n);
            CHECK(FirstDifference(wide.Values(), expected) == -1);
            CHECK(wide.Intact());
            // A factor moves the doubles off the floats; the greatest ones leave float's range.
            for (int i = 0; i < n; ++i)
                wide.Data()[i] *= 1.000000123;
            std::vector<float> rounded(static_cast<std::size_t>(n));
            for (std::size_t i = 0; i < rounded.size(); ++i)
                rounded[i] = static_cast<float>(wide.Data()[i]);
            CHECK(DSP::VectorConvert(wide.Data(), narrow.Data(), n) == DSP::kVectorOk);
            CHECK(FirstDifference(narrow.Values(), rounded) == -1);
            CHECK(narrow.Intact());
        }
        const double far[3] = {1e300, -3.5e38, 3.5e38};
        float out[3] = {};
        DSP::VectorConvert(far, out, 3);
        const float fInfinity = std::numeric_limits<float>::infinity();
        CHECK((out[0] == fInfinity && out[1] == -fInfinity && out[2] == fInfinity));
    });
}

TEST_CASE("Element-wise: the extremes find their element in every place and pass NaNs over") {
    const float fNaN = std::numeric_limits<float>::quiet_NaN();
    const float fInfinity = std::numeric_limits<float>::infinity();
    AtEveryLevel([fNaN, fInfinity] {
        for (const int n : KernelLengths()) {
            CAPTURE(n);
            int nWrong = 0;
            for (int iPeak = 0; iPeak < n; ++iPeak) {
                std::vector<float> x(static_cast<std::size_t>(n), 0.5f);
                // NaNs on both sides of the peak, but never on it.
                x.front() = x.back() = fNaN;
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
            float fLeast, fGreatest;
        };
        const Case cases[] = {
            {{fNaN, fNaN}, 0.0f, 0.0f},
            {{fInfinity, fNaN}, fInfinity, fInfinity},
            {{-fInfinity, fNaN}, -fInfinity, -fInfinity},
            {{-0.0f, -0.0f}, 0.0f, 0.0f},
            {{0.0f, -0.0f, fNaN}, 0.0f, 0.0f},
            {{-7.0f}, -7.0f, -7.0f},
        };
        for (const Case& c : cases) {
            float fLeast = 9.0f, fGreatest = 9.0f;
            DSP::VectorMin(c.x.data(), static_cast<int>(c.x.size()), &fLeast);
            DSP::VectorMax(c.x.data(), static_cast<int>(c.x.size()), &fGreatest);
            CHECK(SameBits(fLeast, c.fLeast));
            CHECK(SameBits(fGreatest, c.fGreatest));
        }
    });
}

TEST_CASE("Element-wise: a threshold that is no number changes nothing") {
    AtEveryLevel([] {
        std::vector<float> x = AnyFloats(8, 50);
        const std::vector<float> before = x;
        DSP::VectorThresholdGT(x.data(), 50, std::numeric_limits<float>::quiet_NaN());
        CHECK(FirstDifference(x, before) == -1);
    });
}

TEST_CASE("Denormal guard: the sign turns every 128 samples, wherever the stream is cut") {
    std::mt19937 generator(11);
    for (const int nStart : {0, 1, 127, 128, 200, 255}) {
        CAPTURE(nStart);
        const std::vector<float> input = AnyFloats(9, 1500);
        std::vector<float> expected = input;
        int nPhase = nStart;
        for (float& sample : expected) {
            sample += static_cast<std::int8_t>(nPhase) >= 0 ? 1e-10f : -1e-10f;
            nPhase = (nPhase + 1) % 256;
        }
        std::vector<float> output = input;
        auto uPhase = static_cast<std::uint8_t>(nStart);
        for (int i = 0; i < 1500;) {
            const int n = std::min(1500 - i, static_cast<int>(generator() % 300));
            uPhase = DSP::VectorGuard(output.data() + i, n, 1e-10f, uPhase);
            i += n;
        }
        CHECK(FirstDifference(output, expected) == -1);
        CHECK(int{uPhase} == nPhase);
    }
    // Two whole turns of the sign cancel: the guard has no constant share.
    std::vector<float> silence(512, 0.0f);
    DSP::VectorGuard(silence.data(), 512, 1e-10f, 33);
    double fSum = 0.0;
    for (float sample : silence)
        fSum += double{sample};
    CHECK(fSum == 0.0);
}

TEST_CASE("Element-wise: nothing allocates") {
    std::vector<float> a(300, 0.5f), d(300, 0.25f);
    std::vector<double> wide(300);
    float fExtreme = 0.0f;
    const AllocationCounter counter;
    DSP::VectorAdd(a.data(), d.data(), 300);
    DSP::VectorMultiplyAdd(a.data(), a.data(), d.data(), 300);
    DSP::VectorConvert(a.data(), wide.data(), 300);
    DSP::VectorConvert(wide.data(), a.data(), 300);
    DSP::VectorThresholdGT(d.data(), 300, 0.1f);
    DSP::VectorMin(d.data(), 300, &fExtreme);
    DSP::VectorGuard(d.data(), 300, 1e-10f, 0);
    CHECK(counter.Count() == 0);
}
