#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bench/support/Rounds.h"
#include "dsp/Maximizer.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace {

constexpr std::size_t kLength = 8 * 44100;

/// Tones and noise that swell and fade, some 12 dB too loud at their loudest: gain reduction most of the
/// time, never steady.
std::vector<float> Programme(std::uint64_t uSeed) {
    std::vector<float> x = Test::Noise(uSeed, kLength);
    for (std::size_t i = 0; i < kLength; ++i) {
        const double t = static_cast<double>(i);
        const double fSwell = 0.55 + 0.45 * std::sin(t * 2.1e-4 + static_cast<double>(uSeed));
        const double fTone = std::sin(t * 0.012) + 0.5 * std::sin(t * 0.091 + 1.0);
        x[i] = static_cast<float>(fSwell * (fTone + 0.4 * double{x[i]}));
    }
    return x;
}

/// Arguments: the mode, whether peaks between the samples count, frames a block. Time is per block of stereo
/// frames; the counter gives nanoseconds a frame.
void RunMaximizer(benchmark::State& state) {
    Test::TestContext context;
    DSP::Maximizer maximizer(context);
    Component& component = maximizer;
    component.SetBool(0, false);
    component.SetInt(0, static_cast<std::int32_t>(state.range(0)));
    component.SetBool(5, state.range(1) != 0);
    component.SetFloat(0, -9);
    component.SetFloat(1, -0.3f);
    const auto uFrames = static_cast<std::size_t>(state.range(2));
    const std::vector<float> inLeft = Programme(1), inRight = Programme(2);
    std::vector<float> left(uFrames), right(uFrames);
    std::size_t uPosition = 0;
    for (auto _ : state) {
        if (uPosition + uFrames > kLength) uPosition = 0;
        std::copy_n(inLeft.begin() + static_cast<std::ptrdiff_t>(uPosition), uFrames, left.begin());
        std::copy_n(inRight.begin() + static_cast<std::ptrdiff_t>(uPosition), uFrames, right.begin());
        uPosition += uFrames;
        maximizer.ProcessBlock(static_cast<std::uint32_t>(uFrames), left.data(), right.data());
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uFrames);
}

/// One level of the processor after the other, the best first.
void RunMaximizerAtLevel(benchmark::State& state) {
    const Bench::Level level(state, state.range(3));
    if (level) RunMaximizer(state);
}

}  // namespace

BENCHMARK(RunMaximizer)
    ->Name("Maximizer")
    ->ArgNames({"mode", "intersample", "frames"})
    ->ArgsProduct({{DSP::Maximizer::kSoft, DSP::Maximizer::kBrickwall, DSP::Maximizer::kIntelligent},
                   {0, 1},
                   {64, 512, 4096}});
BENCHMARK(RunMaximizerAtLevel)
    ->Name("MaximizerAtLevel")
    ->ArgNames({"mode", "intersample", "frames", "level"})
    ->ArgsProduct({{DSP::Maximizer::kBrickwall, DSP::Maximizer::kIntelligent}, {0, 1}, {512}, {1, 2, 3}});
