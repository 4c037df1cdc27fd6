#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "hvBase/Util/Relaxed.h"

namespace DSP {

/// How often each level has occurred among the last 44100 levels: 128 bins of 1 dB, from 0 dB down. It is
/// kept up to date level by level, so that a display never has to count.
///
/// Bins:      bin k holds the levels x with T(k + 1) < x <= T(k), where T(k) = 10^(-k/20) in single
///            precision. Bin 0 also holds everything above 0 dB, and bin 127 everything below -127 dB,
///            zeros, negative numbers and NaNs.
/// Units:     levels are linear magnitudes, full scale 1.
/// Threads:   Add and Reset under the owning component's lock. Counts on any thread: each bin on its own
///            is whole, the bins together may be a few levels apart.
/// Real time: only the constructor allocates.
/// Blocks:    the counts do not depend on how a stream of levels is cut.
class LevelHistogram {
public:
    static constexpr std::uint32_t kBins = 128;
    static constexpr std::uint32_t kHistory = 44100;
    using CountTable = std::array<std::uint32_t, kBins>;

    LevelHistogram();

    void Add(const float* levels, int nLevels) noexcept;
    void Reset() noexcept;

    std::uint32_t BinOf(float fLevel) const noexcept {
        // The comparisons' order takes NaNs to the last bin.
        float x = fLevel > m_fLowest ? fLevel : m_fLowest;
        x = x < m_fHighest ? x : m_fHighest;
        const auto uBits = std::bit_cast<std::uint32_t>(x);
        return (m_cells[(uBits >> kKeyShift) - kFirstKey] - (uBits & kRestMask)) >> kKeyShift;
    }
    CountTable Counts() const noexcept;

private:
    // The lowest bin's threshold, 10^(-127/20).
    static constexpr float kLowestThreshold = 4.4668359e-7f;

    // A cell of the search table is a sixteenth of an octave's span, narrower than 1 dB: it meets at most one
    // threshold. Its key is the level's exponent and its first four bits; the rest of its bits say which side
    // of the threshold it is on. A cell is the bin of its lowest level and, in the place of those bits, the
    // threshold's: subtracting the level's borrows from the bin where the level is above.
    static constexpr unsigned kKeyShift = 19;
    static constexpr std::uint32_t kRestMask = (1u << kKeyShift) - 1;
    static constexpr std::uint32_t kFirstKey = std::bit_cast<std::uint32_t>(kLowestThreshold) >> kKeyShift;
    static constexpr std::uint32_t kLastKey = std::bit_cast<std::uint32_t>(1.0f) >> kKeyShift;

    // A slot of the history that has not been used yet; its count is never shown.
    static constexpr std::uint8_t kUnused = kBins;

    // Neighbours mostly share a bin. Counting them in turn in several tables, whose sums are the counts, lets
    // no addition wait for the one before.
    static constexpr std::size_t kWays = 4;

    void AddRun(const float* levels, std::size_t uLevels) noexcept;
    void Count(std::size_t uWay, float fLevel, std::uint8_t& uSlot) noexcept;

    // Set-up: written at construction only. The ends of the table are members because the compiler makes
    // jumps of a choice between a level and a constant, and noise would make them unpredictable.
    float m_fLowest = kLowestThreshold;
    float m_fHighest = 1.0f;
    std::array<std::uint32_t, kLastKey - kFirstKey + 1> m_cells;

    // State: Reset clears every member of this group.
    std::array<std::array<Util::Relaxed<std::uint32_t>, kBins + 1>, kWays> m_counts;
    std::vector<std::uint8_t> m_history;
    std::size_t m_uPosition = 0;
};

}  // namespace DSP
