#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <optional>

#include "apps/vesca/CommandError.h"
#include "apps/vesca/Commands.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"
#include "apps/vesca/PresetUse.h"
#include "apps/vesca/TextList.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

using Preset::PresetFile;

struct MakeOptions {
    std::string strOutput;
    std::vector<std::string> settings;
    std::string strGroups;
    std::string strComment;
    bool bReadOnly = false;
    bool bVerbose = false;
};

void ShowPreset(const std::string& strPath, const Output& output) {
    OfflinePlugin plugin;
    PresetFile preset(plugin);
    LoadPreset(preset, strPath);
    output.product << "Name: " << preset.Name() << '\n';
    for (const char* const name : Preset::kAttributes)
        if (const std::string strText = preset.Attribute(name); !strText.empty())
            output.product << name << ": " << strText << '\n';

    std::vector<std::vector<std::string>> rows = {{"GROUP", "APPLIED", "NAME", "VALUE", "UNITS"}};
    for (std::size_t iGroup = 0; iGroup < Preset::kGroups; ++iGroup) {
        const auto group = static_cast<PresetGroup>(iGroup);
        std::size_t iComponent = 0;
        for (Component* const component : plugin.Components()) {
            const Preset::Record& record = preset.Records()[iComponent++];
            for (const ParameterRef& parameter : AllParameters({component})) {
                const Preset::Entry& entry = record.Table(parameter.Group())[parameter.Index()];
                if (entry.group == group && parameter.Info().storageClass == StorageClass::StateBlock)
                    rows.push_back({PresetGroupName(group), preset.IsGroupEnabled(group) ? "yes" : "no",
                                    parameter.Name(), parameter.Text(entry.fValue),
                                    parameter.Info().strUnits});
            }
        }
    }
    output.product << AlignedTable(rows);
}

void CheckPresets(const std::vector<std::string>& paths, const Output& output) {
    OfflinePlugin plugin;
    std::size_t uRefused = 0;
    for (const std::string& strPath : paths) {
        try {
            PresetFile preset(plugin);
            LoadPreset(preset, strPath);
            output.product << strPath << ": ok\n";
        } catch (const FileFailure& failure) {
            output.product << failure.what() << '\n';
            ++uRefused;
        }
    }
    if (uRefused != 0)
        throw FileFailure(Util::Format("%1 of %2 presets can't be used", uRefused, paths.size()));
}

/// Puts the groups of a list in the preset, and leaves all others out.
void ChooseGroups(PresetFile& preset, const std::string& strGroups) {
    for (std::size_t i = 0; i < Preset::kGroups; ++i)
        preset.EnableGroup(static_cast<PresetGroup>(i), false);
    for (const std::string& strName : SplitList(strGroups)) {
        std::string strKnown;
        bool bFound = false;
        for (std::size_t i = 0; i < Preset::kGroups; ++i) {
            const auto group = static_cast<PresetGroup>(i);
            strKnown += Util::Format("%1%2", i == 0 ? "" : ", ", PresetGroupName(group));
            if (strName != PresetGroupName(group)) continue;
            preset.EnableGroup(group, true);
            bFound = true;
        }
        if (!bFound) throw UsageError(Util::Format("--groups: \"%1\" is none of %2", strName, strKnown));
    }
}

/// A setting that the preset would not carry is a mistake in the command.
void RequireCarried(const PresetFile& preset, const ParameterIndex& parameters,
                    const std::string& strSetting) {
    const ParameterInfo& info =
        parameters.Require(strSetting.substr(0, strSetting.find('=')), "--set").Info();
    if (info.presetGroup == PresetGroup::None || info.storageClass != StorageClass::StateBlock)
        throw UsageError(Util::Format("--set \"%1\": presets do not hold this parameter", strSetting));
    if (!preset.IsGroupEnabled(info.presetGroup))
        throw UsageError(Util::Format("--set \"%1\": belongs to %2, which --groups leaves out", strSetting,
                                      PresetGroupName(info.presetGroup)));
}

void MakePreset(const MakeOptions& options, const Output& output) {
    OfflinePlugin plugin;
    plugin.Settings().SetNumber("VerbosePreset", options.bVerbose);
    const ParameterIndex parameters(plugin.Components());
    std::vector<std::string> warnings;
    for (const std::string& strSetting : options.settings)
        ApplySetting(parameters, strSetting, warnings);

    PresetFile preset(plugin);
    if (!options.strGroups.empty()) ChooseGroups(preset, options.strGroups);
    for (const std::string& strSetting : options.settings)
        RequireCarried(preset, parameters, strSetting);
    preset.SetAttribute("Comments", options.strComment);
    if (options.bReadOnly) preset.SetAttribute("ReadOnly", "1");
    for (const std::string& strWarning : warnings)
        output.messages << "vesca: warning: " << strWarning << '\n';
    WritePreset(preset, options.strOutput);
}

void AddMakeCommand(CLI::App& command, Action& action) {
    CLI::App* const make =
        command.add_subcommand("make", "Write a preset of the defaults and the given settings, undated.");
    const auto options = std::make_shared<MakeOptions>();
    make->add_option("OUTPUT", options->strOutput, "The preset to write, NAME.xml")->required();
    make->add_option("-s,--set", options->settings, "Set a parameter, as for render; may repeat, in order")
        ->option_text("\"NAME=VALUE\"")
        ->allow_extra_args(false);
    make->add_option("--groups", options->strGroups,
                     "What the preset changes when it is applied: a comma list of Global, Meters, CrossOver, "
                     "EQ, Reverb, Maximizer, Exciter, Dynamics, Imager and Dither (default: all)")
        ->option_text("A[,B...]");
    make->add_option("--comment", options->strComment, "What the preset is for")->option_text("TEXT");
    make->add_flag("--read-only", options->bReadOnly, "Mark the preset as one that is not to be changed");
    make->add_flag("--verbose", options->bVerbose, "Write names, units and ranges too");
    make->callback(
        [&action, options] { action = [options](const Output& output) { MakePreset(*options, output); }; });
}

}  // namespace

void AddPresetCommand(CLI::App& root, Action& action) {
    CLI::App* const command = root.add_subcommand("preset", "Look into preset files, and make them.");
    command->require_subcommand(1);
    CLI::App* const show = command->add_subcommand("show", "Print a preset as a table of names and values.");
    const auto strPath = std::make_shared<std::string>();
    show->add_option("FILE", *strPath, "A preset")->required();
    show->callback(
        [&action, strPath] { action = [strPath](const Output& output) { ShowPreset(*strPath, output); }; });

    CLI::App* const check =
        command->add_subcommand("check", "Load each file, and print \"ok\" or what is wrong with it.");
    const auto paths = std::make_shared<std::vector<std::string>>();
    check->add_option("FILE", *paths, "Presets")->required();
    check->callback(
        [&action, paths] { action = [paths](const Output& output) { CheckPresets(*paths, output); }; });
    AddMakeCommand(*command, action);
}

}  // namespace App
