#include "PluginBase/ParameterRef.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace {

template <class Integer>
Integer Truncated(double fValue) {
    return static_cast<Integer>(std::clamp(fValue, double(std::numeric_limits<Integer>::min()),
                                           double(std::numeric_limits<Integer>::max())));
}

const std::vector<std::string> kNoLabels;

constexpr double kFloatMax = std::numeric_limits<float>::max();

}  // namespace

double ParameterRef::Min() const {
    switch (m_group) {
        case ParameterGroup::Float:
            return double{m_component->FloatInfo(m_uIndex).fMin};
        case ParameterGroup::Bool:
            return 0.0;
        case ParameterGroup::Int:
            return m_component->IntInfo(m_uIndex).nMin;
        case ParameterGroup::UInt:
            break;
    }
    return m_component->UIntInfo(m_uIndex).uMin;
}

double ParameterRef::Max() const {
    switch (m_group) {
        case ParameterGroup::Float:
            return double{m_component->FloatInfo(m_uIndex).fMax};
        case ParameterGroup::Bool:
            return 1.0;
        case ParameterGroup::Int:
            return m_component->IntInfo(m_uIndex).nMax;
        case ParameterGroup::UInt:
            break;
    }
    return m_component->UIntInfo(m_uIndex).uMax;
}

double ParameterRef::Default() const {
    switch (m_group) {
        case ParameterGroup::Float:
            return double{m_component->FloatInfo(m_uIndex).fDefault};
        case ParameterGroup::Bool:
            return m_component->BoolInfo(m_uIndex).bDefault;
        case ParameterGroup::Int:
            return m_component->IntInfo(m_uIndex).nDefault;
        case ParameterGroup::UInt:
            break;
    }
    return m_component->UIntInfo(m_uIndex).uDefault;
}

double ParameterRef::Get() const {
    switch (m_group) {
        case ParameterGroup::Float:
            return double{m_component->GetFloat(m_uIndex)};
        case ParameterGroup::Bool:
            return m_component->GetBool(m_uIndex);
        case ParameterGroup::Int:
            return m_component->GetInt(m_uIndex);
        case ParameterGroup::UInt:
            break;
    }
    return m_component->GetUInt(m_uIndex);
}

void ParameterRef::Set(double fValue) const {
    if (std::isnan(fValue)) return;
    switch (m_group) {
        case ParameterGroup::Float:
            return m_component->SetFloat(m_uIndex,
                                         static_cast<float>(std::clamp(fValue, -kFloatMax, kFloatMax)));
        case ParameterGroup::Bool:
            return m_component->SetBool(m_uIndex, fValue >= 0.5);
        case ParameterGroup::Int:
            return m_component->SetInt(m_uIndex, Truncated<std::int32_t>(fValue));
        case ParameterGroup::UInt:
            return m_component->SetUInt(m_uIndex, Truncated<std::uint32_t>(fValue));
    }
}

const std::vector<std::string>& ParameterRef::EnumerationLabels() const {
    if (m_group != ParameterGroup::Int) return kNoLabels;
    const IntRecord& record = m_component->IntInfo(m_uIndex);
    return record.IsEnumeration() ? record.labels : kNoLabels;
}

std::string ParameterRef::Text(double fValue) const {
    if (m_group == ParameterGroup::Bool) return fValue >= 0.5 ? "on" : "off";
    const auto& labels = EnumerationLabels();
    const double fLabel = fValue - Min();
    if (fLabel >= 0 && fLabel < static_cast<double>(labels.size())) {
        return labels[static_cast<std::size_t>(fLabel)];
    }
    char digits[64];
    const auto written =
        m_group == ParameterGroup::Float
            ? std::to_chars(std::begin(digits), std::end(digits), static_cast<float>(fValue))
            : std::to_chars(std::begin(digits), std::end(digits), static_cast<std::int64_t>(fValue));
    return std::string(std::begin(digits), written.ptr);
}

const char* ParameterGroupName(ParameterGroup group) {
    constexpr const char* kNames[] = {"Float", "Bool", "Int", "UInt"};
    return kNames[static_cast<std::size_t>(group)];
}

const char* PresetGroupName(PresetGroup group) {
    constexpr const char* kNames[] = {"Global",  "Meters",   "CrossOver", "EQ",     "Reverb", "Maximizer",
                                      "Exciter", "Dynamics", "Imager",    "Dither", "Unknown"};
    return kNames[std::min(static_cast<std::size_t>(group), std::size_t{10})];
}

std::vector<ParameterRef> AllParameters(const std::vector<Component*>& components) {
    std::vector<ParameterRef> all;
    for (Component* component : components) {
        for (const auto group :
             {ParameterGroup::Float, ParameterGroup::Bool, ParameterGroup::Int, ParameterGroup::UInt}) {
            for (std::uint32_t i = 0; i < component->Count(group); ++i)
                all.emplace_back(*component, group, i);
        }
    }
    return all;
}
