#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"
#include "hvBase/Util/Text.h"

namespace Bench {

/// Noise between -0.5 and 0.5, the same in every run.
inline std::vector<float> Noise(std::uint32_t uSeed, std::size_t uLength) {
    std::vector<float> samples(uLength);
    for (float& fSample : samples) {
        uSeed = uSeed * 1664525u + 1013904223u;
        fSample = static_cast<float>(uSeed >> 8) / 16777216.0f - 0.5f;
    }
    return samples;
}

/// Every module at work: eight equalizer nodes, the sampled room, four bands compressed, limited, gated,
/// excited, widened, the limiter that sees ahead and between the samples, and shaped dither.
inline std::vector<std::string> FullChainSettings() {
    std::vector<std::string> settings = {
        "EQ: Bypass=off",
        "EQ: Soft Saturation=on",
        "RVB: Bypass=off",
        "RVB: Type=Room",
        "RVB: Wet Out=10",
        "DYN: Bypass=off",
        "EXC: Bypass=off",
        "EXC: Mode=Tube",
        "IMG: Bypass=off",
        "LMAX: Bypass=off",
        "LMAX: Mode=Intelligent",
        "LMAX: Threshold=-6",
        "LMAX: Margin=-1",
        "DCO: Enable=on",
        "CHOPS: Switch L/R=on",
        "LMAX: Intersample Clip Detect=on",
        "DTR: Dithering Type=DSHP+",
        "DTR: Minimize Peaks=on",
    };
    for (int i = 1; i <= 8; ++i)
        settings.push_back(Util::Format("EQ: Gain %1=%2", i, i % 2 == 0 ? 3 : -3));
    for (int b = 1; b <= 4; ++b) {
        for (const char* pattern :
             {"DYN: Band %1 Comp Threshold=-30", "DYN: Band %1 Comp Ratio=3",
              "DYN: Band %1 Lim Threshold=-14", "DYN: Band %1 Gate Threshold=-40",
              "DYN: Band %1 Gate Ratio=2", "EXC: Band %1 Amount=4", "EXC: Band %1 Mix=50",
              "IMG: Band %1 Width=0.3", "IMG: Band %1 Delay=1"}) {
            settings.push_back(Util::Format(pattern, b));
        }
    }
    return settings;
}

/// A stereo chain that settings describe, streaming, with its background work done. Throws for a setting that
/// has no meaning or is out of range.
inline std::unique_ptr<App::OfflinePlugin> StartChain(const std::vector<std::string>& settings,
                                                      std::uint32_t uSampleRate) {
    auto plugin = std::make_unique<App::OfflinePlugin>();
    const App::ParameterIndex parameters(plugin->Components());
    std::vector<std::string> warnings;
    for (const std::string& strSetting : settings)
        App::ApplySetting(parameters, strSetting, warnings);
    if (!warnings.empty()) throw std::runtime_error(warnings.front());
    plugin->GetTransform().SetChannels(2, 2);
    plugin->FinishBackgroundWork();
    plugin->BeginStreaming(uSampleRate);
    plugin->FinishBackgroundWork();
    return plugin;
}

}  // namespace Bench
