#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "apps/vesca/Matching.h"
#include "apps/vesca/Report.h"
#include "apps/vesca/SampleFormat.h"

namespace App {

/// The sound and the form that a render is to have, as the command line gives them.
struct RenderSettings {
    std::string strState;
    std::string strPreset;
    MatchOptions match;
    std::vector<std::string> settings;
    std::string strOrder;
    std::string strAutomation;
    std::string strBlocks = "512";
    std::string strFormat;
    bool bNoCompensation = false;
    double fTailSeconds = 0.0;
    std::string strSaveState;
    std::string strSavePreset;
};

/// A render of one file, once its settings are known to have a meaning.
class RenderJob {
public:
    /// Throws a UsageError for a setting without a meaning. What only an input can tell comes with Run.
    explicit RenderJob(RenderSettings settings);

    /// Throws the UsageError, or the failure of a state, preset or automation file, that Run would throw for
    /// any input.
    void Check() const;

    struct Observers {
        std::function<void(const std::string&)> warn;
        std::ostream* progress = nullptr;  ///< where a bar is drawn; null for none
        bool bMeasure = false;             ///< levels and meters are wanted
    };

    /// Runs a file through a chain of its own into another, which appears when it is complete. Without
    /// bMeasure the summary has only counts and times. Throws FileFailure, UsageError, Interrupted, and what
    /// files throw. May run on several threads at once, for different outputs.
    RenderSummary Run(const std::string& strInput, const std::string& strOutput,
                      const Observers& observers) const;

private:
    void Configure(OfflinePlugin& plugin, const std::string& strInput,
                   std::vector<std::string>& warnings) const;
    void SaveSettings(OfflinePlugin& plugin) const;

    RenderSettings m_settings;
    std::vector<std::uint32_t> m_blocks;
    std::optional<SampleFormat> m_format;
};

}  // namespace App
