#pragma once

#include <cmath>

/// Numbers as an unevaluated sum of two doubles, about 106 bits: the tools of the elementary functions.
///
/// The error-free transformations are Knuth's and Dekker's (Dekker, "A floating-point technique for
/// extending the available precision", 1971). They need round to nearest and no fused or reordered operation.
namespace DSP {

struct DoubleDouble {
    double hi = 0.0;
    double lo = 0.0;
};

/// a + b exactly.
inline DoubleDouble TwoSum(double a, double b) noexcept {
    const double fSum = a + b;
    const double fOfB = fSum - a;
    return {fSum, (a - (fSum - fOfB)) + (b - fOfB)};
}

/// a + b exactly, where a is zero or |a| >= |b|.
inline DoubleDouble FastTwoSum(double a, double b) noexcept {
    const double fSum = a + b;
    return {fSum, (a - fSum) + b};
}

/// a b exactly, for magnitudes below 2^995 whose product stays above 2^-968.
inline DoubleDouble TwoProduct(double a, double b) noexcept {
    // Each factor is cut into halves of 26 bits, whose four products are exact.
    constexpr double kCut = 134217729.0;  // 2^27 + 1
    const double fCutA = kCut * a;
    const double aHi = fCutA - (fCutA - a);
    const double aLo = a - aHi;
    const double fCutB = kCut * b;
    const double bHi = fCutB - (fCutB - b);
    const double bLo = b - bHi;
    const double fProduct = a * b;
    return {fProduct, ((aHi * bHi - fProduct) + aHi * bLo + aLo * bHi) + aLo * bLo};
}

/// The following have relative errors of some 2^-100, where the result does not cancel.
inline DoubleDouble Add(DoubleDouble a, DoubleDouble b) noexcept {
    const DoubleDouble sum = TwoSum(a.hi, b.hi);
    return FastTwoSum(sum.hi, sum.lo + (a.lo + b.lo));
}

inline DoubleDouble Negate(DoubleDouble a) noexcept {
    return {-a.hi, -a.lo};
}

inline DoubleDouble Multiply(DoubleDouble a, DoubleDouble b) noexcept {
    const DoubleDouble product = TwoProduct(a.hi, b.hi);
    return FastTwoSum(product.hi, product.lo + (a.hi * b.lo + a.lo * b.hi));
}

inline DoubleDouble Divide(DoubleDouble a, DoubleDouble b) noexcept {
    const double fQuotient = a.hi / b.hi;
    const DoubleDouble product = TwoProduct(fQuotient, b.hi);
    const double fRest = ((a.hi - product.hi) - product.lo) + (a.lo - fQuotient * b.lo);
    return FastTwoSum(fQuotient, fRest / b.hi);
}

/// The square root of a number that is not negative.
inline DoubleDouble SquareRoot(DoubleDouble a) noexcept {
    const double fRoot = std::sqrt(a.hi);
    if (fRoot == 0.0) return {};
    const DoubleDouble square = TwoProduct(fRoot, fRoot);
    return FastTwoSum(fRoot, (((a.hi - square.hi) - square.lo) + a.lo) / (2.0 * fRoot));
}

}  // namespace DSP
