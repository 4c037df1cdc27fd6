#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

#include "dsp/Parametric.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

// The whole component, as the chain calls it, in nanoseconds a stereo frame. Every round starts from a fresh
// copy of noise, which is in the figure.

namespace {

using DSP::Equalizer::Shape;

constexpr std::uint32_t kBufferSize = 3;  // "EQ: Buffer Size" at 1024, as it comes

void MakeLive(DSP::Equalizer::Parametric& eq) {
    for (std::uint32_t i = 0; i < DSP::Equalizer::kNodes; ++i) {
        const float fFrequency = 60.0f * static_cast<float>(1u << i);
        eq.SetNode(i, fFrequency, i % 2 == 0 ? 4.0f : -4.0f, 1.0f, Shape::Bell);
    }
}

void Run(benchmark::State& state, DSP::Equalizer::Parametric& eq, std::uint32_t uFrames) {
    const auto left = Test::Noise(1, uFrames);
    const auto right = Test::Noise(2, uFrames);
    std::vector<float> leftOut(uFrames);
    std::vector<float> rightOut(uFrames);
    for (auto _ : state) {
        leftOut = left;
        rightOut = right;
        eq.ProcessAutomated({44100, 0, 50, nullptr}, uFrames, leftOut.data(), rightOut.data(), true);
        benchmark::DoNotOptimize(leftOut.data());
        benchmark::DoNotOptimize(rightOut.data());
    }
    state.counters["ns/frame"] =
        benchmark::Counter(static_cast<double>(uFrames) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Saturation, frames.
void EqualizerAnalog(benchmark::State& state) {
    Test::TestContext context;
    DSP::Equalizer::Parametric eq(context);
    MakeLive(eq);
    eq.SetBool(2, state.range(0) != 0);
    Run(state, eq, static_cast<std::uint32_t>(state.range(1)));
}
BENCHMARK(EqualizerAnalog)->ArgsProduct({{0, 1}, {64, 512, 4096}});

// FFT size index, frames.
void EqualizerDigital(benchmark::State& state) {
    Test::TestContext context;
    DSP::Equalizer::Parametric eq(context);
    MakeLive(eq);
    eq.SetInt(1, static_cast<std::int32_t>(state.range(0)));
    eq.SetInt(2, kBufferSize);
    eq.SetInt(0, 1);
    Run(state, eq, static_cast<std::uint32_t>(state.range(1)));
}
BENCHMARK(EqualizerDigital)->ArgsProduct({{0, 1, 2}, {64, 512, 4096}});

// What dragging a node costs the thread that drags: type index, FFT size index.
void EqualizerSetter(benchmark::State& state) {
    Test::TestContext context;
    DSP::Equalizer::Parametric eq(context);
    MakeLive(eq);
    eq.SetInt(1, static_cast<std::int32_t>(state.range(1)));
    eq.SetInt(0, static_cast<std::int32_t>(state.range(0)));
    float fGain = 1.0f;
    for (auto _ : state) {
        fGain = 3.0f - fGain;
        eq.SetFloat(11, fGain);
    }
}
BENCHMARK(EqualizerSetter)->Args({0, 0})->Args({1, 0})->Args({1, 1})->Args({1, 2});

}  // namespace
