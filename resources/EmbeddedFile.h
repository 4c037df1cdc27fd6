#pragma once

#include <cstdint>
#include <string_view>

namespace Util {

/// A file that the build has put into the program: one row of a table whose last row is zeros.
struct EmbeddedFile {
    std::uint64_t uSize = 0;  ///< bytes
    const unsigned char* data = nullptr;
    const char* name = nullptr;  ///< with extension
};

/// The row of a name, exact and case-sensitive, or null. Any thread; nothing allocates.
const EmbeddedFile* FindEmbeddedFile(const EmbeddedFile* table, std::string_view name) noexcept;

/// The impulses of the reverb: signed 16-bit little-endian PCM, two channels interleaved, 44100 Hz.
extern const EmbeddedFile kEmbeddedImpulses[];

}  // namespace Util
