#pragma once

#include <cstdint>

/// The host counts in ticks of 100 ns, the engine in frames. Both conversions truncate.
inline constexpr std::int64_t kTicksPerSecond = 10'000'000;

// In two pieces each: the product of a long stream's frames and the ticks does not fit.

inline std::int64_t TicksFromFrames(std::int64_t nFrames, std::uint32_t uSampleRate) {
    const std::int64_t nRate = uSampleRate;
    return nFrames / nRate * kTicksPerSecond + nFrames % nRate * kTicksPerSecond / nRate;
}

inline std::int64_t FramesFromTicks(std::int64_t nTicks, std::uint32_t uSampleRate) {
    const std::int64_t nRate = uSampleRate;
    return nTicks / kTicksPerSecond * nRate + nTicks % kTicksPerSecond * nRate / kTicksPerSecond;
}
