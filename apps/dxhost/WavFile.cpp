#include "apps/dxhost/WavFile.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/File.h"
#include "hvBase/Util/Text.h"

namespace DxHost {

namespace {

constexpr std::uint32_t kExtensible = 0xFFFE;
constexpr std::size_t kRiffHeader = 12;
constexpr std::size_t kChunkHeader = 8;
constexpr std::size_t kPlainFormat = 16;
/// In the extensible form the first two bytes of an identifier at this place are the plain tag.
constexpr std::size_t kSubformat = 24;

using Bytes = std::span<const std::uint8_t>;

std::uint32_t Number(Bytes bytes, std::size_t uOffset, std::size_t uLength) {
    std::uint32_t uValue = 0;
    for (std::size_t i = uLength; i-- > 0;)
        uValue = uValue << 8 | bytes[uOffset + i];
    return uValue;
}

bool IsTag(Bytes bytes, std::size_t uOffset, std::string_view tag) {
    return std::equal(tag.begin(), tag.end(), bytes.begin() + static_cast<std::ptrdiff_t>(uOffset),
                      [](char c, std::uint8_t u) { return static_cast<std::uint8_t>(c) == u; });
}

[[noreturn]] void Refuse(const std::string& strPath, const char* reason) {
    throw ::Exception::Base(Util::Format("can't read %1: %2", strPath, reason));
}

AudioFormat ReadFormat(Bytes chunk, const std::string& strPath) {
    if (chunk.size() < kPlainFormat) Refuse(strPath, "the format chunk is too short");
    std::uint32_t uTag = Number(chunk, 0, 2);
    if (uTag == kExtensible && chunk.size() >= kSubformat + 2) uTag = Number(chunk, kSubformat, 2);
    const AudioFormat format{uTag == 3, Number(chunk, 14, 2), Number(chunk, 2, 2), Number(chunk, 4, 4)};
    const bool bInteger =
        uTag == 1 && (format.uBits == 8 || format.uBits == 16 || format.uBits == 24 || format.uBits == 32);
    const bool bFloat = uTag == 3 && (format.uBits == 32 || format.uBits == 64);
    if (!bInteger && !bFloat) Refuse(strPath, "its samples are of an unknown kind");
    if (format.uChannels < 1 || format.uChannels > 2) Refuse(strPath, "only one and two channels are read");
    if (format.uSampleRate == 0 || Number(chunk, 12, 2) != format.FrameBytes())
        Refuse(strPath, "the format chunk contradicts itself");
    return format;
}

void Append(std::vector<std::uint8_t>& bytes, std::string_view tag) {
    bytes.insert(bytes.end(), tag.begin(), tag.end());
}

void Append(std::vector<std::uint8_t>& bytes, std::uint32_t uValue, int nLength) {
    for (int i = 0; i < nLength; ++i)
        bytes.push_back(static_cast<std::uint8_t>(uValue >> (8 * i)));
}

}  // namespace

std::vector<std::uint8_t> ReadBytes(const std::string& strPath) {
    Util::File file;
    file.Open(strPath, Util::File::kRead);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(file.Length()));
    if (!bytes.empty()) file.Read(bytes.data(), bytes.size());
    return bytes;
}

Sound ReadWav(const std::string& strPath) {
    const std::vector<std::uint8_t> file = ReadBytes(strPath);
    const Bytes all(file);
    if (all.size() < kRiffHeader || !IsTag(all, 0, "RIFF") || !IsTag(all, 8, "WAVE"))
        Refuse(strPath, "it is no WAV file");
    Sound sound;
    bool bFormat = false;
    for (std::size_t uAt = kRiffHeader; uAt + kChunkHeader <= all.size();) {
        const std::size_t uBody = uAt + kChunkHeader;
        const std::size_t uStated = Number(all, uAt + 4, 4);
        const Bytes chunk = all.subspan(uBody, std::min(uStated, all.size() - uBody));
        if (IsTag(all, uAt, "fmt ")) {
            sound.format = ReadFormat(chunk, strPath);
            bFormat = true;
        } else if (IsTag(all, uAt, "data")) {
            if (!bFormat) Refuse(strPath, "the samples come before their format");
            const std::size_t uWhole = chunk.size() - chunk.size() % sound.format.FrameBytes();
            sound.bytes.assign(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(uWhole));
            return sound;
        }
        // Chunks start at even places.
        uAt = uBody + chunk.size() + (chunk.size() & 1);
    }
    Refuse(strPath, "it has no samples");
}

void WriteWav(const std::string& strPath, const Sound& sound) {
    const WAVEFORMATEX wave = sound.format.WaveFormat();
    const std::size_t uPadding = sound.bytes.size() & 1;
    // "WAVE", the format chunk with an empty extension, and the header of the samples.
    constexpr std::size_t kBefore = 4 + kChunkHeader + 18 + kChunkHeader;
    if (sound.bytes.size() > 0xFFFFFFFFu - kBefore - 1)
        throw ::Exception::Base(Util::Format("can't write %1: 4 GB do not fit in a WAV file", strPath));
    std::vector<std::uint8_t> bytes;
    bytes.reserve(sound.bytes.size() + kRiffHeader + kBefore);
    Append(bytes, "RIFF");
    Append(bytes, static_cast<std::uint32_t>(kBefore + sound.bytes.size() + uPadding), 4);
    Append(bytes, "WAVEfmt ");
    Append(bytes, 18, 4);
    Append(bytes, wave.wFormatTag, 2);
    Append(bytes, wave.nChannels, 2);
    Append(bytes, static_cast<std::uint32_t>(wave.nSamplesPerSec), 4);
    Append(bytes, static_cast<std::uint32_t>(wave.nAvgBytesPerSec), 4);
    Append(bytes, wave.nBlockAlign, 2);
    Append(bytes, wave.wBitsPerSample, 2);
    Append(bytes, 0, 2);
    Append(bytes, "data");
    Append(bytes, static_cast<std::uint32_t>(sound.bytes.size()), 4);
    bytes.insert(bytes.end(), sound.bytes.begin(), sound.bytes.end());
    if (uPadding != 0) bytes.push_back(0);
    Util::WriteFileAtomically(strPath, bytes);
}

}  // namespace DxHost
