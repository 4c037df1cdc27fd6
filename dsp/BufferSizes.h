#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace DSP {

/// The block lengths between which the modules that work through the FFT let the user choose, and the index
/// that they begin with.
inline constexpr std::array<std::int32_t, 7> kBufferSizes = {128, 256, 512, 1024, 2048, 4096, 8192};
inline constexpr std::int32_t kDefaultBufferSize = 3;

inline std::vector<std::string> BufferSizeLabels() {
    std::vector<std::string> labels;
    for (const std::int32_t nSize : kBufferSizes)
        labels.push_back(std::to_string(nSize));
    return labels;
}

}  // namespace DSP
