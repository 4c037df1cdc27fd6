#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <vector>

#include "bench/support/Rounds.h"
#include "dsp/ChannelOperations.h"
#include "dsp/DCOffsetFilter.h"
#include "dsp/ExciterBand.h"
#include "dsp/ImagerBand.h"
#include "tests/support/Signals.h"

// Exciter, imager with channel operations, and DC filter, in ns a stereo frame. Each block is a fresh copy of
// noise, as it would come from a split; "Copies" times that alone.

namespace {

constexpr std::size_t kBands = 4;

template <class Process>
void RunBlocks(benchmark::State& state, std::size_t uCopies, Process&& process) {
    const auto uFrames = static_cast<std::size_t>(state.range(0));
    const auto left = Test::Noise(1, 65536), right = Test::Noise(2, 65536);
    std::vector<float> l(uFrames), r(uFrames);
    std::size_t uPosition = 0;
    for (auto _ : state) {
        for (std::size_t i = 0; i < uCopies; ++i) {
            std::copy_n(left.begin() + static_cast<std::ptrdiff_t>(uPosition), uFrames, l.begin());
            std::copy_n(right.begin() + static_cast<std::ptrdiff_t>(uPosition), uFrames, r.begin());
            process(i, static_cast<std::int32_t>(uFrames), l.data(), r.data());
            benchmark::DoNotOptimize(l.data());
            benchmark::DoNotOptimize(r.data());
            benchmark::ClobberMemory();
        }
        uPosition = (uPosition + uFrames) % (left.size() - uFrames);
    }
    Bench::Report(state, uFrames);
}

void Copies(benchmark::State& state) {
    RunBlocks(state, kBands, [](std::size_t, std::int32_t, float*, float*) {});
}

void Exciter(benchmark::State& state, DSP::ExciterMode mode, float fDelayMs) {
    std::array<DSP::ExciterBand, kBands> bands;
    for (DSP::ExciterBand& band : bands)
        band.SetDelay(DSP::ExciterBand::LineLength(fDelayMs, 44100));
    const std::array<float, kBands> edges{120, 2000, 10000, 22050};
    RunBlocks(state, kBands, [&](std::size_t b, std::int32_t nFrames, float* left, float* right) {
        bands[b].Process({mode, 10, 70, edges[b], 44100}, nFrames, left, right);
    });
}
void ExciterRetro(benchmark::State& state) {
    Exciter(state, DSP::ExciterMode::Retro, 0);
}
void ExciterTape(benchmark::State& state) {
    Exciter(state, DSP::ExciterMode::Tape, 0);
}
void ExciterTube(benchmark::State& state) {
    Exciter(state, DSP::ExciterMode::Tube, 0);
}
void ExciterTubeDelayed(benchmark::State& state) {
    Exciter(state, DSP::ExciterMode::Tube, 10);
}

/// One level of the processor after the other, the best first.
template <void (*Benchmark)(benchmark::State&)>
void AtLevel(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (level) Benchmark(state);
}

void Imager(benchmark::State& state) {
    std::array<DSP::ImagerBand, kBands> bands;
    float fDelay = -5;
    for (DSP::ImagerBand& band : bands)
        band.SetDelay(fDelay += 2, 44100);
    const DSP::ChannelOperations operations{true, true, true, true};
    RunBlocks(state, kBands, [&](std::size_t b, std::int32_t nFrames, float* left, float* right) {
        bands[b].Process(0.3f, nFrames, left, right);
        if (b == 0) operations.Process(nFrames, left, right);
    });
}

void DCOffset(benchmark::State& state) {
    DSP::DCOffsetFilter filter;
    RunBlocks(state, 1, [&](std::size_t, std::int32_t nFrames, float* left, float* right) {
        filter.Process(nFrames, left, right, true, true);
    });
}

BENCHMARK(Copies)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(ExciterRetro)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(ExciterTape)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(ExciterTube)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(ExciterTubeDelayed)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(AtLevel<ExciterRetro>)->Args({512, 0})->Args({512, 1})->Args({512, 2})->Args({512, 3});
BENCHMARK(AtLevel<ExciterTape>)->Args({512, 0})->Args({512, 1})->Args({512, 2})->Args({512, 3});
BENCHMARK(AtLevel<ExciterTube>)->Args({512, 0})->Args({512, 1})->Args({512, 2})->Args({512, 3});
BENCHMARK(Imager)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(DCOffset)->Arg(64)->Arg(512)->Arg(4096);

}  // namespace
