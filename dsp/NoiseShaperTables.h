#pragma once

#include <cstdint>
#include <span>

namespace DSP {

/// An error filter of "DSHP+" as its design tool prints it (tools/shaperdesign; docs/dither.md says how).
struct DesignedShaper {
    std::uint32_t uRateClass;   ///< 0 (140001 Hz and up) to 4 (below 15001 Hz)
    std::uint32_t uFirstShape;  ///< 1 "Light" to 4 "Ultra": the shapes that use it
    std::uint32_t uLastShape;
    float fPeak;  ///< the feedback's greatest gain
    std::span<const float> coefficients;
};

/// All designed filters; class 0 "Light" is not among them.
std::span<const DesignedShaper> DesignedShapers() noexcept;

}  // namespace DSP
