#include "hvBase/Util/TickCount.h"

#include <chrono>

namespace Util {

std::uint32_t TickCountMs() noexcept {
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(time).count());
}

double MonotonicSeconds() noexcept {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace Util
