#include "dsp/LevelHistogram.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "dsp/vector/Elementary.h"

namespace DSP {

LevelHistogram::LevelHistogram() : m_history(kHistory, kUnused) {
    for (std::size_t k = 1; k < m_tops.size(); ++k)
        m_tops[k] = static_cast<float>(Pow(10.0, -static_cast<double>(k) / 20.0));
    m_tops[0] = std::numeric_limits<float>::infinity();
    for (std::uint32_t i = 0; i < m_cells.size(); ++i) {
        const auto fLowest = std::bit_cast<float>((kFirstKey + i) << kKeyShift);
        std::uint8_t uBin = kBins - 1;
        while (fLowest > m_tops[uBin])
            --uBin;
        m_cells[i] = uBin;
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
    std::uint8_t* const slots = m_history.data() + m_uPosition;
    std::size_t i = 0;
    for (; i + kWays <= uLevels; i += kWays) {
        for (std::size_t uWay = 0; uWay < kWays; ++uWay)
            Count(uWay, levels[i + uWay], slots[i + uWay]);
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
