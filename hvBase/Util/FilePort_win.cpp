#include <io.h>
#include <windows.h>

#include <cerrno>
#include <limits>

#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/FilePort.h"

namespace Util::FilePort {

std::FILE* Open(const std::string& strPath, const std::string& strMode, bool& bMissing) {
    std::FILE* const file = _wfopen(WideFromUtf8(strPath).c_str(), WideFromUtf8(strMode).c_str());
    bMissing = !file && errno == ENOENT;
    return file;
}

bool SeekTo(std::FILE* file, std::uint64_t uPosition) noexcept {
    if (uPosition > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        SetLastError(ERROR_NEGATIVE_SEEK);
        return false;
    }
    return _fseeki64(file, static_cast<std::int64_t>(uPosition), SEEK_SET) == 0;
}

bool SeekToEnd(std::FILE* file) noexcept {
    return _fseeki64(file, 0, SEEK_END) == 0;
}

std::int64_t Position(std::FILE* file) noexcept {
    return _ftelli64(file);
}

bool FlushToDisk(std::FILE* file) noexcept {
    return std::fflush(file) == 0 && _commit(_fileno(file)) == 0;
}

bool RemoveFile(const std::string& strPath) {
    return _wremove(WideFromUtf8(strPath).c_str()) == 0;
}

bool RenameOver(const std::string& strFrom, const std::string& strTo) {
    return MoveFileExW(WideFromUtf8(strFrom).c_str(), WideFromUtf8(strTo).c_str(),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

std::uint32_t ProcessNumber() noexcept {
    return GetCurrentProcessId();
}

}  // namespace Util::FilePort
