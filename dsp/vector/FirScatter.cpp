#include "dsp/vector/FirScatter.h"

#include <algorithm>
#include <cstddef>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "dsp/vector/FirScatter.cpp"
#include <hwy/foreach_target.h>
// foreach_target.h comes first: what follows is compiled again for each level.
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace DSP {
namespace HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

void Scatter(const float* inputs, std::ptrdiff_t nInputs, const float* taps, float* destination,
             std::ptrdiff_t nLength) {
    const hn::ScalableTag<float> d;
    const auto nLanes = static_cast<std::ptrdiff_t>(hn::Lanes(d));
    std::ptrdiff_t n = 0;
    // Four sums at a time: each is a chain of additions, and one alone would wait for its predecessor.
    for (; n + 4 * nLanes <= nLength; n += 4 * nLanes) {
        auto sum0 = hn::LoadU(d, destination + n);
        auto sum1 = hn::LoadU(d, destination + n + nLanes);
        auto sum2 = hn::LoadU(d, destination + n + 2 * nLanes);
        auto sum3 = hn::LoadU(d, destination + n + 3 * nLanes);
        // Inputs behind the last of these outputs meet zeros only.
        const std::ptrdiff_t nEnd = std::min(nInputs, n + 4 * nLanes);
        for (std::ptrdiff_t j = 0; j < nEnd; ++j) {
            const auto x = hn::Set(d, inputs[j]);
            const float* h = taps + (n - j);
            sum0 = hn::Add(sum0, hn::Mul(x, hn::LoadU(d, h)));
            sum1 = hn::Add(sum1, hn::Mul(x, hn::LoadU(d, h + nLanes)));
            sum2 = hn::Add(sum2, hn::Mul(x, hn::LoadU(d, h + 2 * nLanes)));
            sum3 = hn::Add(sum3, hn::Mul(x, hn::LoadU(d, h + 3 * nLanes)));
        }
        hn::StoreU(sum0, d, destination + n);
        hn::StoreU(sum1, d, destination + n + nLanes);
        hn::StoreU(sum2, d, destination + n + 2 * nLanes);
        hn::StoreU(sum3, d, destination + n + 3 * nLanes);
    }
    for (; n + nLanes <= nLength; n += nLanes) {
        auto sum = hn::LoadU(d, destination + n);
        const std::ptrdiff_t nEnd = std::min(nInputs, n + nLanes);
        for (std::ptrdiff_t j = 0; j < nEnd; ++j)
            sum = hn::Add(sum, hn::Mul(hn::Set(d, inputs[j]), hn::LoadU(d, taps + (n - j))));
        hn::StoreU(sum, d, destination + n);
    }
    for (; n < nLength; ++n) {
        float fSum = destination[n];
        const std::ptrdiff_t nEnd = std::min(nInputs, n + 1);
        for (std::ptrdiff_t j = 0; j < nEnd; ++j)
            fSum = fSum + inputs[j] * taps[n - j];
        destination[n] = fSum;
    }
}

}  // namespace
}  // namespace HWY_NAMESPACE
}  // namespace DSP
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace DSP {

HWY_EXPORT(Scatter);

VectorStatus VectorFirScatter(const float* inputs, int nInputs, const float* taps, float* destination,
                              int nLength) noexcept {
    const VectorStatus status = CheckVectorArguments(std::min(nInputs, nLength), {inputs, taps, destination});
    if (status == kVectorOk) HWY_DYNAMIC_DISPATCH(Scatter)(inputs, nInputs, taps, destination, nLength);
    return status;
}

}  // namespace DSP
#endif  // HWY_ONCE
