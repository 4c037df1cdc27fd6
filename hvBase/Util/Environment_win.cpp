#include <windows.h>

#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/Environment.h"

namespace Util {

std::optional<std::string> EnvironmentText(const char* name) {
    const std::wstring strName = WideFromUtf8(name);
    std::wstring strValue;
    for (;;) {
        SetLastError(ERROR_SUCCESS);
        const DWORD uSize =
            GetEnvironmentVariableW(strName.c_str(), strValue.data(), static_cast<DWORD>(strValue.size()));
        if (uSize == 0 && GetLastError() != ERROR_SUCCESS) return std::nullopt;
        const bool bFits = uSize < strValue.size() || uSize == 0;
        // Too small a buffer: the answer then counts the final 0 in. Another thread may change the
        // variable between two calls, hence the loop.
        strValue.resize(uSize);
        if (bFits) return Utf8FromWide(strValue);
    }
}

}  // namespace Util
