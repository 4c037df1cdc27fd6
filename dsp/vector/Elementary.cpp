#include "dsp/vector/Elementary.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "dsp/vector/DoubleDouble.h"
#include "dsp/vector/ElementaryConstants.h"

namespace DSP {

namespace {

using namespace Constants;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kSmallestNormal = std::numeric_limits<double>::min();

double PowerOfTwo(int k) {
    return std::bit_cast<double>(static_cast<std::uint64_t>(1023 + k) << 52);
}

// y 2^k for k from -1076 to 1025 and y near 1. The second factor alone can round, overflow or underflow.
double Scale(double y, int k) {
    const int nFirst = k >> 1;
    return y * PowerOfTwo(nFirst) * PowerOfTwo(k - nFirst);
}

// c0 + c1 x + c2 x^2 + c3 x^3 from four neighbouring coefficients.
double Cubic(double x, double x2, const double* c) {
    return (c[0] + c[1] * x) + (c[2] + c[3] * x) * x2;
}

// The polynomial of twelve coefficients as three cubics, which a processor can work on at once.
double Polynomial12(double x, const double* c) {
    const double x2 = x * x;
    const double x4 = x2 * x2;
    return Cubic(x, x2, c) + x4 * (Cubic(x, x2, c + 4) + x4 * Cubic(x, x2, c + 8));
}

// The same of eight coefficients.
double Polynomial8(double x, const double* c) {
    const double x2 = x * x;
    return Cubic(x, x2, c) + x2 * x2 * Cubic(x, x2, c + 4);
}

/// e^(r + rest) for |r| up to ln(2)/2 and a rest far below r's last bit, as a sum of two.
DoubleDouble ExpNearZero(double r, double fRest) {
    const DoubleDouble sum = FastTwoSum(1.0, r);
    return {sum.hi, sum.lo + (fRest + r * r * Polynomial12(r, kExpTerms))};
}

/// e^(x + rest) as a sum of two and a power of two. |x| up to 746 (Cody and Waite, Software Manual for the
/// Elementary Functions, ch. 6).
DoubleDouble ExpParts(double x, double fRest, int* pnPower) {
    const double k = (x * kLog2E + kRound) - kRound;
    const double fHigh = x - k * kLn2Hi;
    // A rest of a great x is more than r's last bit: it has to go through the series too.
    const double fLow = k * kLn2Lo - fRest;
    const double r = fHigh - fLow;
    *pnPower = static_cast<int>(k);
    return ExpNearZero(r, (fHigh - r) - fLow);
}

/// x = m 2^k with m between sqrt(1/2) and sqrt(2), for a positive finite x. Returns m.
double Fold(double x, double* pk) {
    double fBias = 1023.0;
    if (x < kSmallestNormal) {
        x *= 0x1p54;
        fBias += 54.0;
    }
    const std::uint64_t uShifted = std::bit_cast<std::uint64_t>(x) - kFold + (std::uint64_t{1023} << 52);
    *pk = static_cast<double>(static_cast<std::int64_t>(uShifted >> 52)) - fBias;
    return std::bit_cast<double>((uShifted & 0x000fffffffffffff) + kFold);
}

/// The logarithm of m between sqrt(1/2) and sqrt(2), with a relative error near 2^-70: the first two
/// terms of the series are summed in double-double.
DoubleDouble LogOfMantissa(double m) {
    constexpr DoubleDouble kTwoThirds = {0x1.5555555555555p-1, 0x1.5555555555555p-55};
    constexpr DoubleDouble kTwoFifths = {0x1.999999999999ap-2, -0x1.999999999999ap-56};
    constexpr double kTail[12] = {2.0 / 7.0,  2.0 / 9.0,  2.0 / 11.0, 2.0 / 13.0, 2.0 / 15.0, 2.0 / 17.0,
                                  2.0 / 19.0, 2.0 / 21.0, 2.0 / 23.0, 2.0 / 25.0, 2.0 / 27.0, 2.0 / 29.0};
    const double f = m - 1.0;
    const DoubleDouble s = Divide({f, 0.0}, TwoSum(2.0, f));
    const DoubleDouble z = Multiply(s, s);
    const DoubleDouble second = FastTwoSum(kTwoFifths.hi, z.hi * Polynomial12(z.hi, kTail) + kTwoFifths.lo);
    const DoubleDouble first = Add(kTwoThirds, Multiply(z, second));
    return Add({2.0 * s.hi, 2.0 * s.lo}, Multiply(s, Multiply(z, first)));
}

/// The natural logarithm of a positive finite x.
DoubleDouble LogParts(double x) {
    double k;
    const DoubleDouble mantissa = LogOfMantissa(Fold(x, &k));
    const DoubleDouble sum = FastTwoSum(k * kLn2Hi, mantissa.hi);
    return FastTwoSum(sum.hi, sum.lo + (mantissa.lo + k * kLn2Lo));
}

// What every logarithm answers outside the positive finite numbers.
bool HasLog(double x) {
    return x > 0.0 && x < kInfinity;
}
double LogAtEdge(double x) {
    if (x == 0.0) return -kInfinity;
    return x > 0.0 ? x : kNaN;  // infinity stays; NaNs fail the comparison
}

bool IsInteger(double y) {
    return std::abs(y) >= 0x1p53 || y == std::trunc(y);
}
bool IsOddInteger(double y) {
    if (!(std::abs(y) < 0x1p53)) return false;  // beyond, every double is even
    return y == std::trunc(y) && (static_cast<std::int64_t>(y) & 1) != 0;
}

/// |x|^y where the base is zero or infinite and y is neither zero nor NaN.
double PowAtEdge(double fMagnitude, double y) {
    return (fMagnitude > 1.0) == (y > 0.0) ? kInfinity : 0.0;
}

/// x^y for x > 0 other than 1, finite, and y other than 0.
double PowOfPositive(double x, double y) {
    // Beyond 2^64 even the logarithm nearest to 0, 2^-53, leads out of range; below 2^-64 even the greatest,
    // 745, leads to 1. In between no product below overflows or loses bits.
    if (std::abs(y) > 0x1p64) return PowAtEdge(x, y);
    if (std::abs(y) < 0x1p-64) return 1.0;
    const DoubleDouble exponent = Multiply(LogParts(x), {y, 0.0});
    if (exponent.hi > kExpMax) return kInfinity;
    if (exponent.hi < kExpMin) return 0.0;
    int nPower;
    const DoubleDouble parts = ExpParts(exponent.hi, exponent.lo, &nPower);
    return Scale(parts.hi + parts.lo, nPower);
}

// The pair behind powers of floats: eight terms and no compensation leave a result with an error below
// 2^-36, ample before it is rounded to 24 bits.

/// The natural logarithm of a positive finite float.
double ShortLog(double x) {
    double k;
    const double f = Fold(x, &k) - 1.0;
    const double s = f / (2.0 + f);
    const double z = s * s;
    return k * kLn2Short + s * (2.0 + z * Polynomial8(z, kLogTerms));
}

/// The exponential, for rounding to float; not for NaNs.
double ShortExp(double x) {
    if (x > kShortExpMax) x = kShortExpMax;
    if (x < kShortExpMin) x = kShortExpMin;
    const double k = (x * kLog2E + kRound) - kRound;
    const double r = x - k * kLn2Short;
    return (1.0 + (r + r * r * Polynomial8(r, kExpTerms))) * PowerOfTwo(static_cast<int>(k));
}

/// (e^x + fSign e^-x) / 2 for |x| up to 40.
DoubleDouble HalfExpSum(double x, double fSign) {
    int nPower;
    const DoubleDouble up = ExpParts(x, 0.0, &nPower);
    const double fUp = 0.5 * PowerOfTwo(nPower);
    const DoubleDouble down = ExpParts(-x, 0.0, &nPower);
    const double fDown = 0.5 * fSign * PowerOfTwo(nPower);
    return Add({up.hi * fUp, up.lo * fUp}, {down.hi * fDown, down.lo * fDown});
}

/// sinh x for |x| up to 40. Near zero the two exponentials would cancel, so the series stands in.
DoubleDouble SinhParts(double x) {
    if (std::abs(x) >= 0.5) return HalfExpSum(x, -1.0);
    constexpr double kTerms[8] = {
        1.0 / 6.0,        1.0 / 120.0,        1.0 / 5040.0,          1.0 / 362880.0,
        1.0 / 39916800.0, 1.0 / 6227020800.0, 1.0 / 1307674368000.0, 1.0 / 355687428096000.0};
    const double z = x * x;
    return FastTwoSum(x, x * z * Polynomial8(z, kTerms));
}

// Below this magnitude the odd functions with slope 1 return their argument: the next term is less than
// a third of its last bit.
constexpr double kTiny = 0x1p-27;

// Beyond this the smaller of the two exponentials has no bit in the sum.
constexpr double kOneExpOnly = 40.0;

double HalfExp(double fMagnitude) {
    int nPower;
    const DoubleDouble parts = ExpParts(fMagnitude < 711.0 ? fMagnitude : 711.0, 0.0, &nPower);
    return Scale(parts.hi + parts.lo, nPower - 1);
}

}  // namespace

double Exp(double x) noexcept {
    if (x > kExpMax) x = kExpMax;
    if (x < kExpMin) x = kExpMin;
    if (x != x) return kNaN;
    int nPower;
    const DoubleDouble parts = ExpParts(x, 0.0, &nPower);
    return Scale(parts.hi + parts.lo, nPower);
}

double Exp2(double x) noexcept {
    constexpr double kLn2 = 0x1.62e42fefa39efp-1;
    constexpr double kLn2Rest = 0x1.abc9e3b39803fp-56;
    if (x > 1025.0) x = 1025.0;
    if (x < -1076.0) x = -1076.0;
    if (x != x) return kNaN;
    const double k = (x + kRound) - kRound;
    const double f = x - k;
    // A fraction this small would lose the product's rest, and no bit of the result depends on it.
    if (std::abs(f) < 0x1p-60) return Scale(1.0, static_cast<int>(k));
    const DoubleDouble r = TwoProduct(f, kLn2);
    const DoubleDouble parts = ExpNearZero(r.hi, r.lo + f * kLn2Rest);
    return Scale(parts.hi + parts.lo, static_cast<int>(k));
}

double Log(double x) noexcept {
    if (!HasLog(x)) return LogAtEdge(x);
    double k;
    const double f = Fold(x, &k) - 1.0;
    const double s = f / (2.0 + f);
    const double z = s * s;
    const double fTail = z * Polynomial12(z, kLogTerms);
    // 2 s = f - s f = f - f f / 2 + s f f / 2: written so, the greatest term f is exact.
    const double fHalfSquare = 0.5 * f * f;
    const DoubleDouble sum = FastTwoSum(k * kLn2Hi, f);
    return sum.hi + (sum.lo + (k * kLn2Lo - (fHalfSquare - s * (fHalfSquare + fTail))));
}

double Log2(double x) noexcept {
    constexpr DoubleDouble kPerLn2 = {0x1.71547652b82fep+0, 0x1.777d0ffda0d24p-56};
    if (!HasLog(x)) return LogAtEdge(x);
    double k;
    const DoubleDouble fraction = Multiply(LogOfMantissa(Fold(x, &k)), kPerLn2);
    const DoubleDouble sum = FastTwoSum(k, fraction.hi);
    return sum.hi + (sum.lo + fraction.lo);
}

double Log10(double x) noexcept {
    constexpr DoubleDouble kPerLn10 = {0x1.bcb7b1526e50ep-2, 0x1.95355baaafad3p-57};
    constexpr double kLog10Of2Hi = 0x1.34413509f7800p-2;
    constexpr double kLog10Of2Lo = 0x1.fef311f12b358p-46;
    if (!HasLog(x)) return LogAtEdge(x);
    double k;
    const DoubleDouble fraction = Multiply(LogOfMantissa(Fold(x, &k)), kPerLn10);
    const DoubleDouble sum = FastTwoSum(k * kLog10Of2Hi, fraction.hi);
    return sum.hi + (sum.lo + (fraction.lo + k * kLog10Of2Lo));
}

double Pow(double x, double y) noexcept {
    if (y == 0.0 || x == 1.0) return 1.0;
    if (x != x || y != y) return kNaN;
    const double fMagnitude = std::abs(x);
    const bool bNegative = std::signbit(x);
    const double fSign = bNegative && IsOddInteger(y) ? -1.0 : 1.0;
    if (fMagnitude == 0.0 || fMagnitude == kInfinity) return fSign * PowAtEdge(fMagnitude, y);
    if (bNegative && !IsInteger(y)) return kNaN;
    if (fMagnitude == 1.0) return fSign;
    return fSign * PowOfPositive(fMagnitude, y);
}

float Pow(float x, float y) noexcept {
    if (y == 0.0f || x == 1.0f) return 1.0f;
    if (x > 0.0f && x <= std::numeric_limits<float>::max() && y == y) {
        return static_cast<float>(ShortExp(double{y} * ShortLog(double{x})));
    }
    return static_cast<float>(Pow(double{x}, double{y}));
}

double Sinh(double x) noexcept {
    const double fMagnitude = std::abs(x);
    if (!(fMagnitude >= kTiny)) return x;
    if (fMagnitude > kOneExpOnly) return std::copysign(HalfExp(fMagnitude), x);
    const DoubleDouble parts = SinhParts(x);
    return parts.hi + parts.lo;
}

double Cosh(double x) noexcept {
    if (x != x) return kNaN;
    const double fMagnitude = std::abs(x);
    if (fMagnitude > kOneExpOnly) return HalfExp(fMagnitude);
    const DoubleDouble parts = HalfExpSum(fMagnitude, 1.0);
    return parts.hi + parts.lo;
}

double Tanh(double x) noexcept {
    const double fMagnitude = std::abs(x);
    if (!(fMagnitude >= kTiny)) return x;
    if (fMagnitude > kOneExpOnly) return std::copysign(1.0, x);
    const DoubleDouble parts = Divide(SinhParts(x), HalfExpSum(x, 1.0));
    return parts.hi + parts.lo;
}

}  // namespace DSP
