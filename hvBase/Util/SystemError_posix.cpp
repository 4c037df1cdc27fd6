#include <cerrno>

#include "hvBase/Util/SystemError.h"

namespace Util {

std::uint32_t LastSystemError() noexcept {
    return static_cast<std::uint32_t>(errno);
}

}  // namespace Util
