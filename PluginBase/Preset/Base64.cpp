#include "PluginBase/Preset/Base64.h"

#include <algorithm>

namespace Preset {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string ToBase64(std::span<const std::uint8_t> bytes) {
    std::string strText;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t uBytes = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t uBits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            uBits = uBits << 8 | (k < uBytes ? bytes[i + k] : 0u);
        for (std::size_t k = 0; k < 4; ++k)
            strText += k <= uBytes ? kDigits[uBits >> (18 - 6 * k) & 63] : '=';
    }
    return strText;
}

std::optional<std::vector<std::uint8_t>> FromBase64(std::string_view text) {
    if (text.size() % 4 != 0) return std::nullopt;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        std::string_view four = text.substr(i, 4);
        if (i + 4 == text.size()) {
            while (four.size() > 2 && four.back() == '=')
                four.remove_suffix(1);
        }
        std::uint32_t uBits = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            const std::size_t uDigit = k < four.size() ? kDigits.find(four[k]) : 0;
            if (uDigit == std::string_view::npos) return std::nullopt;
            uBits = uBits << 6 | static_cast<std::uint32_t>(uDigit);
        }
        const std::size_t uBytes = four.size() - 1;
        for (std::size_t k = 0; k < uBytes; ++k)
            bytes.push_back(static_cast<std::uint8_t>(uBits >> (16 - 8 * k)));
        if ((uBits & (0xFFFFFFu >> (8 * uBytes))) != 0) return std::nullopt;
    }
    return bytes;
}

}  // namespace Preset
