#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

namespace Util {

/// One value for a placeholder of Format: text as it stands, a bool as 0 or 1, an integer in decimal.
class FormatArgument {
public:
    FormatArgument(std::string_view text) : m_strText(text) {}
    FormatArgument(const std::string& text) : m_strText(text) {}
    FormatArgument(const char* text) : m_strText(text) {}
    template <class Integer, class = std::enable_if_t<std::is_integral_v<Integer>>>
    FormatArgument(Integer value) : m_strText(std::to_string(value)) {}

    const std::string& Text() const { return m_strText; }

private:
    std::string m_strText;
};

/// Fills "%1" to "%9" in a pattern with the arguments in their order. A placeholder without an
/// argument, and a percent sign before anything else, stand as they are. What an argument contains is
/// not looked at again.
std::string Format(std::string_view pattern, std::initializer_list<FormatArgument> arguments);

template <class... Arguments>
std::string Format(std::string_view pattern, const Arguments&... arguments) {
    return Format(pattern, std::initializer_list<FormatArgument>{FormatArgument(arguments)...});
}

/// An unsigned number in lower-case hexadecimal, without a prefix or leading zeros.
std::string Hex(unsigned long long uValue);

}  // namespace Util
