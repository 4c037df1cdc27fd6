#include "apps/vesca/Report.h"

#include <nlohmann/json.hpp>

namespace App {

namespace {

using Json = nlohmann::ordered_json;

Json NumberOrNull(const std::optional<double>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json LevelsJson(const Levels& levels) {
    return {{"peak_db", NumberOrNull(levels.peakDb)},
            {"true_peak_db", NumberOrNull(levels.truePeakDb)},
            {"rms_db", NumberOrNull(levels.rmsDb)},
            {"integrated_lufs", NumberOrNull(levels.integratedLufs)},
            {"loudness_range_lu", NumberOrNull(levels.loudnessRangeLu)},
            {"dc_offset", levels.dcOffset}};
}

}  // namespace

std::string ReportText(const RenderSummary& summary) {
    const double fAudioSeconds = static_cast<double>(summary.uFramesOut) / summary.uSampleRate;
    const Json report = {
        {"sample_rate", summary.uSampleRate},
        {"channels", summary.uChannels},
        {"frames_in", summary.uFramesIn},
        {"frames_out", summary.uFramesOut},
        {"block", summary.blocks.size() == 1 ? Json(summary.blocks.front()) : Json(summary.blocks)},
        {"system_delay", summary.uSystemDelay},
        {"elapsed_seconds", summary.fElapsedSeconds},
        {"realtime_factor", summary.fElapsedSeconds > 0.0 ? fAudioSeconds / summary.fElapsedSeconds : 0.0},
        {"input", LevelsJson(summary.input)},
        {"output", LevelsJson(summary.output)}};
    return report.dump(2) + '\n';
}

}  // namespace App
