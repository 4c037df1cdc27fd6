#include <windows.h>

#include "hvBase/Util/SystemError.h"

namespace Util {

std::uint32_t LastSystemError() noexcept {
    return GetLastError();
}

}  // namespace Util
