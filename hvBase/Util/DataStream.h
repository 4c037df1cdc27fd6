#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Util {

/// A typed binary stream: every binary format of the system is read and written through it. Numbers
/// are little-endian with fixed widths, byte for byte the same on every machine. The kinds called
/// long have 4 bytes whatever the compiler's `long` has.
///
/// Failures: an operation that can't be done throws Util::Exception::DataStreamIO. A value or string
///           to extract then keeps what it held. Over a file the texts are "Can't extract %1: %2" and
///           "Can't insert %1: %2", with the argument's value and the whole text of the file's failure.
/// Threads:  one at a time. Never on the audio thread.
class DataStream {
public:
    /// The longest string, in bytes, that a stream gives or takes.
    static constexpr std::uint32_t kMaxStringLength = 200000;

    virtual ~DataStream() = default;

    /// One byte; anything but 0 is true.
    virtual void ExtractBool(bool& bValue);
    virtual void ExtractS8(std::int8_t& nValue);
    virtual void ExtractU8(std::uint8_t& uValue);
    virtual void ExtractS16(std::int16_t& nValue);
    virtual void ExtractU16(std::uint16_t& uValue);
    virtual void ExtractS32(std::int32_t& nValue);
    virtual void ExtractU32(std::uint32_t& uValue);
    virtual void ExtractLong(std::int32_t& nValue);
    virtual void ExtractULong(std::uint32_t& uValue);
    virtual void ExtractF32(float& fValue);
    virtual void ExtractF64(double& fValue);
    /// Fills the vector to the size that the caller gave it: a stream keeps no length for bytes.
    /// After a failure its content means nothing.
    virtual void ExtractBytes(std::vector<std::uint8_t>& bytes);
    /// An unsigned 32-bit length and that many bytes. A length above kMaxStringLength throws
    /// "Improbable string length %1" before anything is allocated for it.
    virtual void ExtractString(std::string& strValue);

    virtual void InsertBool(bool bValue);
    virtual void InsertS8(std::int8_t nValue);
    virtual void InsertU8(std::uint8_t uValue);
    virtual void InsertS16(std::int16_t nValue);
    virtual void InsertU16(std::uint16_t uValue);
    virtual void InsertS32(std::int32_t nValue);
    virtual void InsertU32(std::uint32_t uValue);
    virtual void InsertLong(std::int32_t nValue);
    virtual void InsertULong(std::uint32_t uValue);
    virtual void InsertF32(float fValue);
    virtual void InsertF64(double fValue);
    /// Exactly the vector's bytes, without a length.
    virtual void InsertBytes(const std::vector<std::uint8_t>& bytes);
    /// The same from memory; a failure reads "Can't write %1 bytes: %2".
    virtual void WriteBytes(const void* data, std::size_t uBytes);
    /// Refuses a string above kMaxStringLength, which could never be read back, and writes nothing.
    virtual void InsertString(const std::string& strValue);

    /// A table of floats, value by value, without a count: the vector's size says how many. A failure
    /// reads "Can't extract %1 elements: %2" or "Can't insert %1 elements: %2", with the size.
    void ExtractElements(std::vector<float>& values);
    void InsertElements(const std::vector<float>& values);

    /// Position and length in bytes. Over a file they throw Util::Exception::FileIO.
    virtual std::uint64_t Tell() = 0;
    virtual void Seek(std::uint64_t uPosition) = 0;
    virtual std::uint64_t Length() = 0;

protected:
    /// Moves exactly `uBytes` bytes or throws: a FileIO, which the operation above turns into a
    /// DataStreamIO of its own, or a DataStreamIO that passes as it is.
    virtual void ReadRaw(void* data, std::size_t uBytes) = 0;
    virtual void WriteRaw(const void* data, std::size_t uBytes) = 0;

private:
    template <class Value>
    void ExtractValue(Value& value);
    template <class Value>
    void InsertValue(Value value);
};

}  // namespace Util
