#pragma once

#include <cstdint>

namespace DSP {

/// The random numbers of dither: a linear congruential generator modulo 2^32, of which a number is bits 16
/// to 30, from 0 to 32767. The numbers repeat after 2^31 draws.
///
/// It is of the simple kind on purpose: a draw costs a multiply and an add, several draws ahead cost no more
/// than one, and a render repeats exactly.
class DitherRandom {
public:
    static constexpr std::int32_t kGreatest = 32767;

    constexpr explicit DitherRandom(std::uint32_t uState = 0) noexcept : m_uState(uState) {}

    constexpr std::int32_t Next() noexcept {
        m_uState = m_uState * kFactor + kOffset;
        return Value(m_uState);
    }

    constexpr std::uint32_t State() const noexcept { return m_uState; }

    /// The number that belongs to a state.
    static constexpr std::int32_t Value(std::uint32_t uState) noexcept {
        return static_cast<std::int32_t>((uState >> 16) & 0x7fffu);
    }

    /// What many draws do to a state: state * uFactor + uOffset.
    struct Jump {
        std::uint32_t uFactor = 1;
        std::uint32_t uOffset = 0;

        constexpr std::uint32_t operator()(std::uint32_t uState) const noexcept {
            return uState * uFactor + uOffset;
        }
    };

    /// By squaring, in 32 steps at most (Brown, "Random number generation with arbitrary strides", 1994).
    static constexpr Jump After(std::uint32_t uDraws) noexcept {
        Jump result;
        Jump power{kFactor, kOffset};
        for (; uDraws != 0; uDraws /= 2) {
            if (uDraws % 2 != 0) {
                result = {result.uFactor * power.uFactor, result.uOffset * power.uFactor + power.uOffset};
            }
            power = {power.uFactor * power.uFactor, power.uOffset * power.uFactor + power.uOffset};
        }
        return result;
    }

private:
    static constexpr std::uint32_t kFactor = 214013;
    static constexpr std::uint32_t kOffset = 2531011;

    std::uint32_t m_uState;
};

}  // namespace DSP
