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

Json MetersJson(const MeterReadings& meters) {
    Json levels = Json::array();
    for (const MeterReadings::Level& level : meters.levels)
        levels.push_back({{"value", level.fValue}, {"held", level.fHeld}, {"clip", level.bClip}});
    Json bands = Json::array();
    for (const MeterReadings::Band& band : meters.dynamics) {
        bands.push_back({{"minimum_comp_gain", band.fMinimumCompGain},
                         {"minimum_gate_gain", band.fMinimumGateGain},
                         {"histogram", band.histogram}});
    }
    return {{"level", levels},
            {"spectrum",
             {{"type", meters.strSpectrumType},
              {"frequencies", meters.frequencies},
              {"magnitudes", meters.magnitudes}}},
            {"phase", {{"correlation_histogram", meters.correlations}, {"vectorscope_trace", meters.trace}}},
            {"bit", {{"left", meters.bits[0]}, {"right", meters.bits[1]}}},
            {"dynamics", bands},
            {"maximizer",
             {{"minimum_gain", meters.fMaximizerMinimumGain}, {"histogram", meters.maximizerHistogram}}},
            {"dc_offset", {{"minimum", meters.offsetMinimum}, {"maximum", meters.offsetMaximum}}}};
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
        {"output", LevelsJson(summary.output)},
        {"meters", MetersJson(summary.meters)}};
    return report.dump(2) + '\n';
}

}  // namespace App
