#pragma once

#include <algorithm>
#include <concepts>
#include <utility>
#include <vector>

#include "dsp/AudioProcessor.h"
#include "tests/support/ModuleRun.h"

namespace Test {

/// Runs a copy of a signal through process(frames, left, right), in place and in blocks of the given lengths,
/// over and over. An empty right channel is mono: a null pointer.
template <std::invocable<int, float*, float*> Process>
Stereo RunCut(const Process& process, Stereo audio, const std::vector<std::uint32_t>& cuts) {
    std::size_t uDone = 0;
    for (std::size_t i = 0; uDone < audio.left.size(); ++i) {
        const std::size_t uFrames = std::min<std::size_t>(cuts[i % cuts.size()], audio.left.size() - uDone);
        process(static_cast<int>(uFrames), audio.left.data() + uDone,
                audio.right.empty() ? nullptr : audio.right.data() + uDone);
        uDone += uFrames;
    }
    return audio;
}

inline Stereo RunCut(DSP::AudioProcessor& processor, Stereo audio, const std::vector<std::uint32_t>& cuts) {
    const auto process = [&](int nFrames, float* left, float* right) {
        float* const channels[] = {left, right};
        processor.Process(channels, nFrames, nullptr);
    };
    return RunCut(process, std::move(audio), cuts);
}

inline Stereo RunCut(Component& component, Stereo audio, const std::vector<std::uint32_t>& cuts) {
    const auto process = [&](int nFrames, float* left, float* right) {
        component.ProcessAutomated({}, static_cast<std::uint32_t>(nFrames), left, right, true);
    };
    return RunCut(process, std::move(audio), cuts);
}

/// 1 and then zeros, in one channel.
inline Stereo UnitImpulse(std::size_t uLength) {
    Stereo impulse{std::vector<float>(uLength), {}};
    impulse.left[0] = 1.0f;
    return impulse;
}

inline Stereo Silence(std::size_t uLength) {
    return {std::vector<float>(uLength), std::vector<float>(uLength)};
}

}  // namespace Test
