#include <windows.h>

#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/ModulePath.h"

namespace Util {

std::string ModulePath() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&ModulePath), &module)) {
        return {};
    }
    // The system cuts a path that does not fit and fills the buffer to its end; no path is longer
    // than 32767 characters.
    for (DWORD uSize = MAX_PATH; uSize <= 32768; uSize *= 2) {
        std::wstring strPath(uSize, L'\0');
        const DWORD uLength = GetModuleFileNameW(module, strPath.data(), uSize);
        if (uLength == 0) return {};
        if (uLength < uSize) {
            strPath.resize(uLength);
            return Utf8FromWide(strPath);
        }
    }
    return {};
}

}  // namespace Util
