#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "hvBase/Util/File.h"

namespace Util {

/// A file that appears whole or not at all: bytes go to a temporary file beside the target, and
/// Commit puts that in the target's place in one step. Whatever ends the work before that, a failure,
/// a crash, a power cut, leaves the old file as it was.
///
/// Threads: one at a time. Several writers of one target, in any processes, do not mix: the last
///          Commit stands.
class AtomicFile {
public:
    /// Opens the temporary file. Throws what File::Open throws.
    explicit AtomicFile(const std::string& strPath);
    /// Without a Commit removes the temporary file; the target keeps its old bytes.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Throws what File::Write throws.
    void Write(const void* data, std::size_t uBytes) { m_file.Write(data, uBytes); }
    /// Brings the bytes to the disk, closes, and renames over the target. Once, as the last call.
    /// Throws what File::Flush, Close and Rename throw; the target then has its old bytes.
    void Commit();

    const std::string& TemporaryPath() const noexcept { return m_strTemporary; }

private:
    std::string m_strTarget;
    std::string m_strTemporary;
    File m_file;
    bool m_bCommitted = false;
};

/// Replaces a file's content in one step, or throws Util::Exception::FileIO and leaves it alone.
void WriteFileAtomically(const std::string& strPath, std::span<const std::uint8_t> bytes);

}  // namespace Util
