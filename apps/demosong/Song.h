#pragma once

#include <cstdint>
#include <vector>

namespace Demo {

/// A stereo recording, planar, full scale 1.
struct Recording {
    std::vector<float> left;
    std::vector<float> right;
};

inline constexpr std::uint32_t kSampleRate = 44100;  ///< Hz

/// Twelve seconds of music-like audio for a mastering chain to work on: four chords, a bass, drums, and some
/// room to the sides. It is quiet and a little dull on purpose. Every call gives the same samples, on every
/// machine.
Recording PlaySong();

}  // namespace Demo
