#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

namespace Util {

/// One open file over the runtime library's buffered files. Every failure is a Util::Exception::FileIO;
/// a short read or a short write is a failure, never a count to check.
///
/// Units:   positions and sizes in bytes, 64 bits wide.
/// Paths:   UTF-8 on every platform; a leading "~/" stands for the folder in the variable HOME.
/// Threads: one at a time. Never on the audio thread.
class File {
public:
    /// What to open a file for. Flags add up; kRead with kWrite means the same as kReadWrite.
    enum Mode : std::uint32_t {
        kRead = 2,
        kWrite = 4,
        kReadWrite = 8,
        kAppend = 16,
        /// Empties the file also when reading is asked for as well as writing.
        kTruncate = 32,
        kText = 64,
    };

    File() noexcept = default;
    /// Closes; a failure of this closing is lost. Call Close to hear of it.
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    /// The runtime library's mode for a set of flags: "r" for reading alone; "w", or with append "a",
    /// for writing alone; for both "w+" when truncating, else "a+" with append and "r+" without. Then
    /// "t" with kText and "b" otherwise. Flags that ask for neither reading nor writing mean reading.
    static std::string ModeText(std::uint32_t uMode);

    /// Closes what is open and opens another file.
    /// Throws "Error opening file", with code NotFound where the path names nothing.
    void Open(const std::string& strPath, std::uint32_t uMode);
    bool IsOpen() const noexcept { return m_file != nullptr; }
    /// Does nothing when closed. After a failure the file is closed as well. Throws "Close failed".
    void Close();

    /// Fills `data` with exactly `uBytes` bytes. Throws "Attempt to read %1 bytes when not open" or
    /// "Attempt to read %1 bytes, only read %2 bytes"; then the head of `data` holds what was read.
    void Read(void* data, std::size_t uBytes);
    /// Throws "Attempt to write %1 bytes when not open" or "Attempt to write %1 bytes, only wrote %2
    /// bytes". A full disk may show only at Flush or Close: the runtime library buffers.
    void Write(const void* data, std::size_t uBytes);
    /// Hands everything written to the disk itself, so that it outlives a power cut. Does nothing when
    /// closed. Throws "Flush failed" with code Write.
    void Flush();

    /// Moves to a byte position; behind the end is allowed. Throws "Attempt to seek to %1 when not
    /// open" or "Seek to %1 failed".
    void Seek(std::uint64_t uPosition);
    /// The present position. Throws "Attempt to tell the position when not open" or "Tell failed".
    std::uint64_t Tell();
    /// The file's length, with what is still buffered. The position stays.
    std::uint64_t Length();

    /// Removes a file. Throws "Remove failed".
    static void Remove(const std::string& strPath);
    /// Renames a file over whatever bears the new name, in one step: whoever opens the new name sees
    /// the old file or the new one, whole. Both names lie on one volume. Throws "Rename failed".
    static void Rename(const std::string& strFrom, const std::string& strTo);

private:
    enum class Last { None, Read, Write };
    void Turn(Last next);

    std::FILE* m_file = nullptr;
    // The runtime library wants a seek between a read and a write of one file.
    Last m_last = Last::None;
};

}  // namespace Util
