#pragma once

#include <cmath>

// GCC's mathematics in 113 bits. Its header does not come with every compiler that can link it.
extern "C" {
__float128 expq(__float128) noexcept;
__float128 logq(__float128) noexcept;
__float128 log2q(__float128) noexcept;
__float128 log10q(__float128) noexcept;
__float128 sinq(__float128) noexcept;
__float128 cosq(__float128) noexcept;
__float128 tanq(__float128) noexcept;
__float128 asinq(__float128) noexcept;
__float128 acosq(__float128) noexcept;
__float128 atanq(__float128) noexcept;
__float128 sinhq(__float128) noexcept;
__float128 coshq(__float128) noexcept;
__float128 tanhq(__float128) noexcept;
__float128 fabsq(__float128) noexcept;
__float128 atan2q(__float128, __float128) noexcept;
__float128 powq(__float128, __float128) noexcept;
__float128 ldexpq(__float128, int) noexcept;
}

namespace Test {

using Quad = __float128;

/// The distance of a double from the exact value in units of the exact value's last place.
inline double UlpError(double got, Quad exact) {
    const auto nearest = static_cast<double>(exact);
    if (!std::isfinite(got) || std::isinf(nearest)) return got == nearest ? 0.0 : 1e300;
    int n = 0;
    std::frexp(nearest, &n);
    if (n < -1021) n = -1021;
    return static_cast<double>(ldexpq(fabsq(Quad(got) - exact), 53 - n));
}

}  // namespace Test
