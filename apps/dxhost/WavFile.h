#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "apps/dxhost/MediaType.h"

namespace DxHost {

/// A whole sound in memory: interleaved samples as a WAV file has them, little-endian.
struct Sound {
    AudioFormat format;
    std::vector<std::uint8_t> bytes;

    std::uint64_t Frames() const { return bytes.size() / format.FrameBytes(); }
};

/// Reads a WAV file of plain samples: unsigned 8, signed 16, 24, 32 bits, float of 32 or 64, one or two
/// channels, in the plain or the extensible form of the header. A data chunk that is cut short gives what is
/// there, in whole frames. Paths are UTF-8. Throws an Exception::Base that names the file and the reason.
Sound ReadWav(const std::string& strPath);

/// Writes a sound in one step: the file appears whole or not at all. Throws as ReadWav; 4 GB and more are
/// refused.
void WriteWav(const std::string& strPath, const Sound& sound);

/// A file's bytes; throws an Exception::Base.
std::vector<std::uint8_t> ReadBytes(const std::string& strPath);

}  // namespace DxHost
