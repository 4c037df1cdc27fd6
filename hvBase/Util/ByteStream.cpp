#include "hvBase/Util/ByteStream.h"

#include <algorithm>
#include <utility>

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Text.h"

namespace Util {

std::vector<std::uint8_t> ByteStream::TakeBytes() noexcept {
    m_uPosition = 0;
    return std::exchange(m_bytes, {});
}

void ByteStream::ReadRaw(void* data, std::size_t uBytes) {
    // The position may lie behind the end, so the difference comes first: a sum could wrap.
    if (m_uPosition > m_bytes.size() || uBytes > m_bytes.size() - m_uPosition) {
        throw Exception::DataStreamIO(Format("Can't extract %1 bytes at position %2, total size %3", uBytes,
                                             m_uPosition, m_bytes.size()));
    }
    std::copy_n(m_bytes.data() + m_uPosition, uBytes, static_cast<std::uint8_t*>(data));
    m_uPosition += uBytes;
}

void ByteStream::WriteRaw(const void* data, std::size_t uBytes) {
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    m_bytes.insert(m_bytes.end(), bytes, bytes + uBytes);
}

}  // namespace Util
