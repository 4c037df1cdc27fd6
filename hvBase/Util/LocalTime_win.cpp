#include "hvBase/Util/LocalTime.h"

#include <ctime>

namespace Util {

std::string LocalTimeText() {
    const std::time_t now = std::time(nullptr);
    std::tm fields{};
    localtime_s(&fields, &now);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields));
}

}  // namespace Util
