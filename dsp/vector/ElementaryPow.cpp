#include <cstddef>
#include <limits>

#include "dsp/vector/ElementaryVector.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/ElementaryPow.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Elementary-inl.h"
#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

// float in, float out, double in between: the operations of the scalar form, in the same order. A float
// is never subnormal as a double.
template <class D>
HWY_INLINE hn::Vec<D> ShortPow(D d, hn::Vec<D> x, hn::Vec<D> exponent) {
    const auto one = hn::Set(d, 1.0);
    const auto y = ShortExp(d, hn::Mul(exponent, ShortLog(d, x)));
    // 1 to any power is 1, an infinite one and a NaN too.
    return hn::IfThenElse(hn::Eq(x, one), one, y);
}

// The exponents of a block: one for all, or one for each.
struct SameExponent {
    float fExponent;
    SameExponent From(std::size_t) const { return *this; }
    template <class D>
    HWY_INLINE hn::Vec<D> At(D d, std::size_t) const {
        return hn::Set(d, fExponent);
    }
};

struct OwnExponents {
    const float* exponents;
    OwnExponents From(std::size_t i) const { return {exponents + i}; }
    template <class D>
    HWY_INLINE hn::Vec<D> At(D d, std::size_t i) const {
        return hn::LoadU(d, exponents + i);
    }
};

template <class Exponents>
struct PowOp {
    const float* source;
    Exponents exponents;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::Rebind<float, D> dFloat;
        const auto x = hn::PromoteTo(d, hn::LoadU(dFloat, source + i));
        const auto exponent = hn::PromoteTo(d, exponents.At(dFloat, i));
        // Anything to the power 0 is 1, a NaN too.
        const auto y =
            hn::IfThenElse(hn::Eq(exponent, hn::Zero(d)), hn::Set(d, 1.0), ShortPow(d, x, exponent));
        hn::StoreU(NarrowTo(dFloat, y), dFloat, destination + i);
    }
};

// A power is a chain of some thirty operations, each of which waits for the one before. Over a short stretch
// it runs in three passes instead of one: the chains are shorter, and the processor has more of them under
// way at once. The edges of the definition do not occur there: every magnitude is positive, normal and
// finite, every exponent finite. 1 to any power and any power of 0 then come out as 1 by themselves.
constexpr std::size_t kPowStretch = 64;

struct PowRoom {
    alignas(64) double fractions[kPowStretch];
    alignas(64) double exponents[kPowStretch];
    alignas(64) double logarithms[kPowStretch];
};

struct PowFoldOp {
    const float* source;
    PowRoom& room;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::Rebind<float, D> dFloat;
        hn::Vec<D> k;
        const auto s = LogFraction(d, hn::PromoteTo(d, hn::LoadU(dFloat, source + i)), &k);
        hn::StoreU(s, d, room.fractions + i);
        hn::StoreU(k, d, room.exponents + i);
    }
};

struct PowLogOp {
    PowRoom& room;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto y = LogSeries(d, hn::LoadU(d, room.fractions + i), hn::LoadU(d, room.exponents + i));
        hn::StoreU(y, d, room.logarithms + i);
    }
};

template <class Exponents>
struct PowExpOp {
    const PowRoom& room;
    Exponents exponents;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::Rebind<float, D> dFloat;
        const auto exponent = hn::PromoteTo(d, exponents.At(dFloat, i));
        const auto y = hn::Mul(exponent, hn::LoadU(d, room.logarithms + i));
        const auto within = Clamp(d, y, C::kShortExpMin, C::kShortExpMax);
        hn::StoreU(NarrowTo(dFloat, ShortExpWithin(d, within)), dFloat, destination + i);
    }
};

// Clears a flag if an element is an edge.
template <class Exponents>
struct PowEdgeOp {
    const float* source;
    Exponents exponents;
    bool& bOrdinary;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto least = hn::Set(d, std::numeric_limits<float>::min());
        const auto greatest = hn::Set(d, std::numeric_limits<float>::max());
        const auto x = hn::LoadU(d, source + i);
        const auto finite = hn::Le(hn::Abs(exponents.At(d, i)), greatest);
        const auto ordinary = hn::And(finite, hn::And(hn::Ge(x, least), hn::Le(x, greatest)));
        bOrdinary = bOrdinary && hn::AllTrue(d, ordinary);
    }
};

template <class Exponents>
HWY_INLINE void PowBlock(const float* source, Exponents exponents, float* destination, std::size_t uLength) {
    PowRoom room;
    for (std::size_t i = 0; i < uLength; i += kPowStretch) {
        const std::size_t uCount = uLength - i < kPowStretch ? uLength - i : kPowStretch;
        const Exponents own = exponents.From(i);
        bool bOrdinary = true;
        ForEachVector<float>(uCount, PowEdgeOp<Exponents>{source + i, own, bOrdinary});
        if (bOrdinary) {
            ForEachVector<double>(uCount, PowFoldOp{source + i, room});
            ForEachVector<double>(uCount, PowLogOp{room});
            ForEachVector<double>(uCount, PowExpOp<Exponents>{room, own, destination + i});
        } else {
            ForEachVector<double>(uCount, PowOp<Exponents>{source + i, own, destination + i});
        }
    }
}

void MapPow(const float* source, float fExponent, float* destination, std::size_t uLength) {
    PowBlock(source, SameExponent{fExponent}, destination, uLength);
}

void MapPowEach(const float* source, const float* exponents, float* destination, std::size_t uLength) {
    PowBlock(source, OwnExponents{exponents}, destination, uLength);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(MapPow);
HWY_EXPORT(MapPowEach);

VectorStatus VectorPow(const float* source, float fExponent, float* destination,
                       std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk)
        HWY_DYNAMIC_DISPATCH(MapPow)(source, fExponent, destination, static_cast<std::size_t>(nLength));
    return status;
}

VectorStatus VectorPow(const float* source, const float* exponents, float* destination,
                       std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, exponents, destination});
    if (status == kVectorOk)
        HWY_DYNAMIC_DISPATCH(MapPowEach)(source, exponents, destination, static_cast<std::size_t>(nLength));
    return status;
}

}  // namespace DSP
#endif  // HWY_ONCE
