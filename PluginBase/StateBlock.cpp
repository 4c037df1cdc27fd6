#include "PluginBase/StateBlock.h"

#include <bit>

namespace StateBlock {

namespace {

constexpr ParameterGroup kGroups[] = {ParameterGroup::Float, ParameterGroup::Bool, ParameterGroup::Int,
                                      ParameterGroup::UInt};

std::uint32_t ValueSize(ParameterGroup group) {
    return group == ParameterGroup::Bool ? 1 : 4;
}

std::uint32_t ExtraBytes(const Component& component) {
    return component.GetExtraDataClass() == Component::kNoExtraData ? 0 : component.GetExtraByteCount();
}

/// Calls visit with every parameter of the component that belongs to the block, in the block's order.
template <class Visit>
void ForEachStored(const Component& component, Visit&& visit) {
    // The tables are the same through a const view; a ParameterRef can also set.
    auto& owner = const_cast<Component&>(component);
    for (const ParameterGroup group : kGroups) {
        for (std::uint32_t i = 0; i < component.Count(group); ++i) {
            const ParameterRef parameter(owner, group, i);
            if (parameter.Info().storageClass == StorageClass::StateBlock) visit(parameter);
        }
    }
}

void PutU32(std::vector<std::uint8_t>& bytes, std::uint32_t uValue) {
    for (int nShift = 0; nShift < 32; nShift += 8)
        bytes.push_back(static_cast<std::uint8_t>(uValue >> nShift));
}

std::uint32_t GetU32(std::span<const std::uint8_t> bytes, std::size_t uOffset) {
    std::uint32_t uValue = 0;
    for (std::size_t i = 0; i < 4; ++i)
        uValue |= std::uint32_t{bytes[uOffset + i]} << (8 * i);
    return uValue;
}

void PutValue(std::vector<std::uint8_t>& bytes, ParameterGroup group, double fValue) {
    switch (group) {
        case ParameterGroup::Float:
            return PutU32(bytes, std::bit_cast<std::uint32_t>(static_cast<float>(fValue)));
        case ParameterGroup::Bool:
            return bytes.push_back(fValue != 0.0 ? 1 : 0);
        case ParameterGroup::Int:
            return PutU32(bytes, static_cast<std::uint32_t>(static_cast<std::int32_t>(fValue)));
        case ParameterGroup::UInt:
            return PutU32(bytes, static_cast<std::uint32_t>(fValue));
    }
}

double GetValue(std::span<const std::uint8_t> bytes, std::size_t uOffset, ParameterGroup group) {
    switch (group) {
        case ParameterGroup::Float:
            return double{std::bit_cast<float>(GetU32(bytes, uOffset))};
        case ParameterGroup::Bool:
            return bytes[uOffset] != 0;
        case ParameterGroup::Int:
            return static_cast<std::int32_t>(GetU32(bytes, uOffset));
        case ParameterGroup::UInt:
            break;
    }
    return GetU32(bytes, uOffset);
}

}  // namespace

std::uint32_t SectionSize(const Component& component) {
    std::uint32_t uSize = 4 + ExtraBytes(component);
    ForEachStored(component, [&](const ParameterRef& parameter) { uSize += ValueSize(parameter.Group()); });
    return uSize;
}

std::uint32_t Size(const std::vector<Component*>& components) {
    std::uint32_t uSize = kHeaderSize;
    for (const Component* component : components)
        uSize += SectionSize(*component);
    return uSize;
}

std::optional<Header> ReadHeader(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kHeaderSize) return std::nullopt;
    return Header{GetU32(bytes, 0), GetU32(bytes, 4), GetU32(bytes, 8)};
}

void Capture(const std::vector<Component*>& components, Source source, std::vector<std::uint8_t>& bytes) {
    const std::uint32_t uSize = Size(components);
    bytes.clear();
    bytes.reserve(uSize);
    PutU32(bytes, kMagic);
    PutU32(bytes, kVersion);
    PutU32(bytes, uSize);
    for (const Component* component : components) {
        ForEachStored(*component, [&](const ParameterRef& parameter) {
            PutValue(bytes, parameter.Group(),
                     source == Source::Present ? parameter.Get() : parameter.Default());
        });
        const std::uint32_t uExtra = ExtraBytes(*component);
        PutU32(bytes, uExtra);
        const std::size_t uOffset = bytes.size();
        bytes.resize(uOffset + uExtra);
        if (uExtra != 0) component->WriteExtraBytes(bytes, uOffset);
    }
}

std::optional<std::vector<Section>> Decode(const std::vector<Component*>& components,
                                           std::span<const std::uint8_t> bytes) {
    const auto header = ReadHeader(bytes);
    const std::uint32_t uSize = Size(components);
    if (!header || bytes.size() != uSize || header->uMagic != kMagic || header->uVersion != kVersion ||
        header->uSize != uSize) {
        return std::nullopt;
    }
    std::vector<Section> sections;
    std::size_t uOffset = kHeaderSize;
    for (Component* component : components) {
        Section section{component, {}, 0, ExtraBytes(*component)};
        ForEachStored(*component, [&](const ParameterRef& parameter) {
            section.entries.push_back({parameter, GetValue(bytes, uOffset, parameter.Group())});
            uOffset += ValueSize(parameter.Group());
        });
        if (GetU32(bytes, uOffset) != section.uExtraBytes) return std::nullopt;
        section.uExtraOffset = uOffset + 4;
        uOffset = section.uExtraOffset + section.uExtraBytes;
        sections.push_back(std::move(section));
    }
    return sections;
}

}  // namespace StateBlock
