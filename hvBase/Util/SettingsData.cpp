#include "hvBase/Util/SettingsData.h"

#include <charconv>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

namespace Util {

namespace {

constexpr std::string_view kKindNames[] = {"bytes", "text", "number"};
constexpr std::string_view kHexDigits = "0123456789abcdef";

std::optional<unsigned> HexDigit(char c) {
    const auto uDigit = kHexDigits.find(c);
    if (uDigit == std::string_view::npos) return std::nullopt;
    return static_cast<unsigned>(uDigit);
}

// Two digits at the head of a text.
std::optional<char> HexByte(std::string_view text) {
    if (text.size() < 2) return std::nullopt;
    const auto uHigh = HexDigit(text[0]), uLow = HexDigit(text[1]);
    if (!uHigh || !uLow) return std::nullopt;
    return static_cast<char>(static_cast<unsigned char>(*uHigh << 4 | *uLow));
}

void AppendHexByte(std::string& strText, char c) {
    const auto uByte = static_cast<unsigned char>(c);
    strText += kHexDigits[uByte >> 4];
    strText += kHexDigits[uByte & 15u];
}

std::string Quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        const auto uByte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (uByte < 0x20 || uByte == 0x7F) {
            result += "\\x";
            AppendHexByte(result, c);
        } else {
            result += c;
        }
    }
    return result + '"';
}

// Takes a quoted text from the head of a line, which is then shorter by it.
std::optional<std::string> TakeQuoted(std::string_view& line) {
    if (line.empty() || line[0] != '"') return std::nullopt;
    std::string strText;
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '"') {
            line.remove_prefix(i + 1);
            return strText;
        }
        if (line[i] != '\\') {
            strText += line[i];
            continue;
        }
        const std::string_view mark = line.substr(i + 1);
        if (mark.starts_with('"') || mark.starts_with('\\')) {
            strText += mark[0];
            i += 1;
        } else if (mark.starts_with('x')) {
            const auto byte = HexByte(mark.substr(1));
            if (!byte) return std::nullopt;
            strText += *byte;
            i += 3;
        } else {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

bool TakeExact(std::string_view& line, std::string_view expected) {
    if (!line.starts_with(expected)) return false;
    line.remove_prefix(expected.size());
    return true;
}

std::uint32_t NumberFromData(std::string_view data) {
    std::uint32_t uNumber = 0;
    for (std::size_t i = data.size(); i-- > 0;) {
        uNumber = uNumber << 8 | static_cast<unsigned char>(data[i]);
    }
    return uNumber;
}

std::string PrintData(const SettingsData::Value& value) {
    switch (value.kind) {
        case SettingsData::Kind::Bytes: {
            std::string strHex;
            for (const char c : value.strData) {
                AppendHexByte(strHex, c);
            }
            return strHex;
        }
        case SettingsData::Kind::Number:
            return std::to_string(NumberFromData(value.strData));
        case SettingsData::Kind::Text:
            break;
    }
    return value.strData;
}

std::optional<SettingsData::Value> ParseData(SettingsData::Kind kind, const std::string& strText) {
    switch (kind) {
        case SettingsData::Kind::Bytes: {
            if (strText.size() % 2 != 0) return std::nullopt;
            std::string strBytes;
            for (std::size_t i = 0; i < strText.size(); i += 2) {
                const auto byte = HexByte(std::string_view(strText).substr(i));
                if (!byte) return std::nullopt;
                strBytes += *byte;
            }
            return SettingsData::FromBytes(strBytes.data(), strBytes.size());
        }
        case SettingsData::Kind::Number: {
            std::uint32_t uNumber = 0;
            const char* const end = strText.data() + strText.size();
            const auto result = std::from_chars(strText.data(), end, uNumber);
            if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
            return SettingsData::FromNumber(uNumber);
        }
        case SettingsData::Kind::Text:
            break;
    }
    return SettingsData::FromText(strText);
}

struct NamedValue {
    std::string strName;
    SettingsData::Value value;
};

std::optional<NamedValue> ParseLine(std::string_view line) {
    auto strName = TakeQuoted(line);
    if (!strName || strName->empty() || !TakeExact(line, " ")) return std::nullopt;
    for (std::size_t i = 0; i < std::size(kKindNames); ++i) {
        if (!TakeExact(line, kKindNames[i])) continue;
        if (!TakeExact(line, " ")) return std::nullopt;
        const auto strText = TakeQuoted(line);
        if (!strText || !line.empty()) return std::nullopt;
        auto value = ParseData(static_cast<SettingsData::Kind>(i), *strText);
        if (!value) return std::nullopt;
        return NamedValue{std::move(*strName), std::move(*value)};
    }
    return std::nullopt;
}

}  // namespace

SettingsData::Value SettingsData::FromBytes(const void* data, std::size_t uLength) {
    // A vector without elements may give a null pointer, which a string must not be built from.
    if (uLength == 0) return {Kind::Bytes, {}};
    return {Kind::Bytes, std::string(static_cast<const char*>(data), uLength)};
}

SettingsData::Value SettingsData::FromText(const std::string& strText) {
    return {Kind::Text, strText.substr(0, strText.find('\0'))};
}

SettingsData::Value SettingsData::FromNumber(std::uint32_t uNumber) {
    std::string strData;
    for (int i = 0; i < 4; ++i) {
        strData += static_cast<char>(static_cast<unsigned char>(uNumber >> 8 * i & 0xFFu));
    }
    return {Kind::Number, std::move(strData)};
}

bool SettingsData::Set(const std::string& strName, Value value) {
    if (strName.empty()) return false;
    m_values[strName] = std::move(value);
    return true;
}

const SettingsData::Value* SettingsData::Find(const std::string& strName) const {
    const auto found = m_values.find(strName);
    return found == m_values.end() ? nullptr : &found->second;
}

std::vector<std::string> SettingsData::Names() const {
    std::vector<std::string> names;
    for (const auto& named : m_values) {
        names.push_back(named.first);
    }
    return names;
}

const SettingsData::Value* SettingsData::FindKind(const std::string& strName, Kind kind) const {
    const Value* const value = Find(strName);
    return value && value->kind == kind ? value : nullptr;
}

bool SettingsData::GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) const {
    const Value* const value = FindKind(strName, Kind::Bytes);
    if (value) bytes.assign(value->strData.begin(), value->strData.end());
    return value != nullptr;
}

bool SettingsData::GetText(const std::string& strName, std::string& strText) const {
    const Value* const value = FindKind(strName, Kind::Text);
    if (value) strText = value->strData;
    return value != nullptr;
}

bool SettingsData::GetNumber(const std::string& strName, std::uint32_t& uNumber) const {
    const Value* const value = FindKind(strName, Kind::Number);
    if (value) uNumber = NumberFromData(value->strData);
    return value != nullptr;
}

SettingsData SettingsData::Parse(std::string_view text) {
    SettingsData data;
    while (!text.empty()) {
        const auto uEnd = text.find('\n');
        const std::string_view line = text.substr(0, uEnd);
        text.remove_prefix(uEnd == std::string_view::npos ? text.size() : uEnd + 1);
        if (auto named = ParseLine(line)) {
            data.m_values[named->strName] = std::move(named->value);
        } else if (!line.empty()) {
            data.m_otherLines.emplace_back(line);
        }
    }
    return data;
}

std::string SettingsData::Print() const {
    std::string strText;
    for (const std::string& strLine : m_otherLines) {
        strText += strLine + '\n';
    }
    for (const auto& [strName, value] : m_values) {
        strText += Quoted(strName) + ' ' + std::string(kKindNames[static_cast<std::size_t>(value.kind)]) +
                   ' ' + Quoted(PrintData(value)) + '\n';
    }
    return strText;
}

}  // namespace Util
