#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "PluginBase/Component.h"

/// One parameter of any group, for code that treats all groups alike: files, automation, the command line.
/// Values pass as double, which holds every value of every group exactly; a Bool is 0 or 1.
///
/// Threads: as the component's tables.
class ParameterRef {
public:
    ParameterRef(Component& component, ParameterGroup group, std::uint32_t uIndex)
        : m_component(&component), m_group(group), m_uIndex(uIndex) {}

    Component& Owner() const { return *m_component; }
    ParameterGroup Group() const { return m_group; }
    std::uint32_t Index() const { return m_uIndex; }
    ParameterInfo& Info() const { return m_component->Info(m_group, m_uIndex); }
    const std::string& Name() const { return Info().strName; }

    double Min() const;
    double Max() const;
    double Default() const;

    double Get() const;
    /// Float: rounded to single. Bool: true from 0.5 up. Int and UInt: cut towards zero and limited to what
    /// the type holds. NaN changes nothing. The setter clamps to the range.
    void Set(double fValue) const;

    /// The labels of an enumeration, in the order of the values from Min up; empty for anything else.
    const std::vector<std::string>& EnumerationLabels() const;

    /// The value as a person reads it: a label, "on" or "off", or the shortest number that reads back the
    /// same. Without units.
    std::string Text(double fValue) const;

    friend bool operator==(const ParameterRef&, const ParameterRef&) = default;

private:
    Component* m_component;
    ParameterGroup m_group;
    std::uint32_t m_uIndex;
};

/// "Float", "Bool", "Int" or "UInt".
const char* ParameterGroupName(ParameterGroup group);

/// "Global" to "Dither", "Unknown" for PresetGroup::None.
const char* PresetGroupName(PresetGroup group);

/// Every parameter of the components, in list order, each component's groups in the order Float, Bool, Int,
/// UInt.
std::vector<ParameterRef> AllParameters(const std::vector<Component*>& components);
