#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Util {

/// Named values of three kinds and their form as text, for the stores that keep them themselves.
///
/// The text has one value a line: "name" kind "value", with name and value in quotation marks and the
/// kind one of bytes (hexadecimal), text and number (decimal). Inside the marks `\\`, `\"` and `\xNN`
/// stand for a backslash, a mark and a byte. A value is complete in its line, so damage to one line
/// costs that value only. Lines that can't be read, comments among them, are kept as they are: a newer
/// version may have written them.
class SettingsData {
public:
    enum class Kind { Bytes, Text, Number };

    struct Value {
        Kind kind = Kind::Bytes;
        /// Bytes and text as they are; a number as 4 bytes, little-endian.
        std::string strData;
        bool operator==(const Value&) const = default;
    };

    static Value FromBytes(const void* data, std::size_t uLength);
    /// Cuts the text at its first 0 character.
    static Value FromText(const std::string& strText);
    static Value FromNumber(std::uint32_t uNumber);

    /// False for an empty name.
    bool Set(const std::string& strName, Value value);
    /// Null if there is no value of this name.
    const Value* Find(const std::string& strName) const;
    std::vector<std::string> Names() const;

    /// False, with the argument as it was, if there is no value of this name and kind.
    bool GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) const;
    bool GetText(const std::string& strName, std::string& strText) const;
    bool GetNumber(const std::string& strName, std::uint32_t& uNumber) const;

    /// Reads any text, well formed or not; of two values with one name the later stands.
    static SettingsData Parse(std::string_view text);
    /// What Parse reads back to the same values.
    std::string Print() const;

private:
    const Value* FindKind(const std::string& strName, Kind kind) const;

    std::map<std::string, Value> m_values;
    std::vector<std::string> m_otherLines;
};

}  // namespace Util
