#include "dsp/vector/ImagerKernels.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/ImagerKernels.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

struct WidthOp {
    float fWidth;
    float* left;
    float* right;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto half = hn::Set(d, 0.5f);
        const auto l = hn::LoadU(d, left + i);
        const auto r = hn::LoadU(d, right + i);
        const auto mid = hn::Add(l, r);
        const auto side = hn::Mul(hn::Sub(l, r), hn::Set(d, fWidth));
        hn::StoreU(hn::Mul(hn::Add(mid, side), half), d, left + i);
        hn::StoreU(hn::Mul(hn::Sub(mid, side), half), d, right + i);
    }
};

struct SwapOp {
    float* left;
    float* right;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto l = hn::LoadU(d, left + i);
        hn::StoreU(hn::LoadU(d, right + i), d, left + i);
        hn::StoreU(l, d, right + i);
    }
};

void Width(float fWidth, float* left, float* right, std::size_t uLength) {
    ForEachVector<float>(uLength, WidthOp{fWidth, left, right});
}

void Swap(float* left, float* right, std::size_t uLength) {
    ForEachVector<float>(uLength, SwapOp{left, right});
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Width);
HWY_EXPORT(Swap);

void StereoWidth(float fWidth, float* left, float* right, std::int32_t nLength) noexcept {
    if (nLength > 0) HWY_DYNAMIC_DISPATCH(Width)(fWidth, left, right, static_cast<std::size_t>(nLength));
}

void StereoSwap(float* left, float* right, std::int32_t nLength) noexcept {
    if (nLength > 0) HWY_DYNAMIC_DISPATCH(Swap)(left, right, static_cast<std::size_t>(nLength));
}

}  // namespace DSP
#endif  // HWY_ONCE
