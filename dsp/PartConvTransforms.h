#pragma once

#include <array>
#include <memory>

#include "dsp/PartConvLayout.h"
#include "dsp/vector/RightAngleFft.h"

namespace DSP {

/// The transforms of the blocks that a partitioned convolution has levels of, kept from one layout to the
/// next.
///
/// Threads: one at a time. A block's first Of takes a lock and allocates; later ones do neither.
class PartConvTransforms {
public:
    /// Of a block of a level: a power of two from PartConvLayout::kMinBlock to kMaxBlock.
    const std::shared_ptr<const RightAngleFft>& Of(int nBlock);

    /// Makes all of them, and returns the longest.
    const RightAngleFft& MakeAll();

private:
    static constexpr int kMinOrder = 6;
    static constexpr int kMaxOrder = 13;
    static_assert(1 << kMinOrder == PartConvLayout::kMinBlock && 1 << kMaxOrder == PartConvLayout::kMaxBlock);

    std::array<std::shared_ptr<const RightAngleFft>, kMaxOrder - kMinOrder + 1> m_ffts;
};

}  // namespace DSP
