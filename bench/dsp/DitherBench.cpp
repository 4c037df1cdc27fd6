#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/support/Rounds.h"
#include "dsp/DepthShaper.h"
#include "tests/support/Signals.h"

namespace {

/// Quantises fresh noise block by block, in place.
void Run(benchmark::State& state, const DSP::DepthShaperSettings& settings,
         const DSP::NoiseShapingFilter::Table& table, std::size_t uBlock = 512) {
    DSP::DepthShaper shaper;
    shaper.Configure(2, 2, static_cast<int>(uBlock));
    DSP::NoiseShapingFilter filter(table, settings.bHighPassNoise);
    filter.Rebuild(settings.fNoiseAmount);
    shaper.Set(settings, filter);
    const std::vector<float> input = Test::Noise(1, uBlock);
    std::vector<float> left(uBlock), right(uBlock);
    float* const channels[] = {left.data(), right.data()};
    for (auto _ : state) {
        left = input;
        right = input;
        shaper.Process(channels, static_cast<int>(uBlock), nullptr);
        benchmark::DoNotOptimize(left.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uBlock);
}

using Filter = DSP::NoiseShapingFilter;

void Type1None(benchmark::State& state) {
    Run(state, {.fNoiseAmount = 0.5f, .bHighPassNoise = false}, Filter::ForShape(0));
}
void Type2Psych9(benchmark::State& state) {
    Run(state, {}, Filter::ForShape(4), static_cast<std::size_t>(state.range(0)));
}
void DshpOrder39(benchmark::State& state) {
    Run(state, {}, Filter::ForRate(2, 3), static_cast<std::size_t>(state.range(0)));
}
void DshpOrder60(benchmark::State& state) {
    Run(state, {}, Filter::ForRate(3, 3));
}
void DshpMinimizePeaks(benchmark::State& state) {
    Run(state, {.fNoiseAmount = 0.8f, .bLimitPeaks = true}, Filter::ForRate(2, 3));
}
void DshpAutoBlank(benchmark::State& state) {
    Run(state, {.fNoiseAmount = 0.8f, .bAutoBlank = true}, Filter::ForRate(2, 3));
}
void DshpKillHarmonics(benchmark::State& state) {
    Run(state, {.fNoiseAmount = 0.8f, .bKillHarmonics = true}, Filter::ForRate(2, 3));
}

/// One level of the processor after the other, the best first.
void Psych9AtLevel(benchmark::State& state) {
    const Bench::Level level(state, state.range(0));
    if (level) Run(state, {}, Filter::ForShape(4));
}

BENCHMARK(Type1None);
BENCHMARK(Type2Psych9)->Arg(64)->Arg(512);
BENCHMARK(DshpOrder39)->Arg(64)->Arg(512);
BENCHMARK(DshpOrder60);
BENCHMARK(DshpMinimizePeaks);
BENCHMARK(DshpAutoBlank);
BENCHMARK(DshpKillHarmonics);
BENCHMARK(Psych9AtLevel)->DenseRange(0, 3);

}  // namespace
