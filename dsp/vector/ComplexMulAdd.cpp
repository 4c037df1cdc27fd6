#include "dsp/vector/ComplexMulAdd.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/ComplexMulAdd.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

void MulAddPairs(const float* a, const float* b, float* accumulator, std::size_t uFloats) {
    std::size_t i = 0;
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<float> d;
    const std::size_t uLanes = hn::Lanes(d);
    for (; i + uLanes <= uFloats; i += uLanes) {
        const auto va = hn::LoadU(d, a + i);
        const auto vb = hn::LoadU(d, b + i);
        const auto sum = hn::LoadU(d, accumulator + i);
        // Even lanes: a.re b.re and a.im b.im; odd lanes: a.re b.im and a.im b.re.
        const auto byRe = hn::Mul(hn::DupEven(va), vb);
        const auto byIm = hn::Mul(hn::DupOdd(va), hn::Shuffle2301(vb));
        const auto product = hn::OddEven(hn::Add(byRe, byIm), hn::Sub(byRe, byIm));
        hn::StoreU(hn::Add(sum, product), d, accumulator + i);
    }
#endif
    for (; i < uFloats; i += 2) {
        const float re = a[i] * b[i] - a[i + 1] * b[i + 1];
        const float im = a[i] * b[i + 1] + a[i + 1] * b[i];
        accumulator[i] += re;
        accumulator[i + 1] += im;
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(MulAddPairs);

VectorStatus VectorComplexMulAdd(const float* a, const float* b, float* accumulator, int nCount) noexcept {
    if (a == nullptr || b == nullptr || accumulator == nullptr) return kVectorNullPointer;
    if (nCount < 1) return kVectorBadLength;
    HWY_DYNAMIC_DISPATCH(MulAddPairs)(a, b, accumulator, 2 * static_cast<std::size_t>(nCount));
    return kVectorOk;
}

}  // namespace DSP
#endif  // HWY_ONCE
