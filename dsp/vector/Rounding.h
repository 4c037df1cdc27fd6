#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace DSP {

/// To the nearest integer, halves away from zero. Values beyond the range of 32 bits give its ends, a NaN
/// gives 0.
inline std::int32_t RoundHalfAway(double fValue) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    // std::round is exact in every build; adding 0.5 and cutting off is not: it takes 0.49999999999999994
    // to 1.
    const double fRounded = std::round(fValue);
    if (!(fRounded > double{Limits::min()})) return fRounded == fRounded ? Limits::min() : 0;
    return fRounded < double{Limits::max()} ? static_cast<std::int32_t>(fRounded) : Limits::max();
}

/// The same for a float of magnitude below 2^20, in a few instructions and without a branch. Half added in
/// double is exact there, so the cut falls where it should; in float 0.49999997 would become 1.
inline std::int32_t RoundSmallHalfAway(float fValue) noexcept {
    return static_cast<std::int32_t>(double{fValue} + std::copysign(0.5, double{fValue}));
}

}  // namespace DSP
