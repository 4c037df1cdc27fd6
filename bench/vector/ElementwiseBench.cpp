#include "dsp/vector/Elementwise.h"

#include <algorithm>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

// Work in place starts from the same values each round: a buffer that is scaled for ever ends in zeros.
struct Buffers {
    explicit Buffers(std::size_t uLength) : source(uLength), destination(uLength), wide(uLength) {
        for (std::size_t i = 0; i < uLength; ++i) {
            source[i] = static_cast<float>(i % 97) / 97.0f - 0.5f;
            destination[i] = static_cast<float>(i % 89) / 89.0f - 0.5f;
            wide[i] = double{source[i]};
        }
    }
    std::vector<float> source, destination;
    std::vector<double> wide;
};

template <class Work>
void Run(benchmark::State& state, Work&& work) {
    Buffers buffers(static_cast<std::size_t>(state.range(0)));
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        work(buffers, n);
        benchmark::DoNotOptimize(buffers.destination.data());
        benchmark::ClobberMemory();
    }
    state.counters["time/element"] =
        benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void Copy(benchmark::State& state) {
    Run(state, [](Buffers& b, int n) { DSP::VectorCopy(b.source.data(), b.destination.data(), n); });
}

// The sign changes with every round, so that the sum stays where it is.
void Add(benchmark::State& state) {
    bool bUp = false;
    Run(state, [&bUp](Buffers& b, int n) {
        bUp = !bUp;
        if (bUp) {
            DSP::VectorAdd(b.source.data(), b.destination.data(), n);
        } else {
            DSP::VectorSubtract(b.source.data(), b.destination.data(), n);
        }
    });
}

void AddPlain(benchmark::State& state) {
    bool bUp = false;
    Run(state, [&bUp](Buffers& b, int n) {
        bUp = !bUp;
        const float* source = b.source.data();
        float* destination = b.destination.data();
        for (int i = 0; i < n; ++i)
            destination[i] = bUp ? destination[i] + source[i] : destination[i] - source[i];
    });
}

void ScaleTo(benchmark::State& state) {
    Run(state, [](Buffers& b, int n) { DSP::VectorScaleTo(b.source.data(), 0.7f, b.destination.data(), n); });
}

void Widen(benchmark::State& state) {
    Run(state, [](Buffers& b, int n) { DSP::VectorConvert(b.source.data(), b.wide.data(), n); });
}

void Narrow(benchmark::State& state) {
    Run(state, [](Buffers& b, int n) { DSP::VectorConvert(b.wide.data(), b.destination.data(), n); });
}

void Max(benchmark::State& state) {
    Run(state, [](Buffers& b, int n) {
        float fGreatest = 0.0f;
        DSP::VectorMax(b.source.data(), n, &fGreatest);
        benchmark::DoNotOptimize(fGreatest);
    });
}

void MaxPlain(benchmark::State& state) {
    Run(state, [](Buffers& b, int n) {
        float fGreatest = *std::max_element(b.source.data(), b.source.data() + n);
        benchmark::DoNotOptimize(fGreatest);
    });
}

void Threshold(benchmark::State& state) {
    Run(state, [](Buffers& b, int n) { DSP::VectorThresholdGT(b.destination.data(), n, 0.25f); });
}

void Guard(benchmark::State& state) {
    std::uint8_t uPhase = 0;
    Run(state,
        [&uPhase](Buffers& b, int n) { uPhase = DSP::VectorGuard(b.destination.data(), n, 1e-10f, uPhase); });
}

void Lengths(benchmark::internal::Benchmark* bench) {
    for (const int n : {64, 512, 8192})
        bench->Arg(n);
}

}  // namespace

BENCHMARK(Copy)->Apply(Lengths);
BENCHMARK(Add)->Apply(Lengths);
BENCHMARK(AddPlain)->Apply(Lengths);
BENCHMARK(ScaleTo)->Apply(Lengths);
BENCHMARK(Widen)->Apply(Lengths);
BENCHMARK(Narrow)->Apply(Lengths);
BENCHMARK(Max)->Apply(Lengths);
BENCHMARK(MaxPlain)->Apply(Lengths);
BENCHMARK(Threshold)->Apply(Lengths);
BENCHMARK(Guard)->Apply(Lengths);
