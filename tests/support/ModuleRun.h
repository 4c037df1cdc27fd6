#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "PluginBase/Component.h"
#include "tests/support/Signals.h"

namespace Test {

struct Stereo {
    std::vector<float> left;
    std::vector<float> right;
};

inline Stereo StereoNoise(std::uint64_t uSeed, std::size_t uFrames, float fLevel = 1.0f) {
    Stereo noise{Noise(uSeed, uFrames), Noise(uSeed + 1000, uFrames)};
    for (std::vector<float>* channel : {&noise.left, &noise.right}) {
        for (float& fSample : *channel)
            fSample *= fLevel;
    }
    return noise;
}

/// Runs a copy of the input through one stage of a component, in blocks of the given lengths, which add up to
/// the input's. An empty right channel is mono.
inline Stereo RunBlocks(Component& component, std::uint32_t uStage, Stereo audio,
                        const std::vector<std::uint32_t>& cuts) {
    const StageContext context{};
    component.SetStage(uStage);
    std::size_t uDone = 0;
    for (const std::uint32_t uFrames : cuts) {
        float* const right = audio.right.empty() ? nullptr : audio.right.data() + uDone;
        component.ProcessAutomated(context, uFrames, audio.left.data() + uDone, right, true);
        uDone += uFrames;
    }
    return audio;
}

inline Stereo RunWhole(Component& component, std::uint32_t uStage, const Stereo& audio) {
    return RunBlocks(component, uStage, audio, {static_cast<std::uint32_t>(audio.left.size())});
}

/// No sample of either channel differs.
inline bool Same(const Stereo& a, const Stereo& b) {
    return FirstDifference(a.left, b.left) == -1 && FirstDifference(a.right, b.right) == -1;
}

inline bool Finite(const Stereo& audio) {
    const auto finite = [](float fSample) { return std::isfinite(fSample); };
    return std::all_of(audio.left.begin(), audio.left.end(), finite) &&
           std::all_of(audio.right.begin(), audio.right.end(), finite);
}

}  // namespace Test
