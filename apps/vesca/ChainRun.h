#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace App {

/// Stereo, planar, full scale 1; both channels are as long.
struct ChainAudio {
    std::vector<float> left, right;

    friend bool operator==(const ChainAudio&, const ChainAudio&) = default;
};

struct ChainRun {
    ChainAudio audio;
    std::uint32_t uSystemDelay = 0;  ///< frames
};

/// Runs audio through a chain of its own, made by settings as `vesca render --set` takes them, with delay
/// compensation on unless a setting says otherwise. Throws UsageError for a setting that has no meaning.
ChainRun RunChain(const ChainAudio& input, std::uint32_t uSampleRate,
                  const std::vector<std::string>& settings, const std::vector<std::uint32_t>& blocks = {512});

}  // namespace App
