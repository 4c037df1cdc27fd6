// Compiled once for each processor level: no ordinary include guard.
#if defined(DSP_VECTOR_LANES_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef DSP_VECTOR_LANES_INL_H_
#undef DSP_VECTOR_LANES_INL_H_
#else
#define DSP_VECTOR_LANES_INL_H_
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {

/// Runs an operation over a block: `op(d, i)` handles the elements from i on, as many as d has lanes.
/// Whole vectors first, then at most three of four lanes, then single lanes, so that no access
/// leaves the buffer. An element's result must not depend on the width that met it.
///
/// The operation is a struct with a HWY_INLINE operator, not a lambda: three calls of a lambda
/// are more than gcc inlines, and its captured vectors would go through memory.
template <typename T, class Op>
HWY_INLINE void ForEachVector(std::size_t uLength, const Op& op) {
    const hwy::HWY_NAMESPACE::ScalableTag<T> dFull;
    const hwy::HWY_NAMESPACE::CappedTag<T, 4> dFour;
    const hwy::HWY_NAMESPACE::CappedTag<T, 1> dOne;
    const std::size_t uFull = hwy::HWY_NAMESPACE::Lanes(dFull);
    const std::size_t uFour = hwy::HWY_NAMESPACE::Lanes(dFour);
    std::size_t i = 0;
    for (; i + uFull <= uLength; i += uFull)
        op(dFull, i);
    if (uFour < uFull) {
        for (; i + uFour <= uLength; i += uFour)
            op(dFour, i);
    }
    if (uFull > 1) {
        for (; i < uLength; ++i)
            op(dOne, i);
    }
}

/// Double to float, rounded to nearest, beyond float's range to infinity. The library's own one-lane form
/// stops at the greatest float instead.
template <class DFloat, class V>
HWY_INLINE hwy::HWY_NAMESPACE::Vec<DFloat> NarrowTo(DFloat d, V v) {
#if HWY_TARGET == HWY_SCALAR
    return hwy::HWY_NAMESPACE::Set(d, static_cast<float>(hwy::HWY_NAMESPACE::GetLane(v)));
#else
    return hwy::HWY_NAMESPACE::DemoteTo(d, v);
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#endif
