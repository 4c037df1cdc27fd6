#pragma once

#include <optional>
#include <string>

namespace Util {

/// The content of an environment variable in UTF-8; nothing if it is not set.
/// Threads: any, as long as none changes the environment.
std::optional<std::string> EnvironmentText(const char* name);

}  // namespace Util
