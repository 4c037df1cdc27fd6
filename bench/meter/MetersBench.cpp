#include <benchmark/benchmark.h>

#include <vector>

#include "bench/support/Rounds.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "dsp/meter/SpectrumState.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace {

using namespace DSP::Meter;

/// Runs a measurement over four seconds of noise again and again, in blocks.
template <class Measure>
void Run(benchmark::State& state, Measure&& measure) {
    const auto uBlock = static_cast<std::uint32_t>(state.range(0));
    const std::uint32_t uLength = 4 * 44100 / uBlock * uBlock;
    const std::vector<float> left = Test::Noise(1, uLength);
    const std::vector<float> right = Test::Noise(2, uLength);
    std::uint32_t uPosition = 0;
    for (auto _ : state) {
        measure(uBlock, left.data() + uPosition, right.data() + uPosition);
        uPosition = uPosition + uBlock == uLength ? 0 : uPosition + uBlock;
    }
    Bench::Report(state, uBlock);
}

void Levels(benchmark::State& state) {
    Test::TestContext context;
    Level level(context);
    level.SetInt(0, static_cast<std::int32_t>(state.range(1)));
    Run(state, [&](std::uint32_t uFrames, const float* left, const float* right) {
        level.Meter(0, uFrames, left);
        level.Meter(1, uFrames, right);
    });
}
BENCHMARK(Levels)->ArgNames({"block", "ppm"})->Args({64, 1})->Args({512, 1})->Args({512, 0});

void Spectra(benchmark::State& state) {
    Test::TestContext context;
    SpectrumState demand(context);
    Spectrum spectrum(context, demand);
    spectrum.SetInt(0, static_cast<std::int32_t>(state.range(1)));
    spectrum.SetInt(1, static_cast<std::int32_t>(state.range(2)));
    Run(state, [&](std::uint32_t uFrames, const float* left, const float* right) {
        spectrum.Meter(uFrames, left, right);
    });
}
BENCHMARK(Spectra)
    ->ArgNames({"block", "type", "average"})
    ->Args({64, 0, 0})
    ->Args({512, 0, 0})
    ->Args({512, 0, 2})
    ->Args({512, 1, 0});

void Phases(benchmark::State& state) {
    Test::TestContext context;
    Phase phase(context);
    Run(state, [&](std::uint32_t uFrames, const float* left, const float* right) {
        phase.MeasureVectorscope(uFrames, left, right);
        phase.MeasureCorrelation(uFrames, left, right);
    });
}
BENCHMARK(Phases)->ArgName("block")->Arg(64)->Arg(512);

}  // namespace
