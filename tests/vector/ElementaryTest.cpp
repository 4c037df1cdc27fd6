#include "dsp/vector/Elementary.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "tests/vector/Referee.h"

using Test::Referee::Quad;
using Test::Referee::UlpError;
namespace Referee = Test::Referee;

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLeast = std::numeric_limits<double>::denorm_min();
constexpr double kMost = std::numeric_limits<double>::max();
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

/// One function over one range of arguments.
struct Range {
    std::string strName;
    std::function<double(Draw&)> draw;
    std::function<double(double)> function;
    std::function<Quad(double)> exact;
    double fBound;  // ulp
};

void CheckRanges(const std::vector<Range>& ranges) {
    for (const Range& range : ranges) {
        Draw draw(20);
        double fWorst = 0.0, fWhere = 0.0;
        for (int i = 0; i < kDraws; ++i) {
            const double x = range.draw(draw);
            const double fError = UlpError(range.function(x), range.exact(x));
            if (!(fError <= fWorst)) {
                fWorst = fError;
                fWhere = x;
            }
        }
        MESSAGE(range.strName << ": " << fWorst << " ulp at " << fWhere);
        CHECK(fWorst < range.fBound);
    }
}

double Exp1(double x) {
    return DSP::Exp(x);
}
double Log1(double x) {
    return DSP::Log(x);
}

struct Special {
    std::string strName;
    double got;
    double expected;
};

void CheckSpecials(const std::vector<Special>& specials) {
    for (const Special& special : specials) {
        CAPTURE(special.strName);
        CAPTURE(special.got);
        CHECK(Same(special.got, special.expected));
    }
}

}  // namespace

TEST_CASE("Elementary: exponentials and logarithms stay within their error bounds over their whole range") {
    const Quad ln2 = Referee::Ln2();
    const Quad ln10 = Referee::Log(10.0);
    const auto any = [](Draw& draw) { return draw.Spread(-1074, 1023); };
    const auto nearOne = [](Draw& draw) { return 1.0 + draw.Even(-1.0, 1.0) * draw.Spread(-50, -2); };
    CheckRanges({
        {"exp", [](Draw& draw) { return draw.Even(-745.0, 709.7); }, Exp1,
         [](double x) { return Referee::Exp(x); }, 0.8},
        {"exp near 0", [](Draw& draw) { return draw.Even(-1.0, 1.0) * draw.Spread(-60, -1); }, Exp1,
         [](double x) { return Referee::Exp(x); }, 0.7},
        {"exp2", [](Draw& draw) { return draw.Even(-1074.0, 1023.9); }, [](double x) { return DSP::Exp2(x); },
         [ln2](double x) { return Referee::Exp(x * ln2); }, 0.8},
        {"log", any, Log1, [](double x) { return Referee::Log(x); }, 0.9},
        {"log near 1", nearOne, Log1, [](double x) { return Referee::Log(x); }, 0.9},
        {"log2", any, [](double x) { return DSP::Log2(x); },
         [ln2](double x) { return Referee::Log(x) / ln2; }, 0.51},
        {"log2 near 1", nearOne, [](double x) { return DSP::Log2(x); },
         [ln2](double x) { return Referee::Log(x) / ln2; }, 0.51},
        {"log10", any, [](double x) { return DSP::Log10(x); },
         [ln10](double x) { return Referee::Log(x) / ln10; }, 0.51},
        {"log10 near 1", nearOne, [](double x) { return DSP::Log10(x); },
         [ln10](double x) { return Referee::Log(x) / ln10; }, 0.51},
    });
}

TEST_CASE("Elementary: a power stays within its error bound, also where its exponent is enormous") {
    Draw draw(21);
    double fWorst = 0.0;
    for (int i = 0; i < kDraws; ++i) {
        // Every second base lies so close to 1 that the exponent multiplies the logarithm's error.
        const double x =
            i % 2 == 0 ? draw.Spread(-1074, 1023) : 1.0 + draw.Even(-1.0, 1.0) * draw.Spread(-40, -2);
        const double y = draw.Even(-745.0, 709.0) / std::log(x);
        fWorst = std::max(fWorst, UlpError(DSP::Pow(x, y), Referee::Exp(y * Referee::Log(x))));
    }
    CHECK(fWorst < 0.8);
}

TEST_CASE("Elementary: circular functions stay within their error bounds") {
    const auto few = [](Draw& draw) { return draw.Even(-10.0, 10.0); };
    const auto many = [](Draw& draw) { return draw.Even(-1e6, 1e6); };
    const auto small = [](Draw& draw) { return draw.Spread(-500, -1); };
    const auto sine = [](double x) { return DSP::Sin(x); };
    const auto cosine = [](double x) { return DSP::Cos(x); };
    const auto tangent = [](double x) { return DSP::Tan(x); };
    const auto exactSine = [](double x) { return Referee::Turn(x).sine; };
    const auto exactCosine = [](double x) { return Referee::Turn(x).cosine; };
    const auto exactTangent = [](double x) { return Referee::Turn(x).sine / Referee::Turn(x).cosine; };
    CheckRanges({
        {"sin", few, sine, exactSine, 0.95},
        {"sin of many turns", many, sine, exactSine, 0.95},
        {"sin near 0", small, sine, exactSine, 0.95},
        {"sin near pi", [](Draw& draw) { return 3.141592653589793 + draw.Even(-1e-9, 1e-9); }, sine,
         exactSine, 0.95},
        {"cos", few, cosine, exactCosine, 0.95},
        {"cos of many turns", many, cosine, exactCosine, 0.95},
        {"cos near pi/2", [](Draw& draw) { return 1.5707963267948966 + draw.Even(-1e-9, 1e-9); }, cosine,
         exactCosine, 0.95},
        {"tan", few, tangent, exactTangent, 1.2},
        {"tan of many turns", many, tangent, exactTangent, 1.2},
        {"tan near 0", small, tangent, exactTangent, 1.2},
    });
    // Quarter turns do not move the function: the two reductions meet at 2^20.
    for (const double x : {0x1p20, 0x1.fffffffffffffp19, -0x1p20}) {
        CHECK(UlpError(DSP::Sin(x), Referee::Turn(x).sine) < 0.95);
        CHECK(UlpError(DSP::Cos(x), Referee::Turn(x).cosine) < 0.95);
    }
}

TEST_CASE("Elementary: an angle may be as large as a double can be") {
    // To 18 digits, from a computation with 1300 bits. The steps are shorter than the bits that each row
    // depends on, so together they hold every bit of the reduction's constant.
    struct Row {
        double x, sine, cosine;
    };
    const Row rows[] = {
        {0x1p20, 0.330493140021734672, 0.943808393901311984},
        {0x1p70, -0.99817940219330676, 0.0603148492248197851},
        {0x1p120, 0.377820109360752023, -0.925879022854837867},
        {0x1p170, 0.996177670040572032, -0.0873501557671032141},
        {0x1p220, -0.918922379725620146, -0.394438410958419689},
        {0x1p270, 0.98573882276904007, -0.168282421202890378},
        {0x1p320, 0.0385600660815345946, 0.999256284095220332},
        {0x1p370, -0.430066198688562572, -0.902797355304926567},
        {0x1p420, -0.993492118183401679, 0.113900882821239936},
        {0x1p470, 0.718742458915865786, -0.695276403850709565},
        {0x1p520, 0.573608372026261003, -0.819129681760698105},
        {0x1p570, 0.9995481385598178, -0.0300585878178479532},
        {0x1p620, 0.950252753103838812, -0.311479863263381373},
        {0x1p670, -0.994875185779412658, -0.101110655820141675},
        {0x1p720, 0.803205636399916427, 0.595701859704504572},
        {0x1p770, -0.401111703226766951, 0.916029148845451334},
        {0x1p820, -0.960369252155717102, -0.278730872911252268},
        {0x1p870, 0.0811534192932521404, -0.996701621618533142},
        {0x1p920, -0.80822767853722873, 0.588870121203582596},
        {0x1p970, 0.827764402930494595, 0.561075835552665546},
        {0x1p1020, -0.450629009628240115, 0.892711317101710925},
        {0x1p1023, 0.563127779850884013, -0.826369834614147995},
    };
    for (const Row& row : rows) {
        CAPTURE(row.x);
        CHECK(UlpError(DSP::Sin(row.x), row.sine) < 1.5);
        CHECK(UlpError(DSP::Cos(row.x), row.cosine) < 1.5);
        CHECK(UlpError(DSP::Sin(-row.x), -row.sine) < 1.5);
        CHECK(DSP::Cos(-row.x) == DSP::Cos(row.x));
    }
    // The double nearest to a multiple of pi/2: 61 bits cancel.
    CHECK(UlpError(DSP::Cos(6381956970095103.0 * 0x1p797), Quad(-4.6871659242546276111e-19)) < 1.5);
    // Doubling an angle is exact, so the two reductions must agree with the identities.
    Draw draw(22);
    double fWorst = 0.0;
    for (int i = 0; i < kDraws; ++i) {
        const double x = draw.Spread(18, 1022);
        const double s = DSP::Sin(x), c = DSP::Cos(x);
        fWorst = std::max(fWorst, std::abs(DSP::Sin(2.0 * x) - 2.0 * s * c));
        fWorst = std::max(fWorst, std::abs(DSP::Cos(2.0 * x) - (c - s) * (c + s)));
    }
    CHECK(fWorst < 1e-15);
}

TEST_CASE("Elementary: inverse circular functions stay within their error bounds in every quarter") {
    const auto side = [](Draw& draw) { return draw.Even(-1.0, 1.0); };
    const auto nearOne = [](Draw& draw) { return 1.0 - draw.Spread(-52, -4); };
    const auto arcSine = [](double x) { return DSP::Asin(x); };
    const auto arcCosine = [](double x) { return DSP::Acos(x); };
    const auto exactArcSine = [](double x) {
        return Referee::Atan2(x, Referee::Sqrt((1 - Quad(x)) * (1 + Quad(x))));
    };
    const auto exactArcCosine = [](double x) {
        return Referee::Atan2(Referee::Sqrt((1 - Quad(x)) * (1 + Quad(x))), x);
    };
    CheckRanges({
        {"asin", side, arcSine, exactArcSine, 0.55},
        {"asin near 0", [](Draw& draw) { return draw.Spread(-100, -1); }, arcSine, exactArcSine, 0.55},
        {"asin near 1", nearOne, arcSine, exactArcSine, 0.55},
        {"acos", side, arcCosine, exactArcCosine, 0.55},
        {"acos near 1", nearOne, arcCosine, exactArcCosine, 0.55},
        {"atan", [](Draw& draw) { return draw.Even(-10.0, 10.0); }, [](double x) { return DSP::Atan(x); },
         [](double x) { return Referee::Atan2(x, 1); }, 0.55},
        {"atan of any size", [](Draw& draw) { return draw.Spread(-100, 100); },
         [](double x) { return DSP::Atan(x); }, [](double x) { return Referee::Atan2(x, 1); }, 0.55},
    });
    Draw draw(23);
    double fWorst = 0.0, fScaled = 0.0;
    for (int i = 0; i < kDraws; ++i) {
        const double y = draw.Even(-1.0, 1.0) * draw.Spread(-40, 40), x = draw.Even(-1.0, 1.0);
        fWorst = std::max(fWorst, UlpError(DSP::Atan2(y, x), Referee::Atan2(y, x)));
        // The angle of a point does not depend on its distance.
        for (const double fFactor : {0x1p980, 0x1p-900}) {
            fScaled = std::max(fScaled, std::abs(DSP::Atan2(y * fFactor, x * fFactor) - DSP::Atan2(y, x)));
        }
    }
    CHECK(fWorst < 0.55);
    CHECK(fScaled == 0.0);
}

TEST_CASE("Elementary: hyperbolic functions stay within their error bounds") {
    const auto near = [](Draw& draw) { return draw.Even(-3.0, 3.0); };
    const auto all = [](Draw& draw) { return draw.Even(-710.4, 710.4); };
    const auto small = [](Draw& draw) { return draw.Spread(-30, -1); };
    const auto sine = [](double x) { return DSP::Sinh(x); };
    const auto cosine = [](double x) { return DSP::Cosh(x); };
    const auto tangent = [](double x) { return DSP::Tanh(x); };
    const auto exactSine = [](double x) { return (Referee::Exp(x) - Referee::Exp(-x)) / 2; };
    const auto exactCosine = [](double x) { return (Referee::Exp(x) + Referee::Exp(-x)) / 2; };
    const auto exactTangent = [=](double x) { return exactSine(x) / exactCosine(x); };
    CheckRanges({
        {"sinh", near, sine, exactSine, 0.9},
        {"sinh to the ends", all, sine, exactSine, 0.9},
        {"sinh near 0", small, sine, exactSine, 0.9},
        {"cosh", near, cosine, exactCosine, 0.9},
        {"cosh to the ends", all, cosine, exactCosine, 0.9},
        {"tanh", near, tangent, exactTangent, 0.9},
        {"tanh far out", [](Draw& draw) { return draw.Even(3.0, 50.0); }, tangent, exactTangent, 0.9},
        {"tanh near 0", small, tangent, exactTangent, 0.9},
    });
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
    CheckSpecials({{"exp 0", DSP::Exp(0.0), 1.0},
                   {"log 1", DSP::Log(1.0), 0.0},
                   {"cos 0", DSP::Cos(0.0), 1.0},
                   {"acos 1", DSP::Acos(1.0), 0.0},
                   {"cosh 0", DSP::Cosh(0.0), 1.0},
                   {"pow of a float", double{DSP::Pow(10.0f, 2.0f)}, 100.0},
                   {"log10 of a float", double{DSP::Log10(1000.0f)}, 3.0}});
}

TEST_CASE("Elementary: zeros, infinities and NaNs come out as the C standard says") {
    CheckSpecials({
        {"exp +inf", DSP::Exp(kInfinity), kInfinity},
        {"exp -inf", DSP::Exp(-kInfinity), 0.0},
        {"exp nan", DSP::Exp(kNaN), kNaN},
        {"exp too great", DSP::Exp(709.79), kInfinity},
        {"exp too small", DSP::Exp(-745.2), 0.0},
        {"exp least", DSP::Exp(-745.0), kLeast},
        {"exp2 +inf", DSP::Exp2(kInfinity), kInfinity},
        {"exp2 -inf", DSP::Exp2(-kInfinity), 0.0},
        {"exp2 1024", DSP::Exp2(1024.0), kInfinity},
        {"exp2 nan", DSP::Exp2(kNaN), kNaN},
        {"sinh +inf", DSP::Sinh(kInfinity), kInfinity},
        {"sinh -711", DSP::Sinh(-711.0), -kInfinity},
        {"sinh -0", DSP::Sinh(-0.0), -0.0},
        {"sinh nan", DSP::Sinh(kNaN), kNaN},
        {"cosh -inf", DSP::Cosh(-kInfinity), kInfinity},
        {"cosh nan", DSP::Cosh(kNaN), kNaN},
        {"tanh -inf", DSP::Tanh(-kInfinity), -1.0},
        {"tanh -0", DSP::Tanh(-0.0), -0.0},
        {"tanh nan", DSP::Tanh(kNaN), kNaN},
        {"sin -0", DSP::Sin(-0.0), -0.0},
        {"sin inf", DSP::Sin(kInfinity), kNaN},
        {"sin nan", DSP::Sin(kNaN), kNaN},
        {"cos inf", DSP::Cos(-kInfinity), kNaN},
        {"tan -0", DSP::Tan(-0.0), -0.0},
        {"tan inf", DSP::Tan(kInfinity), kNaN},
        {"tan least", DSP::Tan(kLeast), kLeast},
        {"asin -0", DSP::Asin(-0.0), -0.0},
        {"asin 1", DSP::Asin(1.0), 1.5707963267948966},
        {"asin above 1", DSP::Asin(std::nextafter(1.0, 2.0)), kNaN},
        {"acos -1", DSP::Acos(-1.0), 3.141592653589793},
        {"acos 0", DSP::Acos(0.0), 1.5707963267948966},
        {"acos nan", DSP::Acos(kNaN), kNaN},
        {"atan -0", DSP::Atan(-0.0), -0.0},
        {"atan -inf", DSP::Atan(-kInfinity), -1.5707963267948966},
        {"atan nan", DSP::Atan(kNaN), kNaN},
    });
    for (auto* log : {static_cast<double (*)(double) noexcept>(DSP::Log),
                      static_cast<double (*)(double) noexcept>(DSP::Log2),
                      static_cast<double (*)(double) noexcept>(DSP::Log10)}) {
        CheckSpecials({{"log 0", log(0.0), -kInfinity},
                       {"log -0", log(-0.0), -kInfinity},
                       {"log -1", log(-1.0), kNaN},
                       {"log -inf", log(-kInfinity), kNaN},
                       {"log inf", log(kInfinity), kInfinity},
                       {"log nan", log(kNaN), kNaN}});
    }
    // At corners the C library may say what is right, to its rounding.
    const auto agree = [](double x, double fLibrary) {
        const bool bOrdinary = std::isnormal(fLibrary) && std::isnormal(x);
        return Same(x, fLibrary) || (bOrdinary && std::abs(x / fLibrary - 1.0) <= 0x1p-52);
    };
    const double corners[] = {0.0,       -0.0,       1.0,  -1.0,   0.5,     -0.5,   2.0,
                              -2.0,      3.0,        -3.0, kLeast, -kLeast, kMost,  -kMost,
                              kInfinity, -kInfinity, kNaN, 0x1p53, 0x1p-70, -0x1p70};
    for (const double x : corners) {
        for (const double y : corners) {
            CAPTURE(x);
            CAPTURE(y);
            CHECK(agree(DSP::Atan2(y, x), std::atan2(y, x)));
            CHECK(agree(DSP::Pow(x, y), std::pow(x, y)));
        }
    }
}
