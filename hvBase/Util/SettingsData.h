#pragma once

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

    /// The setters' counterparts: false, with the argument as it was, for a value of another kind.
    static bool ToBytes(const Value& value, std::vector<std::uint8_t>& bytes);
    static bool ToText(const Value& value, std::string& strText);
    static bool ToNumber(const Value& value, std::uint32_t& uNumber);

    /// Null if there is no such value.
    const Value* Find(const std::string& strName) const;
    /// False, with nothing changed, for an empty name or a value that stands already as given.
    bool Set(const std::string& strName, Value value);
    std::vector<std::string> Names() const;

    /// Reads any text, well formed or not; of two values with one name the later stands.
    static SettingsData Parse(std::string_view text);
    std::string Print() const;

private:
    std::map<std::string, Value> m_values;
    std::vector<std::string> m_otherLines;
};

}  // namespace Util
