#include "PluginBase/DirectX/StreamFormat.h"

#include <cstddef>

namespace {

// Offsets into the block.
constexpr std::size_t kTag = 0;
constexpr std::size_t kChannels = 2;
constexpr std::size_t kRate = 4;
constexpr std::size_t kAlign = 12;
constexpr std::size_t kBits = 14;
constexpr std::size_t kSize = 16;

constexpr std::uint32_t kTagPcm = 1;
constexpr std::uint32_t kTagFloat = 3;

std::uint32_t Word(std::span<const std::uint8_t> bytes, std::size_t uOffset) {
    return std::uint32_t{bytes[uOffset]} | std::uint32_t{bytes[uOffset + 1]} << 8;
}

bool IsTaken(std::uint32_t uTag, std::uint32_t uBits) {
    if (uTag == kTagPcm) return uBits == 8 || uBits == 16 || uBits == 24 || uBits == 32;
    return uTag == kTagFloat && (uBits == 32 || uBits == 64);
}

}  // namespace

std::optional<StreamFormat> StreamFormat::Read(std::span<const std::uint8_t> waveFormat) {
    if (waveFormat.size() < kSize) return std::nullopt;
    const std::uint32_t uTag = Word(waveFormat, kTag);
    StreamFormat format;
    format.bFloat = uTag == kTagFloat;
    format.uChannels = Word(waveFormat, kChannels);
    format.uSampleRate = Word(waveFormat, kRate) | Word(waveFormat, kRate + 2) << 16;
    format.uBlockAlign = Word(waveFormat, kAlign);
    format.uBits = Word(waveFormat, kBits);
    if (format.uChannels < 1 || format.uChannels > 2 || format.uSampleRate == 0) return std::nullopt;
    if (!IsTaken(uTag, format.uBits)) return std::nullopt;
    return format;
}
