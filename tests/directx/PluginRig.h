#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "apps/dxhost/GraphDriver.h"
#include "apps/dxhost/PluginModule.h"
#include "apps/dxhost/PluginState.h"
#include "apps/dxhost/PrivateSettings.h"
#include "dsp/vector/HostFormat.h"
#include "tests/directx/HostRig.h"
#include "tests/support/TestPlugin.h"

namespace Test {

using Settings = std::vector<std::pair<std::string, double>>;

/// A process's surroundings for plug-ins from the built file: the object model, settings of its own, the
/// file.
struct PluginRig {
    explicit PluginRig(bool bCompensation = true) { settings.SetDelayCompensation(bCompensation); }

    const DxHost::Apartment apartment;
    DxHost::PrivateSettings settings;
    const DxHost::PluginModule module{VESCA_DX_FILE};
};

/// A state block made by an engine without any host around it.
inline std::vector<std::uint8_t> EngineState(const Settings& values) {
    TestPlugin plugin;
    for (const auto& [strName, fValue] : values)
        plugin.Set(strName, fValue);
    std::vector<std::uint8_t> bytes;
    plugin.CaptureState(bytes);
    return bytes;
}

/// What the host has to receive: a state's engine without any host around it, fed with the same sound in the
/// same blocks, and the tail where the delay is compensated.
inline std::vector<std::uint8_t> EngineRun(const std::vector<std::uint8_t>& state,
                                           const DxHost::SourcePlan& plan, bool bCompensation,
                                           std::uint32_t uOutputChannels = 0) {
    const DxHost::AudioFormat& format = plan.sound.format;
    const auto nIn = static_cast<std::int32_t>(format.uChannels);
    const auto nOut = uOutputChannels == 0 ? nIn : static_cast<std::int32_t>(uOutputChannels);
    DSP::HostSample sample{};
    DSP::FindHostSample(format.bFloat, static_cast<std::int32_t>(format.uBits / 8), &sample);
    const auto conversion = DSP::ChooseConversion(sample, nIn, nOut);

    TestPlugin plugin;
    plugin.Set("Global: Delay Compensation", bCompensation);
    plugin.ApplyState(state, Plugin::ApplyMode::Silent);
    plugin.GetTransform().SetChannels(format.uChannels, static_cast<std::uint32_t>(nOut));
    plugin.FinishBackgroundWork();
    plugin.BeginStreaming(format.uSampleRate);

    const auto uFrames = static_cast<std::size_t>(plan.sound.Frames());
    TestPlugin::Audio input{std::vector<float>(uFrames), std::vector<float>(uFrames)};
    conversion.deinterleave(static_cast<std::int32_t>(uFrames), plan.sound.bytes.data(), input.left.data(),
                            input.right.data());
    if (nIn == 1) input.right.clear();
    std::vector<std::uint32_t> blocks;
    for (std::size_t uDone = 0, i = 0; uDone < uFrames; ++i) {
        blocks.push_back(plan.blocks[i % plan.blocks.size()]);
        uDone += blocks.back();
    }
    TestPlugin::Audio output = plugin.Render(input, blocks);
    if (bCompensation) {
        std::vector<float> left;
        std::vector<float> right;
        const std::uint32_t uTail = plugin.GetTransform().Flush(left, nIn == 2 ? &right : nullptr);
        output.left.insert(output.left.end(), left.begin(), left.begin() + uTail);
        if (nIn == 2) output.right.insert(output.right.end(), right.begin(), right.begin() + uTail);
    }
    std::vector<std::uint8_t> bytes(output.left.size() * format.uBits / 8 * static_cast<std::size_t>(nOut));
    conversion.interleave(static_cast<std::int32_t>(output.left.size()), output.left.data(),
                          output.right.empty() ? nullptr : output.right.data(), bytes.data());
    return bytes;
}

/// The first byte at which two buffers differ, -1 if none does.
inline std::ptrdiff_t FirstDifference(const std::vector<std::uint8_t>& a,
                                      const std::vector<std::uint8_t>& b) {
    const auto at = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    return at.first == a.end() && at.second == b.end() ? -1 : at.first - a.begin();
}

}  // namespace Test
