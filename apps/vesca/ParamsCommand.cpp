#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <memory>
#include <nlohmann/json.hpp>

#include "apps/vesca/Commands.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"
#include "apps/vesca/TextList.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

using Json = nlohmann::ordered_json;

/// All labels of a parameter, as its table holds them.
std::vector<std::string> Labels(const ParameterRef& parameter) {
    if (parameter.Group() == ParameterGroup::Bool)
        return parameter.Owner().BoolInfo(parameter.Index()).labels;
    return parameter.EnumerationLabels();
}

/// A value in the kind of its group. A Float becomes the double that its shortest text reads as: 1.2, not
/// 1.2000000476837158.
Json ValueJson(const ParameterRef& parameter, double fValue) {
    switch (parameter.Group()) {
        case ParameterGroup::Float: {
            const std::string strText = parameter.Text(fValue);
            std::from_chars(strText.data(), strText.data() + strText.size(), fValue);
            return fValue;
        }
        case ParameterGroup::Bool:
            return fValue != 0.0;
        default:
            return static_cast<std::int64_t>(fValue);
    }
}

std::string ParametersJson(const std::vector<Component*>& components) {
    Json list = Json::array();
    for (const ParameterRef& parameter : AllParameters(components)) {
        const auto owner = std::find(components.begin(), components.end(), &parameter.Owner());
        const ParameterInfo& info = parameter.Info();
        list.push_back({{"component", parameter.Owner().Name()},
                        {"component_id", owner - components.begin()},
                        {"table", ParameterGroupName(parameter.Group())},
                        {"id", parameter.Index()},
                        {"name", info.strName},
                        {"units", info.strUnits},
                        {"min", ValueJson(parameter, parameter.Min())},
                        {"max", ValueJson(parameter, parameter.Max())},
                        {"default", ValueJson(parameter, parameter.Default())},
                        {"labels", Labels(parameter)},
                        {"automatable", info.bAutomatable},
                        {"storage_class", static_cast<std::uint32_t>(info.storageClass)},
                        {"preset_group", static_cast<std::uint32_t>(info.presetGroup)}});
    }
    return list.dump(2) + '\n';
}

/// What may stand behind the "=" of a setting.
std::string ValuesText(const ParameterRef& parameter) {
    if (parameter.Group() == ParameterGroup::Bool) return "off, on";
    std::string strValues;
    for (const std::string& strLabel : parameter.EnumerationLabels())
        strValues += Util::Format("%1%2", strValues.empty() ? "" : ", ", strLabel);
    return strValues.empty() ? RangeText(parameter) : strValues;
}

std::string ParametersTable(const std::vector<Component*>& components) {
    std::vector<std::vector<std::string>> rows = {
        {"COMPONENT", "TABLE", "ID", "NAME", "DEFAULT", "AUTOMATABLE", "PRESET GROUP", "VALUES"}};
    for (const ParameterRef& parameter : AllParameters(components)) {
        const ParameterInfo& info = parameter.Info();
        rows.push_back({parameter.Owner().Name(), ParameterGroupName(parameter.Group()),
                        std::to_string(parameter.Index()), info.strName, parameter.Text(parameter.Default()),
                        info.bAutomatable ? "yes" : "no",
                        info.presetGroup == PresetGroup::None ? "-" : PresetGroupName(info.presetGroup),
                        ValuesText(parameter)});
    }
    return AlignedTable(rows);
}

}  // namespace

void AddParamsCommand(CLI::App& root, Action& action) {
    CLI::App* const command =
        root.add_subcommand("params", "List every parameter of every component, in the engine's order.");
    const auto bJson = std::make_shared<bool>(false);
    command->add_flag("--json", *bJson, "Write JSON instead of a table");
    command->callback([&action, bJson] {
        action = [bJson](const Output& output) {
            const OfflinePlugin plugin;
            const auto& components = plugin.Components();
            output.product << (*bJson ? ParametersJson(components) : ParametersTable(components));
        };
    });
}

}  // namespace App
