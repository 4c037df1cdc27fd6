#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

/// Copies a text into a buffer of uSize characters, 1 or more, cut where it does not fit, and always
/// terminated.
template <class Character>
void CopyCut(std::basic_string_view<Character> text, Character* buffer, std::size_t uSize) {
    const std::size_t uLength = std::min(text.size(), uSize - 1);
    std::copy_n(text.begin(), uLength, buffer);
    buffer[uLength] = 0;
}
