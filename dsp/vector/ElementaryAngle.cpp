#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "dsp/vector/DoubleDouble.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/ElementaryConstants.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

namespace {

using Constants::kRound;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr DoubleDouble kPi = {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};
constexpr DoubleDouble kHalfPi = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};

// Below this magnitude the odd functions with slope 1 return their argument: the next term is less than
// a third of its last bit.
constexpr double kTiny = 0x1p-27;

/// An angle less a number of quarter turns: |angle| is at most pi/4, a rounding error more.
struct Reduced {
    DoubleDouble angle;
    unsigned uQuarter = 0;
};

/// Angles to 2^20, after Cody and Waite: pi/2 in four pieces, of which the first three have 33 bits,
/// so that their products with the count of quarters are exact.
Reduced ReduceModerate(double x) {
    constexpr double kPiece1 = 0x1.921fb544p+0;
    constexpr double kPiece2 = 0x1.0b4611a6p-34;
    constexpr double kPiece3 = 0x1.3198a2ep-69;
    constexpr double kPiece4 = 0x1.b839a252049c1p-104;
    constexpr double kPerHalfPi = 0x1.45f306dc9c883p-1;
    const double k = (x * kPerHalfPi + kRound) - kRound;
    const DoubleDouble second = TwoSum(x - k * kPiece1, -(k * kPiece2));
    const DoubleDouble third = TwoSum(second.hi, -(k * kPiece3));
    const double fRest = (second.lo + third.lo) - k * kPiece4;
    return {FastTwoSum(third.hi, fRest), static_cast<unsigned>(static_cast<int>(k)) & 3u};
}

// 2/pi after the binary point, behind two words of zeros.
constexpr std::array<std::uint32_t, 42> kTwoOverPi = {
    0,          0,          0xa2f9836e, 0x4e441529, 0xfc2757d1, 0xf534ddc0, 0xdb629599,
    0x3c439041, 0xfe5163ab, 0xdebbc561, 0xb7246e3a, 0x424dd2e0, 0x06492eea, 0x09d1921c,
    0xfe1deb1c, 0xb129a73e, 0xe88235f5, 0x2ebb4484, 0xe99c7026, 0xb45f7e41, 0x3991d639,
    0x835339f4, 0x9c845f8b, 0xbdf9283b, 0x1ff897ff, 0xde05980f, 0xef2f118b, 0x5a0a6d1f,
    0x6d367ecf, 0x27cb09b7, 0x4f463f66, 0x9e5fea2d, 0x7527bac7, 0xebe5f17b, 0x3d0739f7,
    0x8a5292ea, 0x6bfb5fb1, 0x1f8d5d08, 0x56033046, 0xfc7b6bab, 0xf0cfbc20, 0x9af4361d};

// 192 bits, the most significant word first.
using Words = std::array<std::uint32_t, 6>;

/// The bits of 2/pi from one place on; place 0 is the first behind the binary point.
Words TwoOverPiFrom(int nPlace) {
    const auto uBit = static_cast<unsigned>(nPlace + 64);
    const std::size_t uWord = uBit / 32;
    const unsigned uShift = uBit % 32;
    Words words;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::uint64_t uPair =
            static_cast<std::uint64_t>(kTwoOverPi[uWord + i]) << 32 | kTwoOverPi[uWord + i + 1];
        words[i] = static_cast<std::uint32_t>(uPair >> (32 - uShift));
    }
    return words;
}

/// words times a number below 2^53, modulo 2^192.
Words MultiplyModulo(const Words& words, std::uint64_t uFactor) {
    const std::uint64_t uLow = uFactor & 0xffffffff;
    const std::uint64_t uHigh = uFactor >> 32;
    Words product;
    std::uint64_t uCarry = 0;
    for (std::size_t i = words.size(); i-- > 0;) {
        // The high half of the factor meets the word one place lower. No sum passes 2^64: with a carry below
        // 2^33, (2^32 - 1)^2 + 2^32 - 1 + 2^33 is less.
        const std::uint64_t uLowSum = words[i] * uLow + (uCarry & 0xffffffff);
        const std::uint64_t uHighSum =
            (i + 1 < words.size() ? words[i + 1] * uHigh : 0) + (uLowSum & 0xffffffff);
        product[i] = static_cast<std::uint32_t>(uHighSum);
        uCarry = (uLowSum >> 32) + (uHighSum >> 32) + (uCarry >> 32);
    }
    return product;
}

/// Angles of any magnitude above 2^20 (Payne and Hanek, "Radian reduction for trigonometric functions",
/// 1983). x = M 2^e; of 2/pi only the bits are taken whose product with x can reach the quarter count
/// modulo 4 or the 135 bits behind its point.
Reduced ReduceHuge(double x) {
    const auto uBits = std::bit_cast<std::uint64_t>(x);
    const std::uint64_t uMantissa = (uBits & 0x000fffffffffffff) | 0x0010000000000000;
    const int nExponent = static_cast<int>(uBits >> 52 & 0x7ff) - 1075;
    // The product's first two bits are the quarters, the other 190 the fraction of one.
    Words turn = MultiplyModulo(TwoOverPiFrom(nExponent - 2), uMantissa);
    unsigned uQuarter = turn[0] >> 30;
    for (std::size_t i = 0; i < turn.size(); ++i) {
        turn[i] = turn[i] << 2 | (i + 1 < turn.size() ? turn[i + 1] >> 30 : 0);
    }
    // A fraction of a half and more belongs to the next quarter, as its distance from it.
    const bool bBelow = (turn[0] >> 31) != 0;
    if (bBelow) {
        ++uQuarter;
        for (std::uint32_t& uWord : turn)
            uWord = ~uWord;  // the missing 1 in the last place is far below any bit
    }
    DoubleDouble fraction;
    double fWeight = 0x1p-32;
    for (const std::uint32_t uWord : turn) {
        const DoubleDouble sum = TwoSum(fraction.hi, static_cast<double>(uWord) * fWeight);
        fraction = {sum.hi, fraction.lo + sum.lo};
        fWeight *= 0x1p-32;
    }
    DoubleDouble angle = Multiply(fraction, kHalfPi);
    if (bBelow != std::signbit(x)) angle = Negate(angle);
    return {angle, (std::signbit(x) ? 0u - uQuarter : uQuarter) & 3u};
}

Reduced Reduce(double x) {
    const double fMagnitude = std::abs(x);
    if (fMagnitude <= 0.785) return {{x, 0.0}, 0};
    return fMagnitude < 0x1p20 ? ReduceModerate(x) : ReduceHuge(x);
}

// c0 + c1 x + c2 x^2 + c3 x^3 from four neighbouring coefficients.
double Cubic(double x, double x2, const double* c) {
    return (c[0] + c[1] * x) + (c[2] + c[3] * x) * x2;
}

double Polynomial8(double x, const double* c) {
    const double x2 = x * x;
    return Cubic(x, x2, c) + x2 * x2 * Cubic(x, x2, c + 4);
}

/// The sine's series on a quarter around zero; the first term left out is below 2^-61 of the result.
DoubleDouble SinNearZero(DoubleDouble r) {
    constexpr double kTerms[8] = {
        -1.0 / 6.0,        1.0 / 120.0,        -1.0 / 5040.0,          1.0 / 362880.0,
        -1.0 / 39916800.0, 1.0 / 6227020800.0, -1.0 / 1307674368000.0, 1.0 / 355687428096000.0};
    const double z = r.hi * r.hi;
    return FastTwoSum(r.hi, r.hi * z * Polynomial8(z, kTerms) + r.lo * (1.0 - 0.5 * z));
}

DoubleDouble CosNearZero(DoubleDouble r) {
    constexpr double kTerms[8] = {
        1.0 / 24.0,        -1.0 / 720.0,         1.0 / 40320.0,          -1.0 / 3628800.0,
        1.0 / 479001600.0, -1.0 / 87178291200.0, 1.0 / 20922789888000.0, -1.0 / 6402373705728000.0};
    // Half of z is as great as a third of the result: its rounding error would show.
    const DoubleDouble square = TwoProduct(r.hi, r.hi);
    const double z = square.hi;
    const DoubleDouble sum = FastTwoSum(1.0, -0.5 * z);
    const double fTail = z * z * Polynomial8(z, kTerms) - (r.hi * r.lo + 0.5 * square.lo);
    return FastTwoSum(sum.hi, sum.lo + fTail);
}

double Sum(DoubleDouble a) {
    return a.hi + a.lo;
}

// Sine and cosine are one function, a quarter apart.
double SinOfQuarter(const Reduced& reduced, unsigned uAhead) {
    const unsigned uQuarter = reduced.uQuarter + uAhead;
    const double y = Sum((uQuarter & 1u) == 0 ? SinNearZero(reduced.angle) : CosNearZero(reduced.angle));
    return (uQuarter & 2u) == 0 ? y : -y;
}

/// atan(n / d) for 0 <= n <= d with d > 0, d between 2^-500 and 2^900 and n / d zero or above 2^-61.
///
/// The nearest c = j / 8 is taken off by atan(n / d) = atan(c) + atan((n - c d) / (d + c n)), which leaves
/// at most about 1/16 to the series.
DoubleDouble AtanOfRatio(DoubleDouble n, DoubleDouble d) {
    constexpr std::array<DoubleDouble, 9> kAtanOfEighths = {{{0.0, 0.0},
                                                             {0x1.fd5ba9aac2f6ep-4, -0x1.cd37686760c17p-59},
                                                             {0x1.f5b75f92c80ddp-3, 0x1.8ab6e3cf7afbdp-57},
                                                             {0x1.6f61941e4def1p-2, -0x1.c63aae6f6e918p-56},
                                                             {0x1.dac670561bb4fp-2, 0x1.a2b7f222f65e2p-56},
                                                             {0x1.1e00babdefeb4p-1, -0x1.928df287a668fp-58},
                                                             {0x1.4978fa3269ee1p-1, 0x1.2419a87f2a458p-56},
                                                             {0x1.700a7c5784634p-1, -0x1.8c34d25aadef6p-56},
                                                             {0x1.921fb54442d18p-1, 0x1.1a62633145c07p-55}}};
    constexpr double kTerms[8] = {-1.0 / 3.0,  1.0 / 5.0,  -1.0 / 7.0,  1.0 / 9.0,
                                  -1.0 / 11.0, 1.0 / 13.0, -1.0 / 15.0, 1.0 / 17.0};
    const double fEighths = WholeHalfAway(8.0 * (n.hi / d.hi));
    const DoubleDouble c = {fEighths * 0.125, 0.0};
    const DoubleDouble t = Divide(Add(n, Negate(Multiply(c, d))), Add(d, Multiply(c, n)));
    const double z = t.hi * t.hi;
    const DoubleDouble step = FastTwoSum(t.hi, t.lo + t.hi * z * Polynomial8(z, kTerms));
    return Add(kAtanOfEighths[static_cast<std::size_t>(fEighths)], step);
}

/// The angle of a point in the first quarter, within the limits of AtanOfRatio for either order.
DoubleDouble AngleOf(DoubleDouble y, DoubleDouble x) {
    return y.hi <= x.hi ? AtanOfRatio(y, x) : Add(kHalfPi, Negate(AtanOfRatio(x, y)));
}

/// sqrt(1 - x x)
DoubleDouble OtherLeg(double x) {
    const DoubleDouble square = TwoProduct(x, x);
    return SquareRoot(Add({1.0, 0.0}, Negate(square)));
}

}  // namespace

double Sin(double x) noexcept {
    const double fMagnitude = std::abs(x);
    if (fMagnitude < kTiny) return x;
    if (!(fMagnitude <= std::numeric_limits<double>::max())) return kNaN;
    return SinOfQuarter(Reduce(x), 0);
}

double Cos(double x) noexcept {
    if (!(std::abs(x) <= std::numeric_limits<double>::max())) return kNaN;
    return SinOfQuarter(Reduce(x), 1);
}

double Tan(double x) noexcept {
    const double fMagnitude = std::abs(x);
    if (fMagnitude < kTiny) return x;
    if (!(fMagnitude <= std::numeric_limits<double>::max())) return kNaN;
    const Reduced reduced = Reduce(x);
    const DoubleDouble sine = SinNearZero(reduced.angle);
    const DoubleDouble cosine = CosNearZero(reduced.angle);
    return Sum((reduced.uQuarter & 1u) == 0 ? Divide(sine, cosine) : Divide(Negate(cosine), sine));
}

double Asin(double x) noexcept {
    const double fMagnitude = std::abs(x);
    if (fMagnitude < kTiny) return x;
    if (!(fMagnitude <= 1.0)) return kNaN;
    return std::copysign(Sum(AngleOf({fMagnitude, 0.0}, OtherLeg(x))), x);
}

double Acos(double x) noexcept {
    const double fMagnitude = std::abs(x);
    if (!(fMagnitude <= 1.0)) return kNaN;
    if (fMagnitude < 0x1p-60) return kHalfPi.hi;
    const DoubleDouble angle = AngleOf(OtherLeg(x), {fMagnitude, 0.0});
    return Sum(x < 0.0 ? Add(kPi, Negate(angle)) : angle);
}

double Atan(double x) noexcept {
    const double fMagnitude = std::abs(x);
    if (!(fMagnitude >= kTiny)) return x;
    if (fMagnitude > 0x1p60) return std::copysign(kHalfPi.hi, x);
    return std::copysign(Sum(AngleOf({fMagnitude, 0.0}, {1.0, 0.0})), x);
}

double Atan2(double y, double x) noexcept {
    if (x != x || y != y) return kNaN;
    double fOpposite = std::abs(y);
    double fAdjacent = std::abs(x);
    const bool bBack = std::signbit(x);
    DoubleDouble angle;
    if (fOpposite == 0.0) {
        angle = bBack ? kPi : DoubleDouble{};
    } else if (fOpposite == std::numeric_limits<double>::infinity() && fAdjacent == fOpposite) {
        angle = AtanOfRatio({1.0, 0.0}, {1.0, 0.0});
        if (bBack) angle = Add(kPi, Negate(angle));
    } else if (fAdjacent == 0.0 || fOpposite / fAdjacent > 0x1p60) {
        angle = kHalfPi;  // the rest is less than half of its last bit
    } else if (fOpposite / fAdjacent < 0x1p-60) {
        // The quotient is its own angle to more than the last bit, and rounds once, also when subnormal.
        angle = bBack ? kPi : DoubleDouble{fOpposite / fAdjacent, 0.0};
    } else {
        // A common factor brings both into the range where exact products are exact.
        const double fGreater = fOpposite > fAdjacent ? fOpposite : fAdjacent;
        const double fFactor = fGreater > 0x1p900 ? 0x1p-600 : fGreater < 0x1p-400 ? 0x1p600 : 1.0;
        fOpposite *= fFactor;
        fAdjacent *= fFactor;
        angle = AngleOf({fOpposite, 0.0}, {fAdjacent, 0.0});
        if (bBack) angle = Add(kPi, Negate(angle));
    }
    return std::copysign(Sum(angle), y);
}

}  // namespace DSP
