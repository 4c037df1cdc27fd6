#include "dsp/vector/Repair.h"

#include <cmath>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/Repair.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

void Repair(const float* source, float* destination, std::size_t uLength) {
    const hn::ScalableTag<float> d;
    const auto limit = hn::Set(d, kDamageLimit);
    std::size_t i = 0;
    for (; i + hn::Lanes(d) <= uLength; i += hn::Lanes(d)) {
        const auto x = hn::LoadU(d, source + i);
        // A NaN compares false as well.
        hn::StoreU(hn::IfThenElseZero(hn::Lt(hn::Abs(x), limit), x), d, destination + i);
    }
    for (; i < uLength; ++i)
        destination[i] = std::abs(source[i]) < kDamageLimit ? source[i] : 0.0f;
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Repair);

VectorStatus VectorRepair(const float* source, float* destination, int nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {source, destination});
    if (status == kVectorOk)
        HWY_DYNAMIC_DISPATCH(Repair)(source, destination, static_cast<std::size_t>(nLength));
    return status;
}

}  // namespace DSP
#endif  // HWY_ONCE
