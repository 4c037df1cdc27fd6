#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "dsp/vector/AlignedVector.h"

namespace DSP {

/// What the complex transform of P = 2^order points looks up: its passes, their factors, and the factors
/// that separate the halves of a real transform of 2 P points. Read-only after construction.
///
/// From kSmallest points on the data are rows of sixteen neighbours. The passes run down the columns, M = P /
/// 16 points each, and leave them in digit-reversed order; then each value is turned by its factor, and a
/// transform of 16 points runs along each row (Gentleman and Sande, "Fast Fourier Transforms for Fun and
/// Profit", 1966). Below kSmallest a plain radix-2 loop does it.
class FftTables {
public:
    static constexpr int kMaxOrder = 21;
    /// Values of a row, and of a tile.
    static constexpr std::size_t kRow = 16;
    /// The smallest number of points that is transformed in rows.
    static constexpr std::size_t kSmallest = 64;

    /// One pass down the columns: blocks of nRows rows, of which nRadix at a distance of nRows / nRadix meet.
    struct Pass {
        int nRadix = 0;
        std::size_t uRows = 0;
        /// For each j below uRows / nRadix the factors exp(-2 pi i j s / uRows), s = 1 .. nRadix - 1, re and
        /// im interleaved. Empty in the last pass, where they are 1.
        AlignedVector<float> factors;
    };

    /// The tables of one order, 0 .. kMaxOrder, shared with everybody who holds them. Takes a lock, and
    /// allocates when nobody does.
    static std::shared_ptr<const FftTables> Shared(int nOrder);

    explicit FftTables(int nOrder);

    int Order() const noexcept { return m_nOrder; }
    /// P.
    std::size_t Points() const noexcept { return std::size_t{1} << m_nOrder; }
    /// The columns' length M; 0 below kSmallest points.
    std::size_t Rows() const noexcept { return m_rowOf.size(); }

    const std::vector<Pass>& Passes() const noexcept { return m_passes; }
    /// By frequency of the columns: the row where the passes leave it.
    const std::uint32_t* RowOf() const noexcept { return m_rowOf.data(); }
    /// exp(-2 pi i l k / P) for the turn between columns and rows. Frequencies k come in groups of
    /// min(16, M); a group has, for each l = 1 .. 15, its real and then its imaginary parts.
    const float* TurnFactors() const noexcept { return m_turnFactors.data(); }
    /// exp(-2 pi i k / P), k = 0 .. P / 2 - 1, re and im interleaved; below kSmallest points only.
    const float* SmallFactors() const noexcept { return m_smallFactors.data(); }
    /// exp(-2 pi i k / (2 P)), k = 0 .. P / 2: real parts, imaginary parts.
    const float* HalfRe() const noexcept { return m_halfRe.data(); }
    const float* HalfIm() const noexcept { return m_halfIm.data(); }

private:
    void BuildPasses();
    void BuildTurn();

    int m_nOrder;
    std::vector<Pass> m_passes;
    std::vector<std::uint32_t> m_rowOf;
    AlignedVector<float> m_turnFactors;
    AlignedVector<float> m_smallFactors;
    AlignedVector<float> m_halfRe;
    AlignedVector<float> m_halfIm;
};

}  // namespace DSP
