#pragma once

#include <string>

namespace Util {

/// Keeps every other holder of a lock on the same file out, in this process and in all others, while
/// it lives. Only those who ask take notice of it. The file is made if it is missing, stays, and has
/// no content. Not on Windows.
///
/// Where the file can't be opened, or its file system knows no locks, the object holds nothing and the
/// work goes on without: settings that are rarely lost are worth more than none.
class FileLock {
public:
    /// Waits for its turn. The system frees the lock of a process that ends.
    explicit FileLock(const std::string& strPath);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool IsHeld() const noexcept { return m_bHeld; }

private:
    int m_nDescriptor = -1;
    bool m_bHeld = false;
};

}  // namespace Util
