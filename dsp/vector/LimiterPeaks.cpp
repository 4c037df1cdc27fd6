#include "dsp/vector/LimiterPeaks.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/LimiterPeaks.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

struct ReplaceOp {
    float* samples;
    float fLimit;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto x = hn::LoadU(d, samples + i);
        // A NaN fails the comparison.
        hn::StoreU(hn::IfThenElseZero(hn::Le(hn::Abs(x), hn::Set(d, fLimit)), x), d, samples + i);
    }
};

// Not the processor's maximum: its answer to a NaN differs from level to level.
template <class V>
HWY_INLINE V Raise(V peak, V sample) {
    const auto magnitude = hn::Abs(sample);
    return hn::IfThenElse(hn::Gt(magnitude, peak), magnitude, peak);
}

struct FrameOp {
    const float* left;
    const float* right;
    float* peaks;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        auto peak = Raise(hn::Zero(d), hn::LoadU(d, left + i));
        if (right) peak = Raise(peak, hn::LoadU(d, right + i));
        hn::StoreU(peak, d, peaks + i);
    }
};

struct OversampledOp {
    const float* const* left;
    const float* const* right;
    const float* framePeaks;
    float* peaks;
    template <class D>
    HWY_INLINE hn::Vec<D> RaiseByChannel(D d, hn::Vec<D> peak, const float* const* phases,
                                         std::size_t i) const {
        peak = Raise(peak, hn::LoadU(d, phases[0] + i));
        peak = Raise(peak, hn::LoadU(d, phases[1] + i));
        peak = Raise(peak, hn::LoadU(d, phases[2] + i));
        peak = Raise(peak, hn::LoadU(d, phases[3] + i));
        return Raise(peak, hn::LoadU(d, phases[4] + i - 1));
    }
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        auto peak = hn::LoadU(d, framePeaks + i - kOversampledLag);
        peak = RaiseByChannel(d, peak, left, i);
        if (right) peak = RaiseByChannel(d, peak, right, i);
        hn::StoreU(peak, d, peaks + i);
    }
};

void Replace(float* samples, std::size_t uLength, float fLimit) {
    ForEachVector<float>(uLength, ReplaceOp{samples, fLimit});
}

void Frames(const float* left, const float* right, float* peaks, std::size_t uLength) {
    ForEachVector<float>(uLength, FrameOp{left, right, peaks});
}

void Oversampled(const float* const* left, const float* const* right, const float* framePeaks, float* peaks,
                 std::size_t uLength) {
    ForEachVector<float>(uLength, OversampledOp{left, right, framePeaks, peaks});
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Replace);
HWY_EXPORT(Frames);
HWY_EXPORT(Oversampled);

void ReplaceFaultySamples(float* samples, std::int32_t nLength, float fLimit) noexcept {
    if (nLength < 1) return;
    HWY_DYNAMIC_DISPATCH(Replace)(samples, static_cast<std::size_t>(nLength), fLimit);
}

void FramePeaks(const float* left, const float* right, float* peaks, std::int32_t nLength) noexcept {
    if (nLength < 1) return;
    HWY_DYNAMIC_DISPATCH(Frames)(left, right, peaks, static_cast<std::size_t>(nLength));
}

void OversampledPeaks(const float* const* leftPhases, const float* const* rightPhases,
                      const float* framePeaks, float* peaks, std::int32_t nLength) noexcept {
    if (nLength < 1) return;
    HWY_DYNAMIC_DISPATCH(Oversampled)
    (leftPhases, rightPhases, framePeaks, peaks, static_cast<std::size_t>(nLength));
}

}  // namespace DSP
#endif  // HWY_ONCE
