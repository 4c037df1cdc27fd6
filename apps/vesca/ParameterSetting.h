#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "PluginBase/ParameterRef.h"

namespace App {

/// All parameters of an engine, found by their exact names.
class ParameterIndex {
public:
    explicit ParameterIndex(const std::vector<Component*>& components)
        : m_parameters(AllParameters(components)) {}

    const std::vector<ParameterRef>& All() const { return m_parameters; }

    std::optional<ParameterRef> Find(std::string_view name) const;

    /// As Find; an unknown name throws a UsageError that begins with the option's text and suggests near
    /// names.
    ParameterRef Require(std::string_view name, const std::string& strOption) const;

    /// Up to three names that a person may have meant, nearest first: names that differ by few letters,
    /// then names that contain the text. Upper and lower case count as equal.
    std::vector<std::string> Near(std::string_view name) const;

private:
    std::vector<ParameterRef> m_parameters;
};

/// What a text means as a value of a parameter: first an enumeration's exact label; then, for a Bool, "on",
/// "off", "true" or "false"; then a finite number, which is the stored value and must be whole for anything
/// but a Float. Nothing if it means none of these. The range is not looked at.
std::optional<double> ParseValue(const ParameterRef& parameter, std::string_view text);

/// The range as a person reads it, with units: "-144 to 10 dB".
std::string RangeText(const ParameterRef& parameter);

/// Whether a value lies in the parameter's range, once it is stored: a Float is rounded to single first.
bool IsInRange(const ParameterRef& parameter, double fValue);

/// Gives a parameter the value that a text means. A value out of range is clamped, and a warning added; a
/// text without a meaning throws a UsageError. Both begin with the option's text.
void ApplyValue(const ParameterRef& parameter, const std::string& strValue, const std::string& strOption,
                std::vector<std::string>& warnings);

/// Carries out one "NAME=VALUE". With the failures of Require and ApplyValue.
void ApplySetting(const ParameterIndex& parameters, const std::string& strSetting,
                  std::vector<std::string>& warnings);

}  // namespace App
