#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "dsp/CombReverb.h"
#include "dsp/vector/Dispatch.h"

namespace {

std::vector<float> Noise(std::uint32_t uSeed, std::size_t uLength) {
    std::vector<float> noise(uLength);
    std::uint32_t uState = uSeed;
    for (float& value : noise) {
        uState = uState * 1664525u + 1013904223u;
        value = static_cast<float>(uState >> 8) / 8388608.0f - 1.0f;
    }
    return noise;
}

void UseLevel(benchmark::State& state, std::size_t uLevel) {
    const auto levels = DSP::AvailableProcessorLevels();
    DSP::UseProcessorLevel(levels[std::min(uLevel, levels.size() - 1)]);
    state.SetLabel(levels[std::min(uLevel, levels.size() - 1)].strName);
}

void Report(benchmark::State& state, std::size_t uFrames) {
    state.counters["ns/frame"] =
        benchmark::Counter(static_cast<double>(uFrames) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Frames, level.
void Plate(benchmark::State& state) {
    UseLevel(state, static_cast<std::size_t>(state.range(1)));
    const auto uFrames = static_cast<std::size_t>(state.range(0));
    const auto left = Noise(1, uFrames), right = Noise(2, uFrames);
    auto outLeft = left, outRight = right;
    DSP::CombReverb reverb;
    reverb.SetWet(30.0f);
    reverb.SetReflectionsDelay(20.0f);
    for (auto _ : state) {
        std::copy(left.begin(), left.end(), outLeft.begin());
        std::copy(right.begin(), right.end(), outRight.begin());
        reverb.Process(static_cast<int>(uFrames), outLeft.data(), outRight.data());
        benchmark::DoNotOptimize(outLeft.data());
        benchmark::ClobberMemory();
    }
    Report(state, uFrames);
    DSP::UseBestProcessorLevel();
}
BENCHMARK(Plate)->ArgsProduct({{64, 512, 8192}, {0}})->Args({512, 1})->Args({512, 9});

}  // namespace
