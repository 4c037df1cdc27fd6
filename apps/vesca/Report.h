#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PluginBase/MeterReadings.h"
#include "apps/vesca/Measurement.h"

namespace App {

/// What a render has to say about itself.
struct RenderSummary {
    std::uint32_t uSampleRate = 0;  ///< Hz
    std::uint32_t uChannels = 0;
    std::uint64_t uFramesIn = 0;
    std::uint64_t uFramesOut = 0;
    std::vector<std::uint32_t> blocks;
    std::uint32_t uSystemDelay = 0;  ///< frames
    double fElapsedSeconds = 0.0;
    Levels input;
    Levels output;
    MeterReadings meters;
};

/// The report as JSON text with a line feed at its end. Its keys are fixed: scripts rely on them. "block" is
/// a number, or a list where the render used several lengths in turn.
std::string ReportText(const RenderSummary& summary);

}  // namespace App
