#include "dsp/vector/SoftSaturation.h"

#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/SoftSaturation.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

#include "dsp/vector/Lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

constexpr float kKnee = 0.95f;
constexpr float kSpan = 1.0f - kKnee;
constexpr float kCeiling = 0.975f;

struct SaturateOp {
    float* samples;
    template <class D>
    HWY_INLINE void operator()(D d, std::size_t i) const {
        const auto x = hn::LoadU(d, samples + i);
        const auto magnitude = hn::Abs(x);
        const auto knee = hn::Set(d, kKnee);
        const auto isPeak = hn::Ge(magnitude, knee);
        // Peaks are rare, and the division is what costs.
        if (hn::AllFalse(d, isPeak)) return;
        const auto one = hn::Set(d, 1.0f);
        const auto above = hn::Sub(magnitude, knee);
        const auto t = hn::Div(above, hn::Set(d, kSpan));
        const auto bent = hn::Add(hn::Div(above, hn::Add(hn::Mul(t, t), one)), knee);
        const auto y = hn::IfThenElse(hn::Gt(magnitude, one), hn::Set(d, kCeiling), bent);
        hn::StoreU(hn::IfThenElse(isPeak, hn::CopySignToAbs(y, x), x), d, samples + i);
    }
};

void Saturate(float* samples, std::size_t uLength) {
    ForEachVector<float>(uLength, SaturateOp{samples});
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Saturate);

VectorStatus VectorSoftSaturate(float* samples, std::int32_t nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(nLength, {samples});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Saturate)(samples, static_cast<std::size_t>(nLength));
    return status;
}

}  // namespace DSP
#endif
