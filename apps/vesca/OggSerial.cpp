#include "apps/vesca/OggSerial.h"

#include <cstring>
#include <numeric>
#include <vector>

#include "hvBase/Util/File.h"

namespace App {

namespace {

// The page of RFC 3533: "OggS", version, flags, position (8), serial (4), number (4), checksum (4), the
// count of segments and a length for each.
constexpr std::size_t kHeaderSize = 27;
constexpr std::size_t kSerialOffset = 14;
constexpr std::size_t kChecksumOffset = 22;
constexpr std::size_t kSegmentsOffset = 26;

void PutU32(std::uint8_t* bytes, std::uint32_t uValue) {
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<std::uint8_t>(uValue >> (8 * i));
}

/// CRC-32 with the generator 0x04C11DB7, upper bit first, from 0, over a page whose checksum is 0.
std::uint32_t PageChecksum(const std::vector<std::uint8_t>& page) {
    std::uint32_t uSum = 0;
    for (const std::uint8_t uByte : page) {
        uSum ^= std::uint32_t{uByte} << 24;
        for (int i = 0; i < 8; ++i)
            uSum = (uSum << 1) ^ ((uSum & 0x80000000u) != 0 ? 0x04C11DB7u : 0u);
    }
    return uSum;
}

}  // namespace

void SetOggSerial(const std::string& strPath, std::uint32_t uSerial) {
    Util::File file;
    file.Open(strPath, Util::File::kReadWrite);
    const std::uint64_t uLength = file.Length();
    std::uint64_t uPosition = 0;
    std::vector<std::uint8_t> page;
    const auto extend = [&](std::size_t uMore) {
        if (uPosition + page.size() + uMore > uLength) return false;
        page.resize(page.size() + uMore);
        file.Read(page.data() + page.size() - uMore, uMore);
        return true;
    };
    while (uPosition < uLength) {
        page.clear();
        file.Seek(uPosition);
        if (!extend(kHeaderSize) || std::memcmp(page.data(), "OggS", 4) != 0) break;
        const std::size_t uSegments = page[kSegmentsOffset];
        if (!extend(uSegments)) break;
        const std::size_t uBody = std::accumulate(page.begin() + kHeaderSize, page.end(), std::size_t{0});
        if (!extend(uBody)) break;

        PutU32(&page[kSerialOffset], uSerial);
        PutU32(&page[kChecksumOffset], 0);
        PutU32(&page[kChecksumOffset], PageChecksum(page));
        file.Seek(uPosition);
        file.Write(page.data(), page.size());
        uPosition += page.size();
    }
    file.Close();
}

}  // namespace App
