#include "dsp/vector/LimiterCurve.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/LimiterCurve.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

struct OverOp {
    const float* peaks;
    float fThreshold;
    float fThresholdDb;
    float* levels;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto over = hn::Sub(hn::LoadU(d, levels + i), hn::Set(d, fThresholdDb));
        const auto above = hn::Gt(hn::LoadU(d, peaks + i), hn::Set(d, fThreshold));
        // The logarithm may round to a hair below the threshold.
        const auto positive = hn::IfThenElseZero(hn::Gt(over, hn::Zero(d)), over);
        hn::StoreU(hn::IfThenElseZero(above, positive), d, levels + i);
    }
};

struct Greater {
    template <class V>
    HWY_INLINE V operator()(V a, V b) const {
        return hn::IfThenElse(hn::Gt(a, b), a, b);
    }
};
struct Less {
    template <class V>
    HWY_INLINE V operator()(V a, V b) const {
        return hn::IfThenElse(hn::Lt(a, b), a, b);
    }
};

// results[i] = better of source[i] and source[i + offset]. In place too: both are read before the result is
// written, and what is written is not read again.
template <class Better>
struct PairOp {
    const float* source;
    std::size_t uOffset;
    float* results;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto better = Better{}(hn::LoadU(d, source + i), hn::LoadU(d, source + i + uOffset));
        hn::StoreU(better, d, results + i);
    }
};

// Windows of twice the width from two neighbouring windows, and at last two overlapping ones.
template <class Better>
void Slide(const float* source, std::size_t uWidth, float* scratch, float* results, std::size_t uLength) {
    std::size_t uSpan = 1;
    std::size_t uValid = uLength + uWidth - 1;
    for (; 2 * uSpan <= uWidth; uSpan *= 2) {
        uValid -= uSpan;
        ForEachVector<float>(uValid, PairOp<Better>{source, uSpan, scratch});
        source = scratch;
    }
    ForEachVector<float>(uLength, PairOp<Better>{source, uWidth - uSpan, results});
}

void SlideMaximum(const float* source, std::size_t uWidth, float* scratch, float* results,
                  std::size_t uLength) {
    Slide<Greater>(source, uWidth, scratch, results, uLength);
}
void SlideMinimum(const float* source, std::size_t uWidth, float* scratch, float* results,
                  std::size_t uLength) {
    Slide<Less>(source, uWidth, scratch, results, uLength);
}

template <class D>
HWY_INLINE hn::Vec<D> AroundAt(D d, const float* x, std::size_t uDistance) {
    return hn::Add(hn::LoadU(d, x - uDistance), hn::LoadU(d, x + uDistance));
}

template <class D>
HWY_INLINE hn::Vec<D> SmoothOne(D d, const float* taps, std::size_t uHalf, const float* x) {
    auto sum = hn::Mul(hn::Set(d, taps[0]), hn::LoadU(d, x));
    for (std::size_t j = 1; j <= uHalf; ++j) {
        sum = hn::Add(sum, hn::Mul(hn::Set(d, taps[j]), AroundAt(d, x, j)));
    }
    return sum;
}

void Smooth(const float* taps, std::size_t uHalf, const float* x, float* results, std::size_t uLength) {
    const hn::CappedTag<float, 16> d;
    const hn::CappedTag<float, 1> dOne;
    const std::size_t uLanes = hn::Lanes(d);
    std::size_t i = 0;
    // Four sums at a time, so that none has to wait for its own last addition.
    for (; i + 4 * uLanes <= uLength; i += 4 * uLanes) {
        const float* const x0 = x + i;
        const float* const x1 = x0 + uLanes;
        const float* const x2 = x1 + uLanes;
        const float* const x3 = x2 + uLanes;
        const auto middle = hn::Set(d, taps[0]);
        auto sum0 = hn::Mul(middle, hn::LoadU(d, x0));
        auto sum1 = hn::Mul(middle, hn::LoadU(d, x1));
        auto sum2 = hn::Mul(middle, hn::LoadU(d, x2));
        auto sum3 = hn::Mul(middle, hn::LoadU(d, x3));
        for (std::size_t j = 1; j <= uHalf; ++j) {
            const auto tap = hn::Set(d, taps[j]);
            sum0 = hn::Add(sum0, hn::Mul(tap, AroundAt(d, x0, j)));
            sum1 = hn::Add(sum1, hn::Mul(tap, AroundAt(d, x1, j)));
            sum2 = hn::Add(sum2, hn::Mul(tap, AroundAt(d, x2, j)));
            sum3 = hn::Add(sum3, hn::Mul(tap, AroundAt(d, x3, j)));
        }
        hn::StoreU(sum0, d, results + i);
        hn::StoreU(sum1, d, results + i + uLanes);
        hn::StoreU(sum2, d, results + i + 2 * uLanes);
        hn::StoreU(sum3, d, results + i + 3 * uLanes);
    }
    for (; i + uLanes <= uLength; i += uLanes)
        hn::StoreU(SmoothOne(d, taps, uHalf, x + i), d, results + i);
    for (; i < uLength; ++i)
        hn::StoreU(SmoothOne(dOne, taps, uHalf, x + i), dOne, results + i);
}

// |x[1] - x[0]| as a multiple of 2^-32: a double of this size has no finer bits, so adding it rounds. Below
// 2^19, which no level in dB reaches.
template <class D>
HWY_INLINE hn::Vec<D> Step(D d, const float* x) {
    const hn::Rebind<float, D> dFloat;
    const auto unit = hn::Set(d, 1.5 * 1048576.0);
    const auto here = hn::PromoteTo(d, hn::LoadU(dFloat, x));
    const auto next = hn::PromoteTo(d, hn::LoadU(dFloat, x + 1));
    return hn::Sub(hn::Add(hn::Abs(hn::Sub(next, here)), unit), unit);
}

struct ChangeOp {
    const float* x;
    std::size_t uSteps;
    double* changes;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        hn::StoreU(hn::Sub(Step(d, x + i + uSteps), Step(d, x + i)), d, changes + i);
    }
};

void Changes(const float* x, std::size_t uSteps, double* changes, std::size_t uLength) {
    ForEachVector<double>(uLength, ChangeOp{x, uSteps, changes});
}

// Exact, so the order is free and one lane will do: a sum in full is rare.
double Sum(const float* x, std::size_t uSteps) {
    const hn::CappedTag<double, 1> d;
    auto sum = hn::Zero(d);
    for (std::size_t i = 0; i < uSteps; ++i)
        sum = hn::Add(sum, Step(d, x + i));
    return hn::GetLane(sum);
}

struct ReleaseOp {
    const float* levels;
    const float* activity;
    float* curve;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto release = hn::Mul(hn::Sqrt(hn::LoadU(d, levels + i)), hn::LoadU(d, activity + i));
        hn::StoreU(Greater{}(release, hn::LoadU(d, curve + i)), d, curve + i);
    }
};

void Release(const float* levels, const float* activity, float* curve, std::size_t uLength) {
    ForEachVector<float>(uLength, ReleaseOp{levels, activity, curve});
}

struct GainOp {
    const float* samples;
    const float* gains;
    float fGain;
    float fCeiling;
    float* results;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto ceiling = hn::Set(d, fCeiling);
        const auto reach = hn::Set(d, fCeiling * (1.0f + 0x1p-21f));
        const auto product = hn::Mul(hn::LoadU(d, samples + i), hn::LoadU(d, gains + i));
        const auto y = hn::Mul(product, hn::Set(d, fGain));
        const auto magnitude = hn::Abs(y);
        const auto rounded = hn::And(hn::Gt(magnitude, ceiling), hn::Le(magnitude, reach));
        hn::StoreU(hn::IfThenElse(rounded, hn::CopySign(ceiling, y), y), d, results + i);
    }
};

void Apply(const float* samples, const float* gains, float fGain, float fCeiling, float* results,
           std::size_t uLength) {
    ForEachVector<float>(uLength, GainOp{samples, gains, fGain, fCeiling, results});
}

void Over(const float* peaks, float fThreshold, float fThresholdDb, float* levels, std::size_t uLength) {
    ForEachVector<float>(uLength, OverOp{peaks, fThreshold, fThresholdDb, levels});
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Over);
HWY_EXPORT(SlideMaximum);
HWY_EXPORT(SlideMinimum);
HWY_EXPORT(Smooth);
HWY_EXPORT(Sum);
HWY_EXPORT(Changes);
HWY_EXPORT(Release);
HWY_EXPORT(Apply);

namespace {

std::size_t Size(std::int32_t nLength) {
    return static_cast<std::size_t>(nLength);
}

}  // namespace

void OverThreshold(const float* peaks, float fThreshold, float fThresholdDb, float* levels,
                   std::int32_t nLength) noexcept {
    if (nLength < 1) return;
    HWY_DYNAMIC_DISPATCH(Over)(peaks, fThreshold, fThresholdDb, levels, Size(nLength));
}

void SlidingMaximum(const float* source, std::int32_t nWidth, float* scratch, float* results,
                    std::int32_t nLength) noexcept {
    if (nLength < 1 || nWidth < 1) return;
    HWY_DYNAMIC_DISPATCH(SlideMaximum)(source, Size(nWidth), scratch, results, Size(nLength));
}

void SlidingMinimum(const float* source, std::int32_t nWidth, float* scratch, float* results,
                    std::int32_t nLength) noexcept {
    if (nLength < 1 || nWidth < 1) return;
    HWY_DYNAMIC_DISPATCH(SlideMinimum)(source, Size(nWidth), scratch, results, Size(nLength));
}

void SmoothSymmetric(const float* taps, std::int32_t nHalf, const float* x, float* results,
                     std::int32_t nLength) noexcept {
    if (nLength < 1 || nHalf < 0) return;
    HWY_DYNAMIC_DISPATCH(Smooth)(taps, Size(nHalf), x, results, Size(nLength));
}

double StepSum(const float* x, std::int32_t nSteps) noexcept {
    return nSteps < 1 ? 0.0 : HWY_DYNAMIC_DISPATCH(Sum)(x, Size(nSteps));
}

void StepSumChanges(const float* x, std::int32_t nSteps, double* changes, std::int32_t nLength) noexcept {
    if (nLength < 1 || nSteps < 0) return;
    HWY_DYNAMIC_DISPATCH(Changes)(x, Size(nSteps), changes, Size(nLength));
}

void RaiseByRelease(const float* levels, const float* activity, float* curve, std::int32_t nLength) noexcept {
    if (nLength < 1) return;
    HWY_DYNAMIC_DISPATCH(Release)(levels, activity, curve, Size(nLength));
}

void ApplyGains(const float* samples, const float* gains, float fGain, float fCeiling, float* results,
                std::int32_t nLength) noexcept {
    if (nLength < 1) return;
    HWY_DYNAMIC_DISPATCH(Apply)(samples, gains, fGain, fCeiling, results, Size(nLength));
}

}  // namespace DSP
#endif  // HWY_ONCE
