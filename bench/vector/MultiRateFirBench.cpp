#include "dsp/vector/MultiRateFir.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "dsp/vector/Dispatch.h"

// 64 taps, five outputs a sample, one channel.

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

void Report(benchmark::State& state, std::size_t uFrames) {
    state.counters["ns/frame"] =
        benchmark::Counter(static_cast<double>(uFrames) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Frames, level.
void Fir(benchmark::State& state, bool bPhases) {
    const auto levels = DSP::AvailableProcessorLevels();
    const auto uLevel = static_cast<std::size_t>(state.range(1));
    DSP::UseProcessorLevel(levels[uLevel < levels.size() ? uLevel : 0]);
    const auto uFrames = static_cast<std::size_t>(state.range(0));
    DSP::MultiRateFir fir;
    fir.Configure(Noise(1, 64).data(), 64, 5);
    const auto input = Noise(2, uFrames);
    std::vector<float> output(5 * uFrames);
    float* phases[5];
    for (std::size_t p = 0; p < 5; ++p)
        phases[p] = &output[p * uFrames];
    for (auto _ : state) {
        if (bPhases) {
            fir.ProcessPhases(input.data(), phases, static_cast<int>(uFrames));
        } else {
            fir.Process(input.data(), output.data(), static_cast<int>(uFrames));
        }
        benchmark::ClobberMemory();
    }
    Report(state, uFrames);
}

void FirInterleaved(benchmark::State& state) {
    Fir(state, false);
}
void FirPhases(benchmark::State& state) {
    Fir(state, true);
}

void FirPlain(benchmark::State& state) {
    const auto taps = Noise(1, 64);
    const auto input = Noise(2, 512 + 12);
    std::vector<float> output(5 * 512);
    for (auto _ : state) {
        for (std::size_t n = 0; n < 512; ++n) {
            for (std::size_t p = 0; p < 5; ++p) {
                float sum = taps[p] * input[12 + n];
                for (std::size_t j = 1; 5 * j + p < 64; ++j)
                    sum += taps[5 * j + p] * input[12 + n - j];
                output[5 * n + p] = sum;
            }
        }
        benchmark::ClobberMemory();
    }
    Report(state, 512);
}

BENCHMARK(FirInterleaved)->ArgsProduct({{64, 512, 8192}, {0, 1}});
BENCHMARK(FirPhases)->ArgsProduct({{64, 512, 8192}, {0, 1}});
BENCHMARK(FirPlain);

}  // namespace
