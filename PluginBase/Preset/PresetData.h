#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "PluginBase/Parameter.h"

namespace Preset {

inline constexpr std::uint32_t kVersion = 13;          ///< of the file format
inline constexpr std::uint32_t kPluginVersion = 3090;  ///< written for other readers; not looked at
inline constexpr std::size_t kGroups = 10;             ///< as many as PresetGroup names

/// The tables of a component, in the order in which values are captured and applied.
inline constexpr ParameterGroup kTables[] = {ParameterGroup::Float, ParameterGroup::Bool, ParameterGroup::Int,
                                             ParameterGroup::UInt};

/// The attributes of a preset file's root that a preset keeps by name, in the order of the file.
inline constexpr const char* kAttributes[] = {"ReadOnly", "Comments", "LastUsed", "LastModified"};

/// A parameter's value as the tables' common type, and the group that decides whether it is applied.
struct Entry {
    double fValue;
    PresetGroup group;
};

/// What a preset holds for one component: its four tables, indexed by ParameterGroup, and bytes beyond them.
struct Record {
    std::array<std::vector<Entry>, 4> tables;
    std::vector<std::uint8_t> extra;
    PresetGroup extraGroup = PresetGroup::None;

    std::vector<Entry>& Table(ParameterGroup group) { return tables[static_cast<std::size_t>(group)]; }
    const std::vector<Entry>& Table(ParameterGroup group) const {
        return tables[static_cast<std::size_t>(group)];
    }
};

/// A whole preset, apart from its name and place.
struct Content {
    std::string strSignature;  ///< opaque; carried from file to file
    std::map<std::string, std::string> attributes;
    std::array<bool, kGroups> groups{};  ///< which groups are in the preset and will be applied
    std::vector<Record> records;         ///< one for each component, in list order

    bool HasGroup(PresetGroup group) const {
        const auto uGroup = static_cast<std::size_t>(group);
        return uGroup < kGroups && groups[uGroup];
    }
};

}  // namespace Preset
