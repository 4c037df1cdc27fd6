#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "PluginBase/EnvelopeHandler.h"
#include "apps/vesca/ParameterSetting.h"

namespace App {

/// The automation of one parameter.
struct AutomationTrack {
    ParameterRef parameter;
    std::vector<EnvelopeSegment> segments;
};

/// Reads automation from JSON:
///
///     [{"parameter": NAME,
///       "segments": [{"start": s, "end": s, "from": v, "to": v, "curve": "linear"}]}]
///
/// Times are seconds from the first frame, at most 1e9, and become ticks of 100 ns, rounded half away from
/// zero; an end is not before its start. Curves are "jump", "linear", "square" and "inverse-square". A value
/// is a number, a boolean, or a text as on the command line. A value out of range adds a warning: the engine
/// holds the parameter at the end of its range for as long as the curve is beyond it.
///
/// Throws a UsageError for a parameter that is unknown or can't be automated, and a FileFailure that names
/// the file and the entry for everything else.
std::vector<AutomationTrack> ParseAutomation(std::string_view json, const std::string& strFile,
                                             const ParameterIndex& parameters,
                                             std::vector<std::string>& warnings);

/// Hands the segments to the engine as a host does, before streaming starts.
void InstallAutomation(const std::vector<AutomationTrack>& tracks);

}  // namespace App
