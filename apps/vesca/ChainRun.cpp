#include "apps/vesca/ChainRun.h"

#include <algorithm>

#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/ParameterSetting.h"
#include "apps/vesca/StreamRenderer.h"

namespace App {

ChainRun RunChain(const ChainAudio& input, std::uint32_t uSampleRate,
                  const std::vector<std::string>& settings, const std::vector<std::uint32_t>& blocks) {
    OfflinePlugin plugin;
    const ParameterIndex parameters(plugin.Components());
    std::vector<std::string> warnings;
    ApplySetting(parameters, "Global: Delay Compensation=on", warnings);
    for (const std::string& strSetting : settings)
        ApplySetting(parameters, strSetting, warnings);
    StreamRenderer renderer(plugin, uSampleRate, 2, blocks);
    ChainRun run;
    std::size_t uRead = 0;
    const auto source = [&](std::uint32_t uFrames, float* left, float* right) {
        const std::size_t uCount = std::min<std::size_t>(uFrames, input.left.size() - uRead);
        std::copy_n(input.left.data() + uRead, uCount, left);
        std::copy_n(input.right.data() + uRead, uCount, right);
        uRead += uCount;
        return static_cast<std::uint32_t>(uCount);
    };
    const auto sink = [&](std::uint32_t uFrames, const float* left, const float* right) {
        run.audio.left.insert(run.audio.left.end(), left, left + uFrames);
        run.audio.right.insert(run.audio.right.end(), right, right + uFrames);
    };
    renderer.Render(source, 0, sink);
    run.uSystemDelay = renderer.SystemDelay();
    return run;
}

}  // namespace App
