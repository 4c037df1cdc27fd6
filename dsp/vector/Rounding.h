#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace DSP {

/// To the nearest whole number, halves away from zero; -0, infinities and NaN stay what they are. std::round
/// is this in the native build only: mingw-w64's takes 0.49999999999999994 to 1.
inline double WholeHalfAway(double fValue) noexcept {
    const double fMagnitude = std::abs(fValue);
    // From here on every value is whole.
    if (!(fMagnitude < 0x1p52)) return fValue;
    const double fBelow = static_cast<double>(static_cast<std::int64_t>(fMagnitude));
    return std::copysign(fMagnitude - fBelow < 0.5 ? fBelow : fBelow + 1.0, fValue);
}

/// The same as a number of 32 bits. Values beyond the range give its ends, a NaN gives 0.
inline std::int32_t RoundHalfAway(double fValue) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    const double fRounded = WholeHalfAway(fValue);
    if (!(fRounded > double{Limits::min()})) return fRounded == fRounded ? Limits::min() : 0;
    return fRounded < double{Limits::max()} ? static_cast<std::int32_t>(fRounded) : Limits::max();
}

/// The same for a float of magnitude below 2^20, in a few instructions and without a branch. Half added in
/// double is exact there, so the cut falls where it should; in float 0.49999997 would become 1.
inline std::int32_t RoundSmallHalfAway(float fValue) noexcept {
    return static_cast<std::int32_t>(double{fValue} + std::copysign(0.5, double{fValue}));
}

}  // namespace DSP
