// Compiled once for each processor level: no ordinary include guard.
#if defined(DSP_VECTOR_ELEMENTARY_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DSP_VECTOR_ELEMENTARY_INL_H_
#undef DSP_VECTOR_ELEMENTARY_INL_H_
#else
#define DSP_VECTOR_ELEMENTARY_INL_H_
#endif

#include <hwy/highway.h>

#include <cstdint>
#include <limits>

#include "dsp/vector/ElementaryConstants.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;
namespace C = Constants;

// Every step is one IEEE operation or a selection, so a lane's bits cannot depend on the vector's width.
// No minimum, maximum or rounding instruction of the processor: their answers to NaNs and halves differ.

template <class D>
HWY_INLINE hn::Vec<D> Clamp(D d, hn::Vec<D> x, hn::TFromD<D> least, hn::TFromD<D> greatest) {
    const auto low = hn::Set(d, least);
    const auto high = hn::Set(d, greatest);
    x = hn::IfThenElse(hn::Gt(x, high), high, x);
    return hn::IfThenElse(hn::Lt(x, low), low, x);
}

// One and the same NaN wherever x is one, else y.
template <class D>
HWY_INLINE hn::Vec<D> NaNWhere(D d, hn::Mask<D> where, hn::Vec<D> y) {
    return hn::IfThenElse(where, hn::Set(d, std::numeric_limits<hn::TFromD<D>>::quiet_NaN()), y);
}

template <class D>
HWY_INLINE hn::Vec<D> Cubic(D d, hn::Vec<D> x, hn::Vec<D> x2, const hn::TFromD<D>* c) {
    const auto low = hn::Add(hn::Set(d, c[0]), hn::Mul(hn::Set(d, c[1]), x));
    const auto high = hn::Add(hn::Set(d, c[2]), hn::Mul(hn::Set(d, c[3]), x));
    return hn::Add(low, hn::Mul(high, x2));
}

// ---- double: the operations of Elementary.cpp, in the same order

template <class D>
HWY_INLINE hn::Vec<D> Polynomial12(D d, hn::Vec<D> x, const double* c) {
    const auto x2 = hn::Mul(x, x);
    const auto x4 = hn::Mul(x2, x2);
    const auto upper = hn::Add(Cubic(d, x, x2, c + 4), hn::Mul(x4, Cubic(d, x, x2, c + 8)));
    return hn::Add(Cubic(d, x, x2, c), hn::Mul(x4, upper));
}

// 2^k for an integer k, given as kRound + k, within the range of normal numbers.
template <class D>
HWY_INLINE hn::Vec<D> PowerOfTwo(D d, hn::Vec<D> shifted) {
    const hn::RebindToUnsigned<D> dBits;
    const auto bias = hn::Set(dBits, std::uint64_t{1023});
    return hn::BitCast(d, hn::ShiftLeft<52>(hn::Add(hn::BitCast(dBits, shifted), bias)));
}

// y 2^k for k from -1076 to 1025 and y near 1.
template <class D>
HWY_INLINE hn::Vec<D> Scale(D d, hn::Vec<D> y, hn::Vec<D> k) {
    const auto magic = hn::Set(d, C::kRound);
    // Where k is odd its half rounds either way; both products are exact up to the last.
    const auto first = hn::Add(hn::Mul(k, hn::Set(d, 0.5)), magic);
    const auto rest = hn::Add(hn::Sub(k, hn::Sub(first, magic)), magic);
    return hn::Mul(hn::Mul(y, PowerOfTwo(d, first)), PowerOfTwo(d, rest));
}

template <class D>
HWY_INLINE hn::Vec<D> ExpDouble(D d, hn::Vec<D> argument) {
    const auto x = Clamp(d, argument, C::kExpMin, C::kExpMax);
    const auto magic = hn::Set(d, C::kRound);
    const auto one = hn::Set(d, 1.0);
    const auto k = hn::Sub(hn::Add(hn::Mul(x, hn::Set(d, C::kLog2E)), magic), magic);
    const auto high = hn::Sub(x, hn::Mul(k, hn::Set(d, C::kLn2Hi)));
    const auto low = hn::Mul(k, hn::Set(d, C::kLn2Lo));
    const auto r = hn::Sub(high, low);
    const auto rest = hn::Sub(hn::Sub(high, r), low);
    const auto sum = hn::Add(one, r);
    const auto lost = hn::Add(hn::Sub(one, sum), r);
    const auto tail = hn::Add(rest, hn::Mul(hn::Mul(r, r), Polynomial12(d, r, C::kExpTerms)));
    const auto y = Scale(d, hn::Add(sum, hn::Add(lost, tail)), k);
    return NaNWhere(d, hn::Ne(argument, argument), y);
}

// x = m 2^k with m between sqrt(1/2) and sqrt(2), for a normal x; the bias is 1023 and what the caller has
// scaled by. Returns m.
template <class D>
HWY_INLINE hn::Vec<D> Fold(D d, hn::Vec<D> x, hn::Vec<D> bias, hn::Vec<D>* pk) {
    const hn::RebindToUnsigned<D> dBits;
    const auto fold = hn::Set(dBits, C::kFold);
    const auto shifted =
        hn::Add(hn::Sub(hn::BitCast(dBits, x), fold), hn::Set(dBits, std::uint64_t{1023} << 52));
    const auto mantissaBits = hn::And(shifted, hn::Set(dBits, std::uint64_t{0x000fffffffffffff}));
    // An integer below 2^52 under the exponent of 2^52 is the double 2^52 + integer.
    const auto exponentBits =
        hn::Or(hn::ShiftRight<52>(shifted), hn::Set(dBits, std::uint64_t{0x4330000000000000}));
    *pk = hn::Sub(hn::Sub(hn::BitCast(d, exponentBits), hn::Set(d, 0x1p52)), bias);
    return hn::BitCast(d, hn::Add(mantissaBits, fold));
}

// What a logarithm answers for zero, infinity, negative numbers and NaNs.
template <class D>
HWY_INLINE hn::Vec<D> LogEdges(D d, hn::Vec<D> argument, hn::Vec<D> y) {
    const auto zero = hn::Zero(d);
    const auto infinity = hn::Set(d, std::numeric_limits<hn::TFromD<D>>::infinity());
    y = hn::IfThenElse(hn::Eq(argument, infinity), infinity, y);
    y = hn::IfThenElse(hn::Eq(argument, zero), hn::Neg(infinity), y);
    return NaNWhere(d, hn::Not(hn::Ge(argument, zero)), y);
}

template <class D>
HWY_INLINE hn::Vec<D> LogDouble(D d, hn::Vec<D> argument) {
    const auto one = hn::Set(d, 1.0);
    const auto subnormal = hn::Lt(argument, hn::Set(d, std::numeric_limits<double>::min()));
    const auto x = hn::IfThenElse(subnormal, hn::Mul(argument, hn::Set(d, 0x1p54)), argument);

    hn::Vec<D> k;
    const auto bias = hn::IfThenElse(subnormal, hn::Set(d, 1023.0 + 54.0), hn::Set(d, 1023.0));
    const auto m = Fold(d, x, bias, &k);

    const auto f = hn::Sub(m, one);
    const auto s = hn::Div(f, hn::Add(hn::Set(d, 2.0), f));
    const auto z = hn::Mul(s, s);
    const auto tail = hn::Mul(z, Polynomial12(d, z, C::kLogTerms));
    const auto halfSquare = hn::Mul(hn::Mul(hn::Set(d, 0.5), f), f);
    const auto high = hn::Mul(k, hn::Set(d, C::kLn2Hi));
    const auto sum = hn::Add(high, f);
    const auto lost = hn::Add(hn::Sub(high, sum), f);
    const auto correction = hn::Sub(hn::Mul(k, hn::Set(d, C::kLn2Lo)),
                                    hn::Sub(halfSquare, hn::Mul(s, hn::Add(halfSquare, tail))));
    return LogEdges(d, argument, hn::Add(sum, hn::Add(lost, correction)));
}

// ---- double that becomes float

template <class D>
HWY_INLINE hn::Vec<D> Polynomial8(D d, hn::Vec<D> x, const double* c) {
    const auto x2 = hn::Mul(x, x);
    return hn::Add(Cubic(d, x, x2, c), hn::Mul(hn::Mul(x2, x2), Cubic(d, x, x2, c + 4)));
}

// The logarithm of a positive finite x in two steps: x = m 2^k and s = (m - 1) / (m + 1), then the series.
template <class D>
HWY_INLINE hn::Vec<D> LogFraction(D d, hn::Vec<D> x, hn::Vec<D>* pk) {
    const auto f = hn::Sub(Fold(d, x, hn::Set(d, 1023.0), pk), hn::Set(d, 1.0));
    return hn::Div(f, hn::Add(hn::Set(d, 2.0), f));
}

template <class D>
HWY_INLINE hn::Vec<D> LogSeries(D d, hn::Vec<D> s, hn::Vec<D> k) {
    const auto z = hn::Mul(s, s);
    const auto series = hn::Mul(s, hn::Add(hn::Set(d, 2.0), hn::Mul(z, Polynomial8(d, z, C::kLogTerms))));
    return hn::Add(hn::Mul(k, hn::Set(d, C::kLn2Short)), series);
}

template <class D>
HWY_INLINE hn::Vec<D> ShortLog(D d, hn::Vec<D> x) {
    hn::Vec<D> k;
    const auto s = LogFraction(d, x, &k);
    return LogEdges(d, x, LogSeries(d, s, k));
}

// For an x between kShortExpMin and kShortExpMax.
template <class D>
HWY_INLINE hn::Vec<D> ShortExpWithin(D d, hn::Vec<D> x) {
    const auto magic = hn::Set(d, C::kRound);
    const auto shifted = hn::Add(hn::Mul(x, hn::Set(d, C::kLog2E)), magic);
    const auto r = hn::Sub(x, hn::Mul(hn::Sub(shifted, magic), hn::Set(d, C::kLn2Short)));
    const auto tail = hn::Mul(hn::Mul(r, r), Polynomial8(d, r, C::kExpTerms));
    return hn::Mul(hn::Add(hn::Set(d, 1.0), hn::Add(r, tail)), PowerOfTwo(d, shifted));
}

template <class D>
HWY_INLINE hn::Vec<D> ShortExp(D d, hn::Vec<D> argument) {
    const auto x = Clamp(d, argument, C::kShortExpMin, C::kShortExpMax);
    return NaNWhere(d, hn::Ne(argument, argument), ShortExpWithin(d, x));
}

}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#endif
