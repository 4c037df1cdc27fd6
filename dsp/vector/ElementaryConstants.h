#pragma once

#include <cstdint>

/// What the scalar and the block forms of the elementary functions have in common, so that they
/// agree bit by bit. Constants in two pieces: the first is cut short, so that its product with a
/// small integer is exact; the second is the rest, rounded to 53 (double) or 24 bits (float).
namespace DSP::Constants {

// ln 2, in 42 and 53 bits, and 1 / ln 2.
inline constexpr double kLn2Hi = 0x1.62e42fefa3800p-1;
inline constexpr double kLn2Lo = 0x1.ef35793c76730p-45;
inline constexpr double kLog2E = 0x1.71547652b82fep+0;

// ln 2 in one piece, for results that are rounded to float.
inline constexpr double kLn2Short = 0x1.62e42fefa39efp-1;

// ln 2 in 15 and 24 bits.
inline constexpr float kLn2HiFloat = 0x1.62e4p-1f;
inline constexpr float kLn2LoFloat = 0x1.7f7d1cp-20f;

// Adding and subtracting 1.5 times 2^52 (2^23 for float) rounds a small number to an integer, and leaves the
// integer in the low bits of the sum.
inline constexpr double kRound = 6755399441055744.0;
inline constexpr float kRoundFloat = 12582912.0f;

// sqrt(1/2) as bits: the place where a mantissa is folded, so that the logarithm's argument lies between
// sqrt(1/2) and sqrt(2).
inline constexpr std::uint64_t kFold = 0x3fe6a09e667f3bcd;
inline constexpr std::uint32_t kFoldFloat = 0x3f3504f3;

// Beyond these the exponential is infinite or rounds to zero.
inline constexpr double kExpMax = 710.0;
inline constexpr double kExpMin = -746.0;

// The same for an exponential that becomes a float.
inline constexpr double kShortExpMax = 89.0;
inline constexpr double kShortExpMin = -105.0;

// The exponential's series, 1/2! to 13!; on +-ln(2)/2 the first term left out is below 2^-57.
inline constexpr double kExpTerms[12] = {
    1.0 / 2.0,     1.0 / 6.0,      1.0 / 24.0,      1.0 / 120.0,      1.0 / 720.0,       1.0 / 5040.0,
    1.0 / 40320.0, 1.0 / 362880.0, 1.0 / 3628800.0, 1.0 / 39916800.0, 1.0 / 479001600.0, 1.0 / 6227020800.0};

// The logarithm's: log((1 + s) / (1 - s)) = 2 s + s z (2/3 + z (2/5 + ...)) with z = s s, z below 0.0295.
inline constexpr double kLogTerms[12] = {2.0 / 3.0,  2.0 / 5.0,  2.0 / 7.0,  2.0 / 9.0,
                                         2.0 / 11.0, 2.0 / 13.0, 2.0 / 15.0, 2.0 / 17.0,
                                         2.0 / 19.0, 2.0 / 21.0, 2.0 / 23.0, 2.0 / 25.0};

}  // namespace DSP::Constants
