#include "dsp/vector/ElementaryVector.h"

#include <cstddef>
#include <limits>

#include "dsp/vector/ElementaryConstants.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/ElementaryVector.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Elementary-inl.h"
#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;
namespace C = Constants;

// ---- float

// The exponential's series, 1/2! to 1/7!; on +-ln(2)/2 the first term left out is below 2^-27.
constexpr float kExpTermsFloat[6] = {1.0f / 2.0f,   1.0f / 6.0f,   1.0f / 24.0f,
                                     1.0f / 120.0f, 1.0f / 720.0f, 1.0f / 5040.0f};

// As the double's; the first term left out is below 2^-28 of the sum.
constexpr float kLogTermsFloat[4] = {2.0f / 3.0f, 2.0f / 5.0f, 2.0f / 7.0f, 2.0f / 9.0f};

template <class D>
HWY_INLINE hn::Vec<D> PowerOfTwoFloat(D d, hn::Vec<D> shifted) {
    const hn::RebindToUnsigned<D> dBits;
    const auto bias = hn::Set(dBits, std::uint32_t{127});
    return hn::BitCast(d, hn::ShiftLeft<23>(hn::Add(hn::BitCast(dBits, shifted), bias)));
}

// y 2^k for k from -151 to 130 and y near 1.
template <class D>
HWY_INLINE hn::Vec<D> ScaleFloat(D d, hn::Vec<D> y, hn::Vec<D> k) {
    const auto magic = hn::Set(d, C::kRoundFloat);
    const auto first = hn::Add(hn::Mul(k, hn::Set(d, 0.5f)), magic);
    const auto rest = hn::Add(hn::Sub(k, hn::Sub(first, magic)), magic);
    return hn::Mul(hn::Mul(y, PowerOfTwoFloat(d, first)), PowerOfTwoFloat(d, rest));
}

// e^r for |r| up to ln(2)/2.
template <class D>
HWY_INLINE hn::Vec<D> ExpNearZeroFloat(D d, hn::Vec<D> r) {
    const auto one = hn::Set(d, 1.0f);
    const auto r2 = hn::Mul(r, r);
    const auto upper = hn::Add(hn::Set(d, kExpTermsFloat[4]), hn::Mul(hn::Set(d, kExpTermsFloat[5]), r));
    const auto polynomial = hn::Add(Cubic(d, r, r2, kExpTermsFloat), hn::Mul(hn::Mul(r2, r2), upper));
    // What the sum 1 + r loses comes back behind it.
    const auto sum = hn::Add(one, r);
    const auto lost = hn::Add(hn::Sub(one, sum), r);
    return hn::Add(sum, hn::Add(lost, hn::Mul(r2, polynomial)));
}

// The logarithm of m 2^k, less that of 2^k, and k; for every positive finite argument.
template <class D>
struct FoldedLog {
    hn::Vec<D> k;
    hn::Vec<D> f;           // m - 1, exact: the greatest term
    hn::Vec<D> correction;  // log m - f
};

template <class D>
HWY_INLINE FoldedLog<D> LogPartsFloat(D d, hn::Vec<D> argument) {
    const hn::RebindToUnsigned<D> dBits;
    const auto subnormal = hn::Lt(argument, hn::Set(d, std::numeric_limits<float>::min()));
    const auto x = hn::IfThenElse(subnormal, hn::Mul(argument, hn::Set(d, 0x1p25f)), argument);

    const auto fold = hn::Set(dBits, C::kFoldFloat);
    const auto shifted =
        hn::Add(hn::Sub(hn::BitCast(dBits, x), fold), hn::Set(dBits, std::uint32_t{127} << 23));
    const auto mantissaBits = hn::And(shifted, hn::Set(dBits, 0x007fffffu));
    const auto m = hn::BitCast(d, hn::Add(mantissaBits, fold));
    const auto exponentBits = hn::Or(hn::ShiftRight<23>(shifted), hn::Set(dBits, 0x4b000000u));
    const auto bias = hn::IfThenElse(subnormal, hn::Set(d, 127.0f + 25.0f), hn::Set(d, 127.0f));

    FoldedLog<D> parts;
    parts.k = hn::Sub(hn::Sub(hn::BitCast(d, exponentBits), hn::Set(d, 0x1p23f)), bias);
    parts.f = hn::Sub(m, hn::Set(d, 1.0f));
    const auto s = hn::Div(parts.f, hn::Add(hn::Set(d, 2.0f), parts.f));
    const auto z = hn::Mul(s, s);
    const auto tail = hn::Mul(z, Cubic(d, z, hn::Mul(z, z), kLogTermsFloat));
    const auto halfSquare = hn::Mul(hn::Mul(hn::Set(d, 0.5f), parts.f), parts.f);
    parts.correction = hn::Sub(hn::Mul(s, hn::Add(halfSquare, tail)), halfSquare);
    return parts;
}

// e^(unit x), where ln(2)/unit comes in two pieces.
template <class D>
HWY_INLINE hn::Vec<D> ExpOfUnit(D d, hn::Vec<D> argument, float fLeast, float fGreatest, float fStepsPerUnit,
                                float fStepHi, float fStepLo, float fUnit) {
    const auto x = Clamp(d, argument, fLeast, fGreatest);
    const auto magic = hn::Set(d, C::kRoundFloat);
    const auto k = hn::Sub(hn::Add(hn::Mul(x, hn::Set(d, fStepsPerUnit)), magic), magic);
    const auto high = hn::Sub(x, hn::Mul(k, hn::Set(d, fStepHi)));
    const auto rest = hn::Sub(high, hn::Mul(k, hn::Set(d, fStepLo)));
    const auto y = ScaleFloat(d, ExpNearZeroFloat(d, hn::Mul(rest, hn::Set(d, fUnit))), k);
    return NaNWhere(d, hn::Ne(argument, argument), y);
}

struct ExpFunction {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        return ExpOfUnit(d, x, -104.0f, 89.0f, 0x1.715476p+0f, C::kLn2HiFloat, C::kLn2LoFloat, 1.0f);
    }
};

struct Exp2Function {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        return ExpOfUnit(d, x, -151.0f, 129.0f, 1.0f, 1.0f, 0.0f, 0x1.62e430p-1f);
    }
};

// A factor of 2 is ln(2) / 0.115129255 dB, a hair more than 6.0206.
struct DbToLinearFunction {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        return ExpOfUnit(d, x, -909.0f, 782.0f, 1.0f / 6.0206f, 0x1.815p+2f, 0x1.8238cap-14f, 0.115129255f);
    }
};

struct LogFunction {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        const FoldedLog<D> parts = LogPartsFloat(d, x);
        const auto high = hn::Mul(parts.k, hn::Set(d, C::kLn2HiFloat));
        const auto low = hn::Mul(parts.k, hn::Set(d, C::kLn2LoFloat));
        const auto sum = hn::Add(high, parts.f);
        const auto lost = hn::Add(hn::Sub(high, sum), parts.f);
        return LogEdges(d, x, hn::Add(sum, hn::Add(lost, hn::Add(low, parts.correction))));
    }
};

struct Log2Function {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        const FoldedLog<D> parts = LogPartsFloat(d, x);
        const auto fraction = hn::Mul(hn::Add(parts.f, parts.correction), hn::Set(d, 0x1.715476p+0f));
        return LogEdges(d, x, hn::Add(parts.k, fraction));
    }
};

// 8.685889 ln(2), 6.0206 and a bit, in two pieces of 15 and 24 bits.
struct LinearToDbFunction {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        const FoldedLog<D> parts = LogPartsFloat(d, x);
        const auto fraction = hn::Mul(hn::Add(parts.f, parts.correction), hn::Set(d, 8.685889f));
        const auto rest = hn::Add(hn::Mul(parts.k, hn::Set(d, 0x1.807192p-14f)), fraction);
        auto y = hn::Add(hn::Mul(parts.k, hn::Set(d, 0x1.815p+2f)), rest);
        const auto infinity = hn::Set(d, std::numeric_limits<float>::infinity());
        y = hn::IfThenElse(hn::Eq(x, infinity), infinity, y);
        return hn::IfThenElse(hn::Ge(x, hn::Set(d, 1e-20f)), y, hn::Set(d, -400.0f));
    }
};

// ---- blocks

template <typename T, class Function>
struct MapOp {
    const T* source;
    T* destination;
    Function function;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(function(d, hn::LoadU(d, source + i)), d, destination + i);
    }
};

struct ExpDoubleFunction {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        return ExpDouble(d, x);
    }
};

struct LogDoubleFunction {
    template <class D>
    HWY_INLINE hn::Vec<D> operator()(D d, hn::Vec<D> x) const {
        return LogDouble(d, x);
    }
};

template <typename T, class Function>
HWY_INLINE void Map(const T* source, T* destination, std::size_t uLength) {
    ForEachVector<T>(uLength, MapOp<T, Function>{source, destination, Function{}});
}

void MapExp(const float* source, float* destination, std::size_t uLength) {
    Map<float, ExpFunction>(source, destination, uLength);
}

void MapExpDouble(const double* source, double* destination, std::size_t uLength) {
    Map<double, ExpDoubleFunction>(source, destination, uLength);
}

void MapExp2(const float* source, float* destination, std::size_t uLength) {
    Map<float, Exp2Function>(source, destination, uLength);
}

void MapLog(const float* source, float* destination, std::size_t uLength) {
    Map<float, LogFunction>(source, destination, uLength);
}

void MapLogDouble(const double* source, double* destination, std::size_t uLength) {
    Map<double, LogDoubleFunction>(source, destination, uLength);
}

void MapLog2(const float* source, float* destination, std::size_t uLength) {
    Map<float, Log2Function>(source, destination, uLength);
}

void MapLinearToDb(const float* source, float* destination, std::size_t uLength) {
    Map<float, LinearToDbFunction>(source, destination, uLength);
}

void MapDbToLinear(const float* source, float* destination, std::size_t uLength) {
    Map<float, DbToLinearFunction>(source, destination, uLength);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(MapExp);
HWY_EXPORT(MapExpDouble);
HWY_EXPORT(MapExp2);
HWY_EXPORT(MapLog);
HWY_EXPORT(MapLogDouble);
HWY_EXPORT(MapLog2);
HWY_EXPORT(MapLinearToDb);
HWY_EXPORT(MapDbToLinear);

namespace {

std::size_t Size(std::int32_t nLength) {
    return static_cast<std::size_t>(nLength);
}

}  // namespace

VectorStatus VectorExp(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapExp)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorExp(const double* source, double* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapExpDouble)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorExp2(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapExp2)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorLog(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapLog)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorLog(const double* source, double* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapLogDouble)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorLog2(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapLog2)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorLinearToDb(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapLinearToDb)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorDbToLinear(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MapDbToLinear)(source, destination, Size(nLength));
    return status;
}

}  // namespace DSP
#endif  // HWY_ONCE
