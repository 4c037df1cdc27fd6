#include "dsp/PartConvLayout.h"

#include <algorithm>
#include <array>
#include <bit>

namespace DSP {

namespace {

int CeilingOf(int nTaps, int nBlock) {
    // Without a sum, which might be too great for an int.
    return nTaps / nBlock + (nTaps % nBlock != 0 ? 1 : 0);
}

// Levels of the given blocks, ascending.
PartConvLayout LayOut(const std::array<int, PartConvLayout::kMaxLevels>& blocks, int nLevels, int nLength) {
    PartConvLayout layout;
    int nOffset = 0;
    for (int i = 0; i < nLevels; ++i) {
        const int nBlock = blocks[static_cast<std::size_t>(i)];
        const int nEnd = i + 1 < nLevels ? 2 * blocks[static_cast<std::size_t>(i) + 1] : nLength;
        layout.levels.push_back({nBlock, nOffset, CeilingOf(nEnd - nOffset, nBlock)});
        nOffset = nEnd;
    }
    return layout;
}

// Femtoseconds a sample and channel: whole numbers, so that the choice is the same everywhere.
std::int64_t CostPerSample(const PartConvLayout& layout) {
    std::int64_t nCost = 0;
    for (const PartConvLevel& level : layout.levels) {
        const std::int64_t nBlockCost = PartConvLayout::TransformCost(level.nBlock) +
                                        level.nPartitions * PartConvLayout::ProductCost(level.nBlock);
        nCost += 1000 * nBlockCost / level.nBlock;
    }
    return nCost;
}

struct Best {
    PartConvLayout layout;
    std::int64_t nCost = 0;
};

// Tries the blocks chosen so far, and then every way to add a longer one.
void Try(std::array<int, PartConvLayout::kMaxLevels> blocks, int nLevels, int nLength, Best& best) {
    const PartConvLayout layout = LayOut(blocks, nLevels, nLength);
    const std::int64_t nCost = CostPerSample(layout);
    if (best.layout.levels.empty() || nCost < best.nCost) best = {layout, nCost};
    if (nLevels == PartConvLayout::kMaxLevels) return;
    const int nLongest = std::min(PartConvLayout::kMaxBlock, PartConvLayout::kMaxReach * blocks[0]);
    for (int nBlock = 2 * blocks[static_cast<std::size_t>(nLevels) - 1];
         nBlock <= nLongest && 2 * nBlock < nLength; nBlock *= 2) {
        blocks[static_cast<std::size_t>(nLevels)] = nBlock;
        Try(blocks, nLevels + 1, nLength, best);
    }
}

}  // namespace

std::int64_t PartConvLayout::TransformCost(int nBlock) noexcept {
    const auto nOrder = static_cast<int>(std::bit_width(static_cast<unsigned>(nBlock))) - 1;
    return 150'000 + std::int64_t{nBlock} * (1000 + 220 * nOrder);
}

std::int64_t PartConvLayout::ProductCost(int nBlock) noexcept {
    return std::int64_t{nBlock} * 240;
}

PartConvLayout PartConvLayout::For(int nBlock, int nLength) {
    Best best;
    const int nLongest = std::clamp(nBlock, kMinBlock, kMaxGrid);
    for (int nGrid = kMinBlock; nGrid <= nLongest; nGrid *= 2)
        Try({nGrid}, 1, std::max(nLength, 1), best);
    return best.layout;
}

}  // namespace DSP
