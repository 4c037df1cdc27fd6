#include "bench/support/Rounds.h"
#include "dsp/vector/MultiRateFir.h"
#include "tests/support/Signals.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

// 64 taps, five outputs a sample, one channel.

namespace {

// Frames, level.
void Fir(benchmark::State& state, bool bPhases) {
    const Bench::Level level(state, state.range(1));
    if (!level) return;
    const auto uFrames = static_cast<std::size_t>(state.range(0));
    DSP::MultiRateFir fir;
    fir.Configure(Test::Noise(1, 64).data(), 64, 5);
    const auto input = Test::Noise(2, uFrames);
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
    Bench::Report(state, uFrames);
}

void FirInterleaved(benchmark::State& state) {
    Fir(state, false);
}
void FirPhases(benchmark::State& state) {
    Fir(state, true);
}

void FirPlain(benchmark::State& state) {
    const auto taps = Test::Noise(1, 64);
    const auto input = Test::Noise(2, 512 + 12);
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
    Bench::Report(state, 512);
}

BENCHMARK(FirInterleaved)->ArgsProduct({{64, 512, 8192}, {0, 1}});
BENCHMARK(FirPhases)->ArgsProduct({{64, 512, 8192}, {0, 1}});
BENCHMARK(FirPlain);

}  // namespace
