#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "hvBase/Util/DataStream.h"

namespace Util {

/// A typed stream over a byte vector. Insertion appends at the end; extraction reads from a position
/// of its own, which Tell and Seek speak of. It begins at 0.
///
/// Failures: an extraction past the end throws "Can't extract %1 bytes at position %2, total size %3"
///           and leaves the position where it was. Seeking behind the end is allowed.
class ByteStream : public DataStream {
public:
    ByteStream() noexcept = default;
    explicit ByteStream(std::vector<std::uint8_t> bytes) noexcept : m_bytes(std::move(bytes)) {}

    const std::vector<std::uint8_t>& Bytes() const noexcept { return m_bytes; }
    /// Hands the bytes out; the stream is then empty and at position 0.
    std::vector<std::uint8_t> TakeBytes() noexcept;

    std::uint64_t Tell() override { return m_uPosition; }
    void Seek(std::uint64_t uPosition) override { m_uPosition = uPosition; }
    std::uint64_t Length() override { return m_bytes.size(); }

protected:
    void ReadRaw(void* data, std::size_t uBytes) override;
    void WriteRaw(const void* data, std::size_t uBytes) override;

private:
    std::vector<std::uint8_t> m_bytes;
    std::uint64_t m_uPosition = 0;
};

}  // namespace Util
