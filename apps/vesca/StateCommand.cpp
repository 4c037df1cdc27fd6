#include <CLI/CLI.hpp>
#include <memory>

#include "PluginBase/StateBlock.h"
#include "apps/vesca/Commands.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/StateFile.h"
#include "apps/vesca/TextList.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

void ShowState(const std::string& strPath, const Output& output) {
    const OfflinePlugin plugin;
    const auto bytes = ReadStateFile(strPath, plugin.Components());
    const auto header = *StateBlock::ReadHeader(bytes);
    const auto sections = *StateBlock::Decode(plugin.Components(), bytes);

    std::vector<std::vector<std::string>> rows = {{"COMPONENT", "NAME", "VALUE", "UNITS"}};
    for (const StateBlock::Section& section : sections) {
        for (const auto& [parameter, fValue] : section.entries)
            rows.push_back({section.component->Name(), parameter.Name(), parameter.Text(fValue),
                            parameter.Info().strUnits});
        if (section.uExtraBytes != 0)
            rows.push_back(
                {section.component->Name(), "(extra)", std::to_string(section.uExtraBytes), "bytes"});
    }
    output.product << Util::Format("magic 0x%1, version %2, %3 bytes\n", Util::Hex(header.uMagic),
                                   header.uVersion, header.uSize)
                   << AlignedTable(rows);
}

}  // namespace

void AddStateCommand(CLI::App& root, Action& action) {
    CLI::App* const command = root.add_subcommand("state", "Look into the engine's state blocks.");
    command->require_subcommand(1);
    CLI::App* const show =
        command->add_subcommand("show", "Print a state block's header and every value by its name.");
    const auto strPath = std::make_shared<std::string>();
    show->add_option("FILE", *strPath, "A state block, as --save-state writes it")->required();
    show->callback(
        [&action, strPath] { action = [strPath](const Output& output) { ShowState(*strPath, output); }; });
}

}  // namespace App
