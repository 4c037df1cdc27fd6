#pragma once

#include <string>

namespace Util {

/// The present date and time of the user's time zone, "2026-03-09 17:05:00": every field has its full width,
/// so that the order of such texts is the order in time.
/// Threads: any. Not on the audio thread.
std::string LocalTimeText();

}  // namespace Util
