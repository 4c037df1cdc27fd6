#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace Util::FilePort {

// What the runtime libraries offer under different names. Paths are UTF-8 and stand as they are:
// no "~/" here. Failures leave the reason in LastSystemError.

/// Null when the file can't be opened; `bMissing` then says whether the path names nothing.
std::FILE* Open(const std::string& strPath, const std::string& strMode, bool& bMissing);
bool SeekTo(std::FILE* file, std::uint64_t uPosition) noexcept;
bool SeekToEnd(std::FILE* file) noexcept;
/// Negative on failure.
std::int64_t Position(std::FILE* file) noexcept;
/// Empties the library's buffer and waits until the disk has the bytes.
bool FlushToDisk(std::FILE* file) noexcept;
bool RemoveFile(const std::string& strPath);
/// Replaces what bears the new name, in one step.
bool RenameOver(const std::string& strFrom, const std::string& strTo);
/// Different for every process that runs.
std::uint32_t ProcessNumber() noexcept;

}  // namespace Util::FilePort
