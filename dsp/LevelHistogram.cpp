#include "dsp/LevelHistogram.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "dsp/vector/Elementary.h"

namespace DSP {

LevelHistogram::LevelHistogram() : m_history(kHistory, kUnused) {
    std::array<float, kBins> tops;  // the highest level of each bin
    for (std::size_t k = 1; k < tops.size(); ++k)
        tops[k] = static_cast<float>(Pow(10.0, -static_cast<double>(k) / 20.0));
    tops[0] = std::numeric_limits<float>::infinity();
    for (std::uint32_t i = 0; i < m_cells.size(); ++i) {
        const std::uint32_t uKey = kFirstKey + i;
        const auto fLowest = std::bit_cast<float>(uKey << kKeyShift);
        std::uint32_t uBin = kBins - 1;
        while (fLowest > tops[uBin])
            --uBin;
        const auto uTop = std::bit_cast<std::uint32_t>(tops[uBin]);
        m_cells[i] = uBin << kKeyShift | (uTop >> kKeyShift == uKey ? uTop & kRestMask : kRestMask);
    }
}

void LevelHistogram::Add(const float* levels, int nLevels) noexcept {
    while (nLevels > 0) {
        const std::size_t uRun = std::min(static_cast<std::size_t>(nLevels), kHistory - m_uPosition);
        AddRun(levels, uRun);
        m_uPosition = (m_uPosition + uRun) % kHistory;
        levels += uRun;
        nLevels -= static_cast<int>(uRun);
    }
}

/// Counts a level, and the one that it drives out of the history no longer.
inline void LevelHistogram::Count(std::size_t uWay, float fLevel, std::uint8_t& uSlot) noexcept {
    const std::uint32_t uBin = BinOf(fLevel);
    auto& counts = m_counts[uWay];
    counts[uBin] = counts[uBin] + 1;
    counts[uSlot] = counts[uSlot] - 1;
    uSlot = static_cast<std::uint8_t>(uBin);
}

/// A run that ends within the history.
void LevelHistogram::AddRun(const float* levels, std::size_t uLevels) noexcept {
    static_assert(kWays == 4);
    std::uint8_t* const slots = m_history.data() + m_uPosition;
    std::size_t i = 0;
    for (; i + kWays <= uLevels; i += kWays) {
        Count(0, levels[i], slots[i]);
        Count(1, levels[i + 1], slots[i + 1]);
        Count(2, levels[i + 2], slots[i + 2]);
        Count(3, levels[i + 3], slots[i + 3]);
    }
    for (; i < uLevels; ++i)
        Count(0, levels[i], slots[i]);
}

void LevelHistogram::Reset() noexcept {
    for (auto& counts : m_counts)
        std::fill(counts.begin(), counts.end(), 0u);
    std::fill(m_history.begin(), m_history.end(), kUnused);
    m_uPosition = 0;
}

LevelHistogram::CountTable LevelHistogram::Counts() const noexcept {
    CountTable sums{};
    for (const auto& counts : m_counts) {
        for (std::size_t i = 0; i < sums.size(); ++i)
            sums[i] += counts[i];
    }
    return sums;
}

}  // namespace DSP
