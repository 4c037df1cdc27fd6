#pragma once

#include <cstdint>

namespace Util {

/// The calling thread's last system error as it stands: GetLastError on Windows, errno elsewhere.
/// Threads: any. Changes nothing, allocates nothing.
std::uint32_t LastSystemError() noexcept;

}  // namespace Util
