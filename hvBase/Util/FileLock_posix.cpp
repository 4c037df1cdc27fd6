#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "hvBase/Util/FileLock.h"

namespace Util {

FileLock::FileLock(const std::string& strPath)
    : m_nDescriptor(open(strPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
    if (m_nDescriptor < 0) return;
    // flock belongs to this opening of the file, so it also keeps threads of one process apart; a
    // lock by fcntl would not.
    int nResult;
    do {
        nResult = flock(m_nDescriptor, LOCK_EX);
    } while (nResult != 0 && errno == EINTR);
    m_bHeld = nResult == 0;
}

FileLock::~FileLock() {
    // Closing the last descriptor of this opening frees the lock. A copy in a process that was forked
    // meanwhile would keep it, so it is given up by name.
    if (m_bHeld) flock(m_nDescriptor, LOCK_UN);
    if (m_nDescriptor >= 0) close(m_nDescriptor);
}

}  // namespace Util
