#pragma once

#include <string>
#include <string_view>

namespace Util {

// Windows only: its calls take UTF-16, everything else here is UTF-8. What is not well formed becomes
// U+FFFD; neither function fails.

std::wstring WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::wstring_view text);

}  // namespace Util
