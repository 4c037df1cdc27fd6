#pragma once

#include <cstdint>
#include <span>

#include "dsp/vector/NoiseShaping.h"

namespace DSP {

/// An error filter with its working coefficients: what shapes the noise of a quantiser.
///
/// A table's source coefficients s0, s1, ... are the noise transfer function N(z) = 1 + (s1 / s0) / z + ...,
/// by which the quantiser's total error reaches the output; the feedback's taps are its coefficients from the
/// second on, with the sign turned.
///
/// The tables are constants of the process; each filter is a value of its owner's. So instances never
/// disturb each other, and rebuilding one needs no lock but the owner's. Nothing allocates.
class NoiseShapingFilter {
public:
    struct Table {
        std::span<const float> coefficients;  ///< order + 1 of them; none for order 0
        float fPeak = 1.0f;                   ///< the feedback's greatest gain, used by limits
    };

    /// The tables of "Type 1" and "Type 2": 0 "None", 1 "Simple", 2 "Clear", 3 "Psych5", 4 "Psych9". A shape
    /// beyond the last reads as "None".
    static Table ForShape(std::uint32_t uShape) noexcept;

    /// The rate classes of "DSHP+": 0 from 140001 Hz up, 1 from 65001, 2 from 35001, 3 from 15001, 4 below.
    static std::uint32_t RateClass(std::uint32_t uSampleRate) noexcept;

    /// The tables of "DSHP+": 0 "None", 1 "Light", 2 "Medium", 3 "High", 4 "Ultra". Anything else is "None".
    static Table ForRate(std::uint32_t uRateClass, std::uint32_t uShape) noexcept;

    /// Order 0: no feedback.
    NoiseShapingFilter() = default;
    /// With bUseAmount the filter follows the noise amount; otherwise Rebuild's amount does not matter.
    NoiseShapingFilter(const Table& table, bool bUseAmount) noexcept;

    /// Works the taps out. The tables are made for the amount 1, whose high-passed dither tilts the total
    /// error; with less of it the filter makes up for the tilt by the factor 1 - (1 - amount) / (3 z).
    void Rebuild(float fAmount) noexcept;

    std::uint32_t Order() const noexcept { return static_cast<std::uint32_t>(m_taps.uOrder); }
    float Peak() const noexcept { return m_table.fPeak; }
    bool UsesAmount() const noexcept { return m_bUseAmount; }
    const NoiseShapingTaps& Taps() const noexcept { return m_taps; }

private:
    Table m_table;
    bool m_bUseAmount = true;
    NoiseShapingTaps m_taps;
};

}  // namespace DSP
