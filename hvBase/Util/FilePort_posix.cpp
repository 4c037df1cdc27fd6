#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "hvBase/Util/FilePort.h"

namespace Util::FilePort {

std::FILE* Open(const std::string& strPath, const std::string& strMode, bool& bMissing) {
    // "e": a program that the host starts inherits none of our files.
    std::FILE* const file = std::fopen(strPath.c_str(), (strMode + 'e').c_str());
    bMissing = !file && (errno == ENOENT || errno == ENOTDIR);
    return file;
}

bool SeekTo(std::FILE* file, std::uint64_t uPosition) noexcept {
    if (uPosition > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        errno = EINVAL;
        return false;
    }
    return fseeko(file, static_cast<off_t>(uPosition), SEEK_SET) == 0;
}

bool SeekToEnd(std::FILE* file) noexcept {
    return fseeko(file, 0, SEEK_END) == 0;
}

std::int64_t Position(std::FILE* file) noexcept {
    return ftello(file);
}

bool FlushToDisk(std::FILE* file) noexcept {
    if (std::fflush(file) != 0) return false;
    // A pipe or a device has nothing to bring to a disk and says so with EINVAL.
    return fsync(fileno(file)) == 0 || errno == EINVAL;
}

bool RemoveFile(const std::string& strPath) {
    return unlink(strPath.c_str()) == 0;
}

bool RenameOver(const std::string& strFrom, const std::string& strTo) {
    return std::rename(strFrom.c_str(), strTo.c_str()) == 0;
}

std::uint32_t ProcessNumber() noexcept {
    return static_cast<std::uint32_t>(getpid());
}

}  // namespace Util::FilePort
