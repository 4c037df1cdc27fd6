#pragma once

#include <string>

#include "PluginBase/Preset/PresetFile.h"

namespace App {

// A preset as the command line reads and writes it. Each throws a FileFailure that says which file, where in
// it and why.

/// Reads a file without touching it. The preset is as it was if that fails.
void LoadPreset(Preset::PresetFile& preset, const std::string& strPath);

/// Replaces a file in one step.
void WritePreset(Preset::PresetFile& preset, const std::string& strPath);

/// Brings a plug-in to a preset's sound.
void ApplyPreset(Plugin& plugin, const std::string& strPath);

/// Keeps what a plug-in has now, stamped with the present date.
void SavePreset(Plugin& plugin, const std::string& strPath);

}  // namespace App
