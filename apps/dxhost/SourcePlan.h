#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "apps/dxhost/WavFile.h"

namespace DxHost {

constexpr std::int64_t kTicksPerSecond = 10'000'000;

/// The time of a frame in 100 ns units, truncated. In two pieces: the product of a long stream's frames and
/// the ticks would not fit.
constexpr std::int64_t TimeOfFrame(std::uint64_t uFrame, std::uint32_t uSampleRate) {
    return static_cast<std::int64_t>(uFrame / uSampleRate) * kTicksPerSecond +
           static_cast<std::int64_t>(uFrame % uSampleRate) * kTicksPerSecond / uSampleRate;
}

/// Something particular about the sample that begins at a frame; a block in delivery is cut there.
struct Mark {
    std::uint64_t uFrame = 0;
    /// The stream's time jumps here, and the sample says so by a discontinuity.
    std::optional<std::int64_t> jumpTo;
    bool bPreroll = false;
};

/// What a source delivers, and how.
struct SourcePlan {
    Sound sound;
    /// Frames of a delivered sample; the lengths are used in turn. 0 delivers an empty sample.
    std::vector<std::uint32_t> blocks = {512};
    bool bTimes = true;
    bool bMediaTimes = false;
    /// The time of the first frame, 100 ns units. Times follow the position in the file, also after a seek,
    /// as those of a host with a time line do.
    std::int64_t nStart = 0;
    /// In the order of their frames.
    std::vector<Mark> marks;
    /// Whether the end of the stream is told after the last frame.
    bool bEndOfStream = true;
};

}  // namespace DxHost
