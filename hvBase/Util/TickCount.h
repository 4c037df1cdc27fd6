#pragma once

#include <cstdint>

namespace Util {

// A clock that never goes back and takes no notice of the calendar. Its start means nothing.
// Threads: any, the audio thread too.

/// Milliseconds, modulo 2^32: subtract two counts as unsigned numbers to have the time between them,
/// up to 49 days.
std::uint32_t TickCountMs() noexcept;

/// Seconds with the clock's full resolution.
double MonotonicSeconds() noexcept;

}  // namespace Util
