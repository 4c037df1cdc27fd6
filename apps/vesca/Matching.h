#pragma once

#include <string>
#include <vector>

#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"

namespace CLI {
class App;
}

namespace App {

/// What a render brings closer to what.
struct MatchOptions {
    std::vector<std::string> snapshots;  ///< source and target, or none
    std::string strReference;            ///< audio whose spectrum is the target; the input's is the source
    std::string strAmount;
    std::string strSmoothing;
};

void AddMatchOptions(CLI::App& command, MatchOptions& options);

/// Switches the equalizer to "Matching" between the two spectra, if the options ask for it. Throws
/// FileFailure and UsageError.
void ApplyMatch(OfflinePlugin& plugin, const ParameterIndex& parameters, const MatchOptions& options,
                const std::string& strInput, std::vector<std::string>& warnings);

}  // namespace App
