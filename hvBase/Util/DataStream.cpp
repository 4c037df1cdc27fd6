#include "hvBase/Util/DataStream.h"

#include <array>
#include <bit>
#include <charconv>
#include <type_traits>

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Text.h"

namespace Util {

using Exception::DataStreamIO;
using Exception::FileIO;

namespace {

template <class Value>
using Bits = std::conditional_t<
    sizeof(Value) == 1, std::uint8_t,
    std::conditional_t<sizeof(Value) == 2, std::uint16_t,
                       std::conditional_t<sizeof(Value) == 4, std::uint32_t, std::uint64_t>>>;

template <class Value>
Value FromLittleEndian(const std::array<std::uint8_t, sizeof(Value)>& bytes) {
    std::uint64_t uBits = 0;
    for (std::size_t i = sizeof(Value); i-- > 0;) {
        uBits = uBits << 8 | bytes[i];
    }
    if constexpr (std::is_same_v<Value, bool>) {
        return uBits != 0;
    } else {
        return std::bit_cast<Value>(static_cast<Bits<Value>>(uBits));
    }
}

template <class Value>
std::array<std::uint8_t, sizeof(Value)> ToLittleEndian(Value value) {
    std::uint64_t uBits = std::bit_cast<Bits<Value>>(value);
    std::array<std::uint8_t, sizeof(Value)> bytes;
    for (std::uint8_t& uByte : bytes) {
        uByte = static_cast<std::uint8_t>(uBits & 0xFFu);
        uBits >>= 8;
    }
    return bytes;
}

template <class Value>
std::string Decimal(Value value) {
    if constexpr (std::is_floating_point_v<Value>) {
        // The fewest digits that give the same value back; 32 hold any of them.
        char digits[32];
        const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
        return std::string(std::begin(digits), end);
    } else {
        return std::to_string(value);
    }
}

void CheckStringLength(std::size_t uLength) {
    if (uLength > DataStream::kMaxStringLength) {
        throw DataStreamIO(Format("Improbable string length %1", uLength));
    }
}

}  // namespace

template <class Value>
void DataStream::ExtractValue(Value& value) {
    std::array<std::uint8_t, sizeof(Value)> bytes;
    try {
        ReadRaw(bytes.data(), bytes.size());
    } catch (const FileIO& failure) {
        throw DataStreamIO(Format("Can't extract %1: %2", Decimal(value), failure.Text()));
    }
    value = FromLittleEndian<Value>(bytes);
}

template <class Value>
void DataStream::InsertValue(Value value) {
    const auto bytes = ToLittleEndian(value);
    try {
        WriteRaw(bytes.data(), bytes.size());
    } catch (const FileIO& failure) {
        throw DataStreamIO(Format("Can't insert %1: %2", Decimal(value), failure.Text()));
    }
}

void DataStream::ExtractBool(bool& bValue) {
    ExtractValue(bValue);
}
void DataStream::ExtractS8(std::int8_t& nValue) {
    ExtractValue(nValue);
}
void DataStream::ExtractU8(std::uint8_t& uValue) {
    ExtractValue(uValue);
}
void DataStream::ExtractS16(std::int16_t& nValue) {
    ExtractValue(nValue);
}
void DataStream::ExtractU16(std::uint16_t& uValue) {
    ExtractValue(uValue);
}
void DataStream::ExtractS32(std::int32_t& nValue) {
    ExtractValue(nValue);
}
void DataStream::ExtractU32(std::uint32_t& uValue) {
    ExtractValue(uValue);
}
void DataStream::ExtractLong(std::int32_t& nValue) {
    ExtractValue(nValue);
}
void DataStream::ExtractULong(std::uint32_t& uValue) {
    ExtractValue(uValue);
}
void DataStream::ExtractF32(float& fValue) {
    ExtractValue(fValue);
}
void DataStream::ExtractF64(double& fValue) {
    ExtractValue(fValue);
}

void DataStream::ExtractBytes(std::vector<std::uint8_t>& bytes) {
    try {
        ReadRaw(bytes.data(), bytes.size());
    } catch (const FileIO& failure) {
        throw DataStreamIO(Format("Can't extract %1 bytes: %2", bytes.size(), failure.Text()));
    }
}

void DataStream::ExtractString(std::string& strValue) {
    std::uint32_t uLength = 0;
    ExtractU32(uLength);
    CheckStringLength(uLength);
    std::string strRead(uLength, '\0');
    try {
        ReadRaw(strRead.data(), strRead.size());
    } catch (const FileIO& failure) {
        throw DataStreamIO("Can't extract string: " + failure.Text());
    }
    strValue = std::move(strRead);
}

void DataStream::InsertBool(bool bValue) {
    // A bool that came from foreign memory may hold another bit pattern; the stream holds 0 or 1.
    InsertValue<bool>(bValue ? true : false);
}
void DataStream::InsertS8(std::int8_t nValue) {
    InsertValue(nValue);
}
void DataStream::InsertU8(std::uint8_t uValue) {
    InsertValue(uValue);
}
void DataStream::InsertS16(std::int16_t nValue) {
    InsertValue(nValue);
}
void DataStream::InsertU16(std::uint16_t uValue) {
    InsertValue(uValue);
}
void DataStream::InsertS32(std::int32_t nValue) {
    InsertValue(nValue);
}
void DataStream::InsertU32(std::uint32_t uValue) {
    InsertValue(uValue);
}
void DataStream::InsertLong(std::int32_t nValue) {
    InsertValue(nValue);
}
void DataStream::InsertULong(std::uint32_t uValue) {
    InsertValue(uValue);
}
void DataStream::InsertF32(float fValue) {
    InsertValue(fValue);
}
void DataStream::InsertF64(double fValue) {
    InsertValue(fValue);
}

void DataStream::InsertBytes(const std::vector<std::uint8_t>& bytes) {
    try {
        WriteRaw(bytes.data(), bytes.size());
    } catch (const FileIO& failure) {
        throw DataStreamIO(Format("Can't insert %1 bytes: %2", bytes.size(), failure.Text()));
    }
}

void DataStream::WriteBytes(const void* data, std::size_t uBytes) {
    try {
        WriteRaw(data, uBytes);
    } catch (const FileIO& failure) {
        throw DataStreamIO(Format("Can't write %1 bytes: %2", uBytes, failure.Text()));
    }
}

void DataStream::InsertString(const std::string& strValue) {
    CheckStringLength(strValue.size());
    InsertU32(static_cast<std::uint32_t>(strValue.size()));
    try {
        WriteRaw(strValue.data(), strValue.size());
    } catch (const FileIO& failure) {
        throw DataStreamIO(Format("Can't insert %1: %2", strValue, failure.Text()));
    }
}

void DataStream::ExtractElements(std::vector<float>& values) {
    try {
        for (float& fValue : values) {
            ExtractF32(fValue);
        }
    } catch (const DataStreamIO& failure) {
        throw DataStreamIO(Format("Can't extract %1 elements: %2", values.size(), failure.Text()));
    }
}

void DataStream::InsertElements(const std::vector<float>& values) {
    try {
        for (const float fValue : values) {
            InsertF32(fValue);
        }
    } catch (const DataStreamIO& failure) {
        throw DataStreamIO(Format("Can't insert %1 elements: %2", values.size(), failure.Text()));
    }
}

}  // namespace Util
