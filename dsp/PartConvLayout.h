#pragma once

#include <cstdint>
#include <vector>

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
    std::vector<PartConvLevel> levels;  ///< one to kMaxLevels

    /// The shortest and the longest block of a level.
    static constexpr int kMinBlock = 64;
    static constexpr int kMaxBlock = 8192;
    static constexpr int kMaxGrid = 2048;
    static constexpr int kMaxLevels = 3;
    /// A tail's block is at most this many times the grid: one of its transforms is done in one go, and must
    /// not outweigh the rest of a short block.
    static constexpr int kMaxReach = 32;

    /// The layout for blocks of nBlock frames and an impulse of nLength taps: the cheapest by the model
    /// below, and so the same on every machine. The grid is a power of two from kMinBlock up to the greater
    /// of nBlock and kMinBlock. Values below 1 read as 1.
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
