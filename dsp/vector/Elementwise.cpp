#include "dsp/vector/Elementwise.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/Elementwise.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

struct FillOp {
    float fValue;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(hn::Set(d, fValue), d, destination + i);
    }
};

struct AddConstantOp {
    float fValue;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(hn::Add(hn::LoadU(d, destination + i), hn::Set(d, fValue)), d, destination + i);
    }
};

struct AddOp {
    const float* source;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(hn::Add(hn::LoadU(d, destination + i), hn::LoadU(d, source + i)), d, destination + i);
    }
};

struct SubtractOp {
    const float* source;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(hn::Sub(hn::LoadU(d, destination + i), hn::LoadU(d, source + i)), d, destination + i);
    }
};

struct MultiplyOp {
    const float* source;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(hn::Mul(hn::LoadU(d, destination + i), hn::LoadU(d, source + i)), d, destination + i);
    }
};

struct MultiplyAddOp {
    const float* first;
    const float* second;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto product = hn::Mul(hn::LoadU(d, first + i), hn::LoadU(d, second + i));
        hn::StoreU(hn::Add(hn::LoadU(d, destination + i), product), d, destination + i);
    }
};

struct ScaleToOp {
    const float* source;
    float fFactor;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(hn::Mul(hn::LoadU(d, source + i), hn::Set(d, fFactor)), d, destination + i);
    }
};

// The conversions run over vectors of double, so that one of them meets half a vector of float.
struct WidenOp {
    const float* source;
    double* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::Rebind<float, D> dFloat;
        hn::StoreU(hn::PromoteTo(d, hn::LoadU(dFloat, source + i)), d, destination + i);
    }
};

struct NarrowOp {
    const double* source;
    float* destination;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const hn::Rebind<float, D> dFloat;
        hn::StoreU(NarrowTo(dFloat, hn::LoadU(d, source + i)), dFloat, destination + i);
    }
};

// A comparison and a selection rather than a minimum: a minimum's choice between a number and a NaN differs
// between processors.
struct ThresholdOp {
    float* destination;
    float fLevel;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto level = hn::Set(d, fLevel);
        const auto x = hn::LoadU(d, destination + i);
        hn::StoreU(hn::IfThenElse(hn::Gt(x, level), level, x), d, destination + i);
    }
};

void Fill(float fValue, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, FillOp{fValue, destination});
}

void AddConstant(float fValue, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, AddConstantOp{fValue, destination});
}

void Add(const float* source, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, AddOp{source, destination});
}

void Subtract(const float* source, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, SubtractOp{source, destination});
}

void Multiply(const float* source, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, MultiplyOp{source, destination});
}

void MultiplyAdd(const float* first, const float* second, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, MultiplyAddOp{first, second, destination});
}

void ScaleTo(const float* source, float fFactor, float* destination, std::size_t uLength) {
    ForEachVector<float>(uLength, ScaleToOp{source, fFactor, destination});
}

void Widen(const float* source, double* destination, std::size_t uLength) {
    ForEachVector<double>(uLength, WidenOp{source, destination});
}

void Narrow(const double* source, float* destination, std::size_t uLength) {
    ForEachVector<double>(uLength, NarrowOp{source, destination});
}

void Threshold(float* destination, std::size_t uLength, float fLevel) {
    ForEachVector<float>(uLength, ThresholdOp{destination, fLevel});
}

// Least and greatest elements of an array as they come: the order of the comparisons cannot be seen in the
// result, because NaNs never win a comparison and zeros are made positive at the end.
template <bool kGreatest, class D>
HWY_INLINE hn::Vec<D> Better(D /*d*/, hn::Vec<D> x, hn::Vec<D> best) {
    return hn::IfThenElse(kGreatest ? hn::Gt(x, best) : hn::Lt(x, best), x, best);
}

template <bool kGreatest>
HWY_INLINE float Extreme(const float* source, std::size_t uLength) {
    const hn::ScalableTag<float> d;
    const hn::CappedTag<float, 1> dOne;
    const std::size_t uLanes = hn::Lanes(d);
    const float fInfinity = std::numeric_limits<float>::infinity();
    const float fWorst = kGreatest ? -fInfinity : fInfinity;

    // Four accumulators hide the latency of a comparison and a selection.
    auto best0 = hn::Set(d, fWorst);
    auto best1 = best0;
    auto best2 = best0;
    auto best3 = best0;
    std::size_t i = 0;
    for (; i + 4 * uLanes <= uLength; i += 4 * uLanes) {
        best0 = Better<kGreatest>(d, hn::LoadU(d, source + i), best0);
        best1 = Better<kGreatest>(d, hn::LoadU(d, source + i + uLanes), best1);
        best2 = Better<kGreatest>(d, hn::LoadU(d, source + i + 2 * uLanes), best2);
        best3 = Better<kGreatest>(d, hn::LoadU(d, source + i + 3 * uLanes), best3);
    }
    for (; i + uLanes <= uLength; i += uLanes) {
        best0 = Better<kGreatest>(d, hn::LoadU(d, source + i), best0);
    }
    best0 = Better<kGreatest>(d, best1, best0);
    best2 = Better<kGreatest>(d, best3, best2);
    best0 = Better<kGreatest>(d, best2, best0);

    auto best = hn::Set(dOne, fWorst);
    HWY_ALIGN float lanes[HWY_MAX_BYTES / sizeof(float)];
    hn::Store(best0, d, lanes);
    for (std::size_t k = 0; k < uLanes; ++k) {
        best = Better<kGreatest>(dOne, hn::LoadU(dOne, lanes + k), best);
    }
    for (; i < uLength; ++i) {
        best = Better<kGreatest>(dOne, hn::LoadU(dOne, source + i), best);
    }
    // -0 and +0 compare equal: the sum makes both +0.
    return hn::GetLane(best) + 0.0f;
}

float Least(const float* source, std::size_t uLength) {
    return Extreme<false>(source, uLength);
}

float Greatest(const float* source, std::size_t uLength) {
    return Extreme<true>(source, uLength);
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Fill);
HWY_EXPORT(AddConstant);
HWY_EXPORT(Add);
HWY_EXPORT(Subtract);
HWY_EXPORT(Multiply);
HWY_EXPORT(MultiplyAdd);
HWY_EXPORT(ScaleTo);
HWY_EXPORT(Widen);
HWY_EXPORT(Narrow);
HWY_EXPORT(Threshold);
HWY_EXPORT(Least);
HWY_EXPORT(Greatest);

namespace {

std::size_t Size(std::int32_t nLength) {
    return static_cast<std::size_t>(nLength);
}

// The search starts from an infinity of the wrong sign, which comes back from a buffer of nothing but NaNs
// and from one that holds that infinity as its best number.
VectorStatus StoreExtreme(float fFound, float fWorst, const float* source, std::int32_t nLength,
                          float* pfResult) {
    const bool bNothing =
        fFound == fWorst && std::none_of(source, source + nLength, [fWorst](float x) { return x == fWorst; });
    *pfResult = bNothing ? 0.0f : fFound;
    return kVectorOk;
}

}  // namespace

VectorStatus VectorCopyBytes(const void* source, void* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) std::memcpy(destination, source, Size(nLength));
    return status;
}

VectorStatus VectorCopy(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) std::memcpy(destination, source, Size(nLength) * sizeof(float));
    return status;
}

VectorStatus VectorMove(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) std::memmove(destination, source, Size(nLength) * sizeof(float));
    return status;
}

VectorStatus VectorZero(float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {destination});
    // All bits clear is +0.
    if (status == kVectorOk) std::memset(destination, 0, Size(nLength) * sizeof(float));
    return status;
}

VectorStatus VectorFill(float fValue, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Fill)(fValue, destination, Size(nLength));
    return status;
}

VectorStatus VectorAddConstant(float fValue, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(AddConstant)(fValue, destination, Size(nLength));
    return status;
}

VectorStatus VectorAdd(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Add)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorSubtract(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Subtract)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorMultiply(const float* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Multiply)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorMultiplyAdd(const float* first, const float* second, float* destination,
                               std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {first, second, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(MultiplyAdd)(first, second, destination, Size(nLength));
    return status;
}

VectorStatus VectorScale(float fFactor, float* destination, std::int32_t nLength) noexcept {
    return VectorScaleTo(destination, fFactor, destination, nLength);
}

VectorStatus VectorScaleTo(const float* source, float fFactor, float* destination,
                           std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(ScaleTo)(source, fFactor, destination, Size(nLength));
    return status;
}

VectorStatus VectorConvert(const float* source, double* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Widen)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorConvert(const double* source, float* destination, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Narrow)(source, destination, Size(nLength));
    return status;
}

VectorStatus VectorThresholdGT(float* destination, std::int32_t nLength, float fLevel) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Threshold)(destination, Size(nLength), fLevel);
    return status;
}

VectorStatus VectorMin(const float* source, std::int32_t nLength, float* pfResult) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, pfResult});
    if (status != kVectorOk) return status;
    return StoreExtreme(HWY_DYNAMIC_DISPATCH(Least)(source, Size(nLength)),
                        std::numeric_limits<float>::infinity(), source, nLength, pfResult);
}

VectorStatus VectorMax(const float* source, std::int32_t nLength, float* pfResult) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, pfResult});
    if (status != kVectorOk) return status;
    return StoreExtreme(HWY_DYNAMIC_DISPATCH(Greatest)(source, Size(nLength)),
                        -std::numeric_limits<float>::infinity(), source, nLength, pfResult);
}

std::uint8_t VectorGuard(float* destination, std::int32_t nLength, float fMagnitude,
                         std::uint8_t uPhase) noexcept {
    if (CheckVectorArguments(nLength, {destination}) != kVectorOk) return uPhase;
    std::int32_t i = 0;
    while (i < nLength) {
        // The sign holds up to the next multiple of 128.
        const std::int32_t nRun = std::min(nLength - i, 128 - (uPhase & 0x7f));
        VectorAddConstant((uPhase & 0x80) == 0 ? fMagnitude : -fMagnitude, destination + i, nRun);
        uPhase = static_cast<std::uint8_t>(uPhase + nRun);
        i += nRun;
    }
    return uPhase;
}

}  // namespace DSP
#endif  // HWY_ONCE
