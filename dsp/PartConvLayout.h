#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace DSP {

/// One level of a partitioned impulse: nPartitions partitions of nBlock taps, the first at tap nOffset.
struct PartConvLevel {
    int nBlock = 0;
    int nOffset = 0;
    int nPartitions = 0;

    bool operator==(const PartConvLevel&) const = default;
};

/// How an impulse is divided. The first level, the head, begins at tap 0 and works without delay; its block
/// is the grid on which the convolver works. Each further level, a tail, has a block some power of two longer
/// and begins two of its blocks into the impulse, where the level before it ends: one block passes until its
/// input is complete, and another while its work is spread over the grid.
struct PartConvLayout {
    static constexpr int kMaxLevels = 3;

    /// One to kMaxLevels, in place, so that a layout is made and copied without memory of its own.
    class Levels {
    public:
        std::size_t size() const noexcept { return m_uSize; }
        bool empty() const noexcept { return m_uSize == 0; }
        const PartConvLevel* begin() const noexcept { return m_levels.data(); }
        const PartConvLevel* end() const noexcept { return m_levels.data() + m_uSize; }
        const PartConvLevel& operator[](std::size_t i) const noexcept { return m_levels[i]; }
        const PartConvLevel& front() const noexcept { return m_levels.front(); }
        const PartConvLevel& back() const noexcept { return m_levels[m_uSize - 1]; }
        void push_back(const PartConvLevel& level) noexcept { m_levels[m_uSize++] = level; }
        bool operator==(const Levels&) const = default;

    private:
        std::array<PartConvLevel, kMaxLevels> m_levels{};
        std::size_t m_uSize = 0;
    };
    Levels levels;

    /// The shortest and the longest block of a level.
    static constexpr int kMinBlock = 64;
    static constexpr int kMaxBlock = 8192;
    static constexpr int kMaxGrid = 2048;
    /// A tail's block is at most this many times the grid: one of its transforms is done in one go, and must
    /// not outweigh the rest of a short block.
    static constexpr int kMaxReach = 32;

    /// The layout for blocks of nBlock frames and an impulse of nLength taps: the cheapest by the model
    /// below, and so the same on every machine. The grid is a power of two from kMinBlock up to the greater
    /// of nBlock and kMinBlock. Values below 1 read as 1. Allocates nothing.
    static PartConvLayout For(int nBlock, int nLength);

    /// The model: picoseconds for one channel of one block of a level, on a processor with vectors of eight.
    /// The transform there and back, and one partition's products.
    static std::int64_t TransformCost(int nBlock) noexcept;
    static std::int64_t ProductCost(int nBlock) noexcept;

    int Grid() const noexcept { return levels.front().nBlock; }
    /// The longest block of all levels.
    int LongestBlock() const noexcept { return levels.back().nBlock; }

    bool operator==(const PartConvLayout&) const = default;
};

}  // namespace DSP
