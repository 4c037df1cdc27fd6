#pragma once

#include <cstdint>

namespace DSP {

/// Operations on a pair of channels as a whole, each of which runs if its flag is set.
struct ChannelOperations {
    bool bMono = false;
    bool bSwitch = false;
    bool bInvertLeft = false;
    bool bInvertRight = false;

    /// In place and in this order: the channels change places; left changes its sign; right changes its sign;
    /// both become (left + right) 0.5. So what is inverted is what comes out on that side.
    ///
    /// Nothing happens to a mono block, whose right is null. Neither allocates nor waits. Any thread.
    void Process(std::int32_t nFrames, float* left, float* right) const noexcept;
};

}  // namespace DSP
