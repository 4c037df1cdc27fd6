#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Preset {

/// Bytes as base64 with padding, in one line (RFC 4648, section 4).
std::string ToBase64(std::span<const std::uint8_t> bytes);

/// The bytes of such a text. Nothing for a text that ToBase64 does not write: other characters, a wrong
/// length or padding, bits set behind the last byte.
std::optional<std::vector<std::uint8_t>> FromBase64(std::string_view text);

}  // namespace Preset
