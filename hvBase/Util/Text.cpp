#include "hvBase/Util/Text.h"

#include <charconv>

namespace Util {

std::string Format(std::string_view pattern, std::initializer_list<FormatArgument> arguments) {
    std::string result;
    result.reserve(pattern.size());
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const bool bPlaceholder = pattern[i] == '%' && i + 1 < pattern.size() && pattern[i + 1] >= '1' &&
                                  static_cast<std::size_t>(pattern[i + 1] - '1') < arguments.size();
        if (bPlaceholder) {
            result += arguments.begin()[pattern[i + 1] - '1'].Text();
            ++i;
        } else {
            result += pattern[i];
        }
    }
    return result;
}

std::string Hex(unsigned long long uValue) {
    char digits[2 * sizeof uValue];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), uValue, 16).ptr;
    return std::string(std::begin(digits), end);
}

}  // namespace Util
