#pragma once

#include <functional>
#include <ostream>

namespace CLI {
class App;
}

namespace App {

/// Where a command writes: its product to the one, warnings and progress to the other.
struct Output {
    std::ostream& product;
    std::ostream& messages;
};

/// What the command line has chosen to do.
using Action = std::function<void(const Output&)>;

// Each enters one command with its options and help; parsing that command sets the action.
void AddRenderCommand(CLI::App& root, Action& action);
void AddParamsCommand(CLI::App& root, Action& action);
void AddPresetCommand(CLI::App& root, Action& action);
void AddStateCommand(CLI::App& root, Action& action);
void AddSelfTestCommand(CLI::App& root, Action& action);
void AddSnapshotCommand(CLI::App& root, Action& action);

}  // namespace App
