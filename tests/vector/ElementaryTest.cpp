#include "dsp/vector/Elementary.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "tests/vector/Referee.h"

using Test::Quad;
using Test::UlpError;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLeast = std::numeric_limits<double>::denorm_min();
constexpr double kMost = std::numeric_limits<double>::max();
constexpr double kPi = 3.141592653589793;
constexpr int kDraws = 2000;

bool Same(double a, double b) {
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
    return a == b && std::signbit(a) == std::signbit(b);
}

class Draw {
public:
    explicit Draw(unsigned uSeed) : m_generator(uSeed) {}
    double Even(double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(m_generator);
    }
    /// Magnitudes evenly spread over the powers of two.
    double Spread(int nLeast, int nMost) {
        const int n = std::uniform_int_distribution<int>(nLeast, nMost)(m_generator);
        return std::ldexp(Even(1.0, 2.0), n);
    }

private:
    std::mt19937 m_generator;
};

/// Where arguments come from.
using Range = std::function<double(Draw&)>;
Range Even(double fLeast, double fMost) {
    return [=](Draw& draw) { return draw.Even(fLeast, fMost); };
}
Range Spread(int nLeast, int nMost) {
    return [=](Draw& draw) { return (draw.Even(-1, 1) < 0 ? -1 : 1) * draw.Spread(nLeast, nMost); };
}
Range Positive(int nLeast, int nMost) {
    return [=](Draw& draw) { return draw.Spread(nLeast, nMost); };
}
Range Near(double fPlace, int nLeast, int nMost) {
    return [=](Draw& draw) { return fPlace + draw.Even(-1.0, 1.0) * draw.Spread(nLeast, nMost); };
}

double BelowOne(Draw& draw) {
    return 1.0 - draw.Spread(-52, -4);
}

/// One function, what it should be, and how far it may be off, in ulp, in each range.
struct Function {
    std::string strName;
    double (*function)(double) noexcept;
    Quad (*exact)(Quad) noexcept;
    double fBound;
    std::vector<Range> ranges;
};

Quad Exp2(Quad x) noexcept {
    return expq(x * logq(2));
}

const Function kFunctions[] = {
    {"exp", DSP::Exp, expq, 0.8, {Even(-745.0, 709.7), Near(0, -60, -1)}},
    {"exp2", DSP::Exp2, Exp2, 0.8, {Even(-1074.0, 1023.9)}},
    {"log", DSP::Log, logq, 0.9, {Positive(-1074, 1023), Near(1, -50, -2)}},
    {"log2", DSP::Log2, log2q, 0.51, {Positive(-1074, 1023), Near(1, -50, -2)}},
    {"log10", DSP::Log10, log10q, 0.51, {Positive(-1074, 1023), Near(1, -50, -2)}},
    // Where the two reductions meet, at 2^20, and however large an angle is.
    {"sin",
     DSP::Sin,
     sinq,
     0.95,
     {Even(-10, 10), Even(-1e6, 1e6), Spread(-500, -1), Near(kPi, -40, -30), Near(0x1p20, -30, -1)}},
    {"cos",
     DSP::Cos,
     cosq,
     0.95,
     {Even(-10, 10), Even(-1e6, 1e6), Near(kPi / 2, -40, -30), Near(-0x1p20, -30, -1)}},
    {"sin of any angle", DSP::Sin, sinq, 1.5, {Spread(20, 1023)}},
    {"cos of any angle", DSP::Cos, cosq, 1.5, {Spread(20, 1023)}},
    {"tan", DSP::Tan, tanq, 1.2, {Even(-10, 10), Even(-1e6, 1e6), Spread(-500, -1)}},
    {"asin", DSP::Asin, asinq, 0.55, {Even(-1, 1), Spread(-100, -1), BelowOne}},
    {"acos", DSP::Acos, acosq, 0.55, {Even(-1, 1), BelowOne}},
    {"atan", DSP::Atan, atanq, 0.55, {Even(-10, 10), Spread(-100, 100)}},
    {"sinh", DSP::Sinh, sinhq, 0.9, {Even(-3, 3), Even(-710.4, 710.4), Spread(-30, -1)}},
    {"cosh", DSP::Cosh, coshq, 0.9, {Even(-3, 3), Even(-710.4, 710.4)}},
    {"tanh", DSP::Tanh, tanhq, 0.9, {Even(-3, 3), Even(3, 50), Spread(-30, -1)}},
};

}  // namespace

TEST_CASE("Elementary: every function stays within its error bound over its whole range") {
    for (const Function& function : kFunctions) {
        for (std::size_t iRange = 0; iRange < function.ranges.size(); ++iRange) {
            Draw draw(20);
            double fWorst = 0.0, fWhere = 0.0;
            for (int i = 0; i < kDraws; ++i) {
                const double x = function.ranges[iRange](draw);
                const double fError = UlpError(function.function(x), function.exact(x));
                if (!(fError <= fWorst)) {
                    fWorst = fError;
                    fWhere = x;
                }
            }
            CAPTURE(function.strName);
            CAPTURE(iRange);
            CAPTURE(fWhere);
            CHECK(fWorst < function.fBound);
        }
    }
    // The double nearest to a multiple of pi/2: 61 bits cancel.
    CHECK(UlpError(DSP::Cos(6381956970095103.0 * 0x1p797), cosq(6381956970095103.0 * 0x1p797)) < 1.5);
}

TEST_CASE("Elementary: powers and angles of points stay within their error bounds") {
    Draw draw(21);
    double fPower = 0.0, fAngle = 0.0, fScaled = 0.0;
    for (int i = 0; i < kDraws; ++i) {
        // Every second base lies so close to 1 that the exponent multiplies the logarithm's error.
        const double a =
            i % 2 == 0 ? draw.Spread(-1074, 1023) : 1.0 + draw.Even(-1.0, 1.0) * draw.Spread(-40, -2);
        const double b = draw.Even(-745.0, 709.0) / std::log(a);
        fPower = std::max(fPower, UlpError(DSP::Pow(a, b), expq(b * logq(a))));
        const double y = draw.Even(-1.0, 1.0) * draw.Spread(-40, 40), x = draw.Even(-1.0, 1.0);
        fAngle = std::max(fAngle, UlpError(DSP::Atan2(y, x), atan2q(y, x)));
        // The angle of a point does not depend on its distance.
        for (const double fFactor : {0x1p980, 0x1p-900})
            fScaled = std::max(fScaled, std::abs(DSP::Atan2(y * fFactor, x * fFactor) - DSP::Atan2(y, x)));
    }
    CHECK(fPower < 0.8);
    CHECK(fAngle < 0.55);
    CHECK(fScaled == 0.0);
}

TEST_CASE("Elementary: what can be exact is exact") {
    int nWrong = 0;
    for (int n = -1074; n <= 1023; ++n) {
        if (DSP::Exp2(double(n)) != std::ldexp(1.0, n)) ++nWrong;
        if (DSP::Log2(std::ldexp(1.0, n)) != n) ++nWrong;
        if (DSP::Pow(2.0, double(n)) != std::ldexp(1.0, n)) ++nWrong;
    }
    double fPower = 1.0;
    for (int n = 0; n <= 22; ++n) {
        if (DSP::Log10(fPower) != n) ++nWrong;
        if (DSP::Pow(10.0, double(n)) != fPower) ++nWrong;
        if (DSP::Pow(fPower, 1.0) != fPower) ++nWrong;
        fPower *= 10.0;
    }
    for (int n = -1000; n <= 1000; ++n) {
        const double x = n;
        if (DSP::Pow(x, 2.0) != x * x || DSP::Pow(x, 3.0) != x * x * x) ++nWrong;
        if (DSP::Pow(x * x, 0.5) != std::abs(x)) ++nWrong;
    }
    CHECK(nWrong == 0);
    CHECK((DSP::Pow(10.0f, 2.0f) == 100.0f && DSP::Log10(1000.0f) == 3.0f));
}

TEST_CASE("Elementary: zeros, infinities, NaNs and ends come out as the C standard says") {
    const auto agree = [](double x, Quad exact) {
        const auto fExact = static_cast<double>(exact);
        const bool bOrdinary = std::isnormal(fExact) && std::isnormal(x);
        return Same(x, fExact) || (bOrdinary && UlpError(x, exact) < 1.5);
    };
    const double corners[] = {0.0,       -0.0,       1.0,  -1.0,   0.5,     -0.5,   2.0,
                              -2.0,      3.0,        -3.0, kLeast, -kLeast, kMost,  -kMost,
                              kInfinity, -kInfinity, kNaN, 0x1p53, 0x1p-70, -0x1p70};
    for (const double x : corners) {
        for (const double y : corners) {
            CAPTURE(x);
            CAPTURE(y);
            CHECK(agree(DSP::Atan2(y, x), atan2q(y, x)));
            CHECK(agree(DSP::Pow(x, y), powq(x, y)));
        }
    }
    for (const Function& function : kFunctions) {
        for (const double x : {0.0, -0.0, 1.0, -1.0, kLeast, -kLeast, kInfinity, -kInfinity, kNaN,
                               1.0 + 0x1p-52, 709.79, -711.0, -745.0, -745.2, 1024.0, -1080.0}) {
            CAPTURE(function.strName);
            CAPTURE(x);
            CHECK(agree(function.function(x), function.exact(x)));
        }
    }
}
