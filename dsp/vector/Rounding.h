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

}  // namespace DSP
