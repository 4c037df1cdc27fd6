#include "apps/vesca/ParameterSetting.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>

#include "apps/vesca/CommandError.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::size_t kSuggestions = 3;
/// A shorter text is contained in too many names to say anything.
constexpr std::size_t kShortestContained = 3;

std::string LowerCase(std::string_view text) {
    std::string strLower(text);
    // Names are plain ASCII; the C library's notion of letters depends on the user's locale.
    for (char& c : strLower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return strLower;
}

/// Letters to insert, delete or replace (Levenshtein), one row of the table at a time.
std::size_t EditDistance(const std::string& strA, const std::string& strB) {
    std::vector<std::size_t> row(strB.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= strA.size(); ++i) {
        std::size_t uDiagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= strB.size(); ++j) {
            const std::size_t uReplace = uDiagonal + (strA[i - 1] == strB[j - 1] ? 0 : 1);
            uDiagonal = row[j];
            row[j] = std::min({uReplace, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

std::optional<double> ParseNumber(std::string_view text) {
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
    double fValue = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), fValue);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(fValue))
        return std::nullopt;
    return fValue;
}

}  // namespace

std::optional<ParameterRef> ParameterIndex::Find(std::string_view name) const {
    for (const ParameterRef& parameter : m_parameters)
        if (parameter.Name() == name) return parameter;
    return std::nullopt;
}

ParameterRef ParameterIndex::Require(std::string_view name, const std::string& strOption) const {
    if (const auto parameter = Find(name)) return *parameter;
    std::string strMessage = Util::Format("%1: there is no parameter \"%2\"", strOption, name);
    const auto near = Near(name);
    for (std::size_t i = 0; i < near.size(); ++i)
        strMessage += Util::Format(i == 0 ? "; did you mean \"%1\"" : ", \"%1\"", near[i]);
    throw UsageError(strMessage + (near.empty() ? "; \"vesca params\" lists them all" : "?"));
}

std::vector<std::string> ParameterIndex::Near(std::string_view name) const {
    const std::string strWanted = LowerCase(name);
    const std::size_t uFar = std::max<std::size_t>(2, strWanted.size() / 3);
    struct Candidate {
        std::size_t uDistance;
        std::string strName;
    };
    std::vector<Candidate> candidates;
    for (const ParameterRef& parameter : m_parameters) {
        const std::string strName = LowerCase(parameter.Name());
        const bool bContains =
            strWanted.size() >= kShortestContained && strName.find(strWanted) != std::string::npos;
        // The distance is at least the difference in length; a file may bring a text of any length.
        if (strWanted.size() > strName.size() + uFar) continue;
        const std::size_t uDistance = EditDistance(strWanted, strName);
        if (uDistance <= uFar || bContains) candidates.push_back({uDistance, parameter.Name()});
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto& a, const auto& b) { return a.uDistance < b.uDistance; });
    std::vector<std::string> names;
    for (const Candidate& candidate : candidates)
        if (names.size() < kSuggestions) names.push_back(candidate.strName);
    return names;
}

std::optional<double> ParseValue(const ParameterRef& parameter, std::string_view text) {
    const auto& labels = parameter.EnumerationLabels();
    const auto label = std::find(labels.begin(), labels.end(), text);
    if (label != labels.end()) return parameter.Min() + static_cast<double>(label - labels.begin());
    if (parameter.Group() == ParameterGroup::Bool) {
        if (text == "on" || text == "true") return 1.0;
        if (text == "off" || text == "false") return 0.0;
    }
    const auto number = ParseNumber(text);
    const bool bWhole = number && *number == std::floor(*number);
    return bWhole || parameter.Group() == ParameterGroup::Float ? number : std::nullopt;
}

std::string RangeText(const ParameterRef& parameter) {
    const auto number = [&](double fValue) {
        // A label would hide the number that is asked for.
        if (parameter.Group() == ParameterGroup::Float) return parameter.Text(fValue);
        return std::to_string(static_cast<std::int64_t>(fValue));
    };
    const std::string& strUnits = parameter.Info().strUnits;
    return Util::Format("%1 to %2%3%4", number(parameter.Min()), number(parameter.Max()),
                        strUnits.empty() ? "" : " ", strUnits);
}

bool IsInRange(const ParameterRef& parameter, double fValue) {
    if (parameter.Group() == ParameterGroup::Float) fValue = double{static_cast<float>(fValue)};
    return fValue >= parameter.Min() && fValue <= parameter.Max();
}

void ApplyValue(const ParameterRef& parameter, const std::string& strValue, const std::string& strOption,
                std::vector<std::string>& warnings) {
    const auto value = ParseValue(parameter, strValue);
    if (!value) {
        std::string strExpected = parameter.Group() == ParameterGroup::Bool
                                      ? std::string("on, off, true, false, 0 or 1")
                                      : Util::Format("a number from %1", RangeText(parameter));
        for (const std::string& strLabel : parameter.EnumerationLabels())
            strExpected += Util::Format(", \"%1\"", strLabel);
        throw UsageError(
            Util::Format("%1: \"%2\" is not a value; expected %3", strOption, strValue, strExpected));
    }
    double fValue = *value;
    if (!IsInRange(parameter, fValue)) {
        fValue = std::clamp(fValue, parameter.Min(), parameter.Max());
        warnings.push_back(Util::Format("%1: out of range (%2), %3 is used", strOption, RangeText(parameter),
                                        parameter.Text(fValue)));
    }
    parameter.Set(fValue);
}

void ApplySetting(const ParameterIndex& parameters, const std::string& strSetting,
                  std::vector<std::string>& warnings) {
    const std::string strOption = Util::Format("--set \"%1\"", strSetting);
    const std::size_t uEquals = strSetting.find('=');
    if (uEquals == std::string::npos || uEquals == 0)
        throw UsageError(Util::Format("%1: expected NAME=VALUE", strOption));
    const ParameterRef parameter = parameters.Require(strSetting.substr(0, uEquals), strOption);
    ApplyValue(parameter, strSetting.substr(uEquals + 1), strOption, warnings);
}

}  // namespace App
