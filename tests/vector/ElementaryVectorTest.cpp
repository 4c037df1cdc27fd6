#include "dsp/vector/ElementaryVector.h"

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <doctest/doctest.h>

#include "dsp/vector/Elementary.h"
#include "tests/vector/KernelCases.h"

using namespace Test;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kLeast = std::numeric_limits<float>::denorm_min();

struct Function {
    const char* strName;
    DSP::VectorStatus (*kernel)(const float* source, float* destination, std::int32_t nLength) noexcept;
    double (*exact)(double);
    double fBound;  // ulp
    float fLeast, fMost;
    bool bLogarithmic;  // draws spread over magnitudes
};

const Function kFunctions[] = {
    {"exp", DSP::VectorExp, std::exp, 1.0, -104.0f, 88.8f, false},
    {"exp2", DSP::VectorExp2, std::exp2, 1.0, -150.0f, 128.0f, false},
    {"log", DSP::VectorLog, std::log, 1.0, kLeast, 3.4e38f, true},
    {"log2", DSP::VectorLog2, std::log2, 2.0, kLeast, 3.4e38f, true},
    {"to dB", DSP::VectorLinearToDb, [](double x) { return x >= 1e-20 ? 8.685889 * std::log(x) : -400.0; },
     2.5, 1e-20f, 3.4e38f, true},
    {"from dB", DSP::VectorDbToLinear, [](double x) { return std::exp(0.115129255 * x); }, 1.0, -900.0f,
     771.0f, false},
};

/// The distance from the exact value in units of a float's last place, down into the subnormal range.
double FloatUlpError(float got, double exact) {
    const auto nearest = static_cast<float>(exact);
    if (!std::isfinite(got) || std::isinf(nearest)) return got == nearest ? 0.0 : 1e30;
    int n = 0;
    std::frexp(exact, &n);
    return std::ldexp(std::abs(double{got} - exact), 24 - std::max(n, -125));
}

std::vector<float> Draws(const Function& function, int nLength) {
    std::mt19937 generator(41);
    std::vector<float> x(static_cast<std::size_t>(nLength));
    const bool bLog = function.bLogarithmic;
    std::uniform_real_distribution<double> draw(
        bLog ? std::log2(double{function.fLeast}) : double{function.fLeast},
        bLog ? std::log2(double{function.fMost}) : double{function.fMost});
    std::uniform_real_distribution<double> middle(bLog ? 0.5 : -1.0, bLog ? 2.0 : 1.0);
    for (std::size_t i = 0; i < x.size(); ++i) {
        // Every second draw comes from around the place where the result is 0 or 1.
        const double fDraw = draw(generator);
        x[i] = static_cast<float>(i % 2 == 0 ? (bLog ? std::exp2(fDraw) : fDraw) : middle(generator));
    }
    return x;
}

}  // namespace

TEST_CASE("Elementary blocks: every function stays within its error bound") {
    for (const Function& function : kFunctions) {
        CAPTURE(function.strName);
        const std::vector<float> x = Draws(function, 100000);
        std::vector<float> y(x.size());
        CHECK(function.kernel(x.data(), y.data(), static_cast<int>(x.size())) == DSP::kVectorOk);
        double fWorst = 0.0;
        for (std::size_t i = 0; i < x.size(); ++i)
            fWorst = std::max(fWorst, FloatUlpError(y[i], function.exact(double{x[i]})));
        CHECK(fWorst < function.fBound);
    }
}

TEST_CASE("Elementary blocks: every level gives the same bits at every length, place and alignment") {
    for (const Function& function : kFunctions) {
        CAPTURE(function.strName);
        std::vector<float> x = AnyBits(42, 999);
        const std::vector<float> ordinary = Draws(function, 500);
        std::copy(ordinary.begin(), ordinary.end(), x.begin() + 100);
        // The one-lane level, an element at a time, is the plain loop.
        DSP::UseProcessorLevel(DSP::AvailableProcessorLevels().back());
        std::vector<float> plain(x.size());
        for (std::size_t i = 0; i < x.size(); ++i)
            function.kernel(&x[i], &plain[i], 1);
        AtEveryLevel([&] {
            for (const int n : KernelLengths()) {
                CAPTURE(n);
                for (const int nFirst : {0, 999 - n}) {
                    Guarded<float> source(std::vector<float>(x.begin() + nFirst, x.begin() + nFirst + n),
                                          n % 4);
                    Guarded<float> destination(n, n % 3);
                    CHECK(function.kernel(source.Data(), destination.Data(), n) == DSP::kVectorOk);
                    const std::vector<float> expected(plain.begin() + nFirst, plain.begin() + nFirst + n);
                    // NaNs count too: there is only one.
                    const std::vector<float> got = destination.Values();
                    CHECK(std::memcmp(got.data(), expected.data(), got.size() * sizeof(float)) == 0);
                    CHECK(destination.Intact());
                    function.kernel(source.Data(), source.Data(), n);
                    CHECK(FirstDifference(source.Values(), expected) == -1);
                    CHECK(source.Intact());
                }
            }
        });
    }
}

TEST_CASE("Elementary blocks: the double forms and the power have the bits of the scalar functions") {
    std::vector<float> x = AnyBits(43, 700);
    const float special[] = {0.0f, -0.0f, 1.0f, kInfinity, -kInfinity, kNaN, kLeast, -1.0f, 710.0f, -745.0f};
    std::copy(std::begin(special), std::end(special), x.begin());
    for (std::size_t i = 10; i < 300; ++i)
        x[i] = std::fmod(x[i], 800.0f);
    std::vector<double> wide(x.begin(), x.end());
    // Doubles that are no floats, into the subnormal range.
    for (std::size_t i = 300; i < 500; ++i)
        wide[i] *= 0x1.123456789abcdp-940;
    AtEveryLevel([&] {
        std::vector<double> got(wide.size()), expected(wide.size());
        const int n = static_cast<int>(wide.size());
        DSP::VectorExp(wide.data(), got.data(), n);
        for (std::size_t i = 0; i < wide.size(); ++i)
            expected[i] = DSP::Exp(wide[i]);
        CHECK(FirstDifference(got, expected) == -1);
        DSP::VectorLog(wide.data(), got.data(), n);
        for (std::size_t i = 0; i < wide.size(); ++i)
            expected[i] = DSP::Log(wide[i]);
        CHECK(FirstDifference(got, expected) == -1);
        for (const float fExponent : {0.5f, -1.7f, 3.0f, 0.0f, 1e-3f, 1e30f, -kInfinity, kNaN}) {
            CAPTURE(fExponent);
            std::vector<float> power(x.size()), scalar(x.size());
            CHECK(DSP::VectorPow(x.data(), fExponent, power.data(), n) == DSP::kVectorOk);
            for (std::size_t i = 0; i < x.size(); ++i) {
                // The block form takes magnitudes only.
                const float fMagnitude = x[i] == 0.0f ? 0.0f : x[i];
                scalar[i] = fMagnitude < 0.0f && fExponent != 0.0f ? kNaN : DSP::Pow(fMagnitude, fExponent);
            }
            CHECK(FirstDifference(power, scalar) == -1);
            const std::vector<float> exponents(x.size(), fExponent);
            CHECK(DSP::VectorPow(x.data(), exponents.data(), power.data(), n) == DSP::kVectorOk);
            CHECK(FirstDifference(power, scalar) == -1);
        }
    });
    // Powers of floats round almost always to the nearest float: the reference is double.
    double fWorst = 0.0;
    std::mt19937 generator(44);
    std::uniform_real_distribution<float> base(0.0f, 4.0f), exponent(-8.0f, 8.0f);
    for (int i = 0; i < 20000; ++i) {
        const float a = base(generator), b = exponent(generator);
        fWorst = std::max(fWorst, FloatUlpError(DSP::Pow(a, b), std::pow(double{a}, double{b})));
    }
    CHECK(fWorst < 0.501);
}

TEST_CASE(
    "Elementary blocks: edges, infinities and NaNs come out as of the exact function, powers of 2 exactly") {
    AtEveryLevel([] {
        for (const Function& function : kFunctions) {
            for (const float x :
                 {0.0f, -0.0f, 1.0f, -1.0f, 0.5f, kLeast, -kLeast, kInfinity, -kInfinity, kNaN, 89.0f,
                  -103.0f, -104.0f, 128.0f, 127.0f, -149.0f, -150.5f, -1e30f, 9e-21f}) {
                CAPTURE(function.strName);
                CAPTURE(x);
                float y = 123.0f;
                function.kernel(&x, &y, 1);
                const auto fExact = static_cast<float>(function.exact(double{x}));
                const bool bOrdinary = std::isnormal(fExact) && std::isnormal(y);
                CHECK((SameBits(y, fExact) ||
                       (bOrdinary && FloatUlpError(y, function.exact(double{x})) < function.fBound)));
            }
        }
        std::vector<float> integers, powers(277), back(277);
        for (int n = -149; n <= 127; ++n)
            integers.push_back(static_cast<float>(n));
        DSP::VectorExp2(integers.data(), powers.data(), 277);
        DSP::VectorLog2(powers.data(), back.data(), 277);
        int nWrong = 0;
        for (std::size_t i = 0; i < 277; ++i)
            nWrong += powers[i] != std::ldexp(1.0f, static_cast<int>(i) - 149) || back[i] != integers[i];
        CHECK(nWrong == 0);
    });
}

TEST_CASE("Elementary blocks: bad arguments touch nothing") {
    float x = 0.5f, y = 7.0f;
    double a = 0.5, b = 7.0;
    for (const Function& function : kFunctions) {
        CHECK(function.kernel(&x, &y, 0) == DSP::kVectorBadLength);
        CHECK(function.kernel(nullptr, &y, 1) == DSP::kVectorNullPointer);
        CHECK(function.kernel(&x, nullptr, 1) == DSP::kVectorNullPointer);
    }
    CHECK(DSP::VectorExp(&a, &b, -3) == DSP::kVectorBadLength);
    CHECK(DSP::VectorLog(&a, static_cast<double*>(nullptr), 1) == DSP::kVectorNullPointer);
    CHECK(DSP::VectorPow(&x, 0.0f, &y, 0) == DSP::kVectorBadLength);
    CHECK(DSP::VectorPow(nullptr, 0.0f, &y, 1) == DSP::kVectorNullPointer);
    CHECK((y == 7.0f && b == 7.0));
}
