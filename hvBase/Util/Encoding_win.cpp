#include <windows.h>

#include <algorithm>
#include <limits>

#include "hvBase/Util/Encoding.h"

namespace Util {

namespace {

// The system counts in int.
int CountOf(std::size_t uLength) {
    return static_cast<int>(std::min(uLength, static_cast<std::size_t>(std::numeric_limits<int>::max())));
}

}  // namespace

std::wstring WideFromUtf8(std::string_view text) {
    const int nText = CountOf(text.size());
    // The system takes a length of 0 for a mistake.
    if (nText == 0) return {};
    const int nWide = MultiByteToWideChar(CP_UTF8, 0, text.data(), nText, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(nWide), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), nText, wide.data(), nWide);
    return wide;
}

std::string Utf8FromWide(std::wstring_view text) {
    const int nText = CountOf(text.size());
    if (nText == 0) return {};
    const int nBytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), nText, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(nBytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), nText, bytes.data(), nBytes, nullptr, nullptr);
    return bytes;
}

}  // namespace Util
