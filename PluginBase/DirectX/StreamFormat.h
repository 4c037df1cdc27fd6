#pragma once

#include <cstdint>
#include <optional>
#include <span>

/// What a host's description of an audio format says, as far as the plug-in cares, and the formats that it
/// takes: integers of 8 (unsigned), 16, 24 (packed) and 32 bits, floats of 32 and 64 bits, 1 or 2 channels.
struct StreamFormat {
    bool bFloat = false;
    std::uint32_t uChannels = 0;
    std::uint32_t uSampleRate = 0;  ///< Hz
    std::uint32_t uBlockAlign = 0;  ///< as declared; bytes of a frame
    std::uint32_t uBits = 0;        ///< of a sample

    std::uint32_t BytesPerSample() const { return (uBits + 7) / 8; }

    /// Reads the little-endian wave format block, of which the first 16 bytes count. Nothing if it is shorter
    /// or describes a format that is not taken.
    static std::optional<StreamFormat> Read(std::span<const std::uint8_t> waveFormat);

    friend bool operator==(const StreamFormat&, const StreamFormat&) = default;
};
