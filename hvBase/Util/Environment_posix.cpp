#include <cstdlib>

#include "hvBase/Util/Environment.h"

namespace Util {

std::optional<std::string> EnvironmentText(const char* name) {
    const char* const value = std::getenv(name);
    if (!value) return std::nullopt;
    return value;
}

}  // namespace Util
