#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "PluginBase/ParameterRef.h"

/// The engine's state as one binary block, little-endian:
///
///     0   u32  magic
///     4   u32  version
///     8   u32  total size in bytes, these 12 included
///     12  for each component in list order: its Float (f32), Bool (one byte), Int (i32) and UInt (u32)
///         parameters that belong to the block, then a u32 count of extra bytes and the bytes
///
/// Nothing in the block names a parameter: it fits exactly one list of components, which is why the size is
/// compared.
namespace StateBlock {

inline constexpr std::uint32_t kMagic = 0x059C2B04;
inline constexpr std::uint32_t kVersion = 13;
inline constexpr std::uint32_t kHeaderSize = 12;

struct Header {
    std::uint32_t uMagic = 0;
    std::uint32_t uVersion = 0;
    std::uint32_t uSize = 0;
};

/// One value of a block, as it stands there, whatever the parameter's range.
struct Entry {
    ParameterRef parameter;
    double fValue;
};

/// What a block holds for one component.
struct Section {
    Component* component;
    std::vector<Entry> entries;
    std::size_t uExtraOffset = 0;  ///< of the extra bytes in the block
    std::uint32_t uExtraBytes = 0;
};

/// Bytes of a component's section, and of a whole block.
std::uint32_t SectionSize(const Component& component);
std::uint32_t Size(const std::vector<Component*>& components);

/// The header, or nothing if there are fewer than 12 bytes.
std::optional<Header> ReadHeader(std::span<const std::uint8_t> bytes);

/// The block of the present values, or of the defaults. Replaces what the vector held.
enum class Source { Present, Defaults };
void Capture(const std::vector<Component*>& components, Source source, std::vector<std::uint8_t>& bytes);

/// Reads a whole block without changing anything. Nothing if its length, magic, version, stored size or extra
/// lengths do not fit these components.
std::optional<std::vector<Section>> Decode(const std::vector<Component*>& components,
                                           std::span<const std::uint8_t> bytes);

}  // namespace StateBlock
