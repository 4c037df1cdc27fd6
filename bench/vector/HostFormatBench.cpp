#include "dsp/vector/HostFormat.h"

#include <vector>

#include <benchmark/benchmark.h>

namespace {

// Two channels; the figure is for a frame. The second argument is the format.
void Run(benchmark::State& state, bool bIn) {
    const auto n = static_cast<int>(state.range(0));
    const auto sample = static_cast<DSP::HostSample>(state.range(1));
    const auto conversion = DSP::ChooseConversion(sample, 2, 2);
    std::vector<float> left(static_cast<std::size_t>(n)), right(left.size());
    for (std::size_t i = 0; i < left.size(); ++i) {
        left[i] = static_cast<float>(i % 97) / 97.0f - 0.5f;
        right[i] = static_cast<float>(i % 89) / 89.0f - 0.5f;
    }
    std::vector<double> host(2 * left.size());  // room and alignment for every format
    conversion.interleave(n, left.data(), right.data(), host.data());
    for (auto _ : state) {
        if (bIn) {
            conversion.deinterleave(n, host.data(), left.data(), right.data());
            benchmark::DoNotOptimize(left.data());
        } else {
            conversion.interleave(n, left.data(), right.data(), host.data());
            benchmark::DoNotOptimize(host.data());
        }
        benchmark::ClobberMemory();
    }
    state.counters["time/frame"] =
        benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void Deinterleave(benchmark::State& state) {
    Run(state, true);
}

void Interleave(benchmark::State& state) {
    Run(state, false);
}

}  // namespace

BENCHMARK(Deinterleave)->ArgNames({"frames", "format"})->ArgsProduct({{64, 512, 8192}, {0, 1, 2, 3, 4, 5}});
BENCHMARK(Interleave)->ArgNames({"frames", "format"})->ArgsProduct({{64, 512, 8192}, {0, 1, 2, 3, 4, 5}});
