#include <cmath>
#include <vector>

#include <benchmark/benchmark.h>

#include "dsp/vector/Elementary.h"
#include "dsp/vector/ElementaryVector.h"

namespace {

template <typename T, class Work>
void Run(benchmark::State& state, T least, T most, Work&& work) {
    std::vector<T> source(static_cast<std::size_t>(state.range(0))), destination(source.size());
    for (std::size_t i = 0; i < source.size(); ++i) {
        source[i] = least + (most - least) * static_cast<T>(i * 37 % 1009) / T(1009);
    }
    const int n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        work(source.data(), destination.data(), n);
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    state.counters["time/element"] =
        benchmark::Counter(static_cast<double>(state.iterations() * state.range(0)),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// One function over a block: by our kernel, by our scalar form, by the C library.
template <typename T, class Function>
auto Loop(Function function) {
    return [function](const T* source, T* destination, int n) {
        for (int i = 0; i < n; ++i)
            destination[i] = function(source[i]);
    };
}

void VectorExp(benchmark::State& state) {
    Run<float>(state, -20.0f, 5.0f, [](auto s, auto d, int n) { DSP::VectorExp(s, d, n); });
}
void LibraryExp(benchmark::State& state) {
    Run<float>(state, -20.0f, 5.0f, Loop<float>([](float x) { return std::exp(x); }));
}
void VectorLog(benchmark::State& state) {
    Run<float>(state, 1e-4f, 4.0f, [](auto s, auto d, int n) { DSP::VectorLog(s, d, n); });
}
void LibraryLog(benchmark::State& state) {
    Run<float>(state, 1e-4f, 4.0f, Loop<float>([](float x) { return std::log(x); }));
}
void VectorLinearToDb(benchmark::State& state) {
    Run<float>(state, 1e-4f, 4.0f, [](auto s, auto d, int n) { DSP::VectorLinearToDb(s, d, n); });
}
void VectorDbToLinear(benchmark::State& state) {
    Run<float>(state, -80.0f, 12.0f, [](auto s, auto d, int n) { DSP::VectorDbToLinear(s, d, n); });
}
void VectorPow(benchmark::State& state) {
    Run<float>(state, 1e-4f, 4.0f, [](auto s, auto d, int n) { DSP::VectorPow(s, 0.37f, d, n); });
}
void LibraryPow(benchmark::State& state) {
    Run<float>(state, 1e-4f, 4.0f, Loop<float>([](float x) { return std::pow(x, 0.37f); }));
}
void VectorExpDouble(benchmark::State& state) {
    Run<double>(state, -20.0, 5.0, [](auto s, auto d, int n) { DSP::VectorExp(s, d, n); });
}
void ScalarExpDouble(benchmark::State& state) {
    Run<double>(state, -20.0, 5.0, Loop<double>([](double x) { return DSP::Exp(x); }));
}
void LibraryExpDouble(benchmark::State& state) {
    Run<double>(state, -20.0, 5.0, Loop<double>([](double x) { return std::exp(x); }));
}
void VectorLogDouble(benchmark::State& state) {
    Run<double>(state, 1e-4, 4.0, [](auto s, auto d, int n) { DSP::VectorLog(s, d, n); });
}
void ScalarLogDouble(benchmark::State& state) {
    Run<double>(state, 1e-4, 4.0, Loop<double>([](double x) { return DSP::Log(x); }));
}
void LibraryLogDouble(benchmark::State& state) {
    Run<double>(state, 1e-4, 4.0, Loop<double>([](double x) { return std::log(x); }));
}
void ScalarPow(benchmark::State& state) {
    Run<float>(state, 1e-4f, 4.0f, Loop<float>([](float x) { return DSP::Pow(x, 0.37f); }));
}
void ScalarPowDouble(benchmark::State& state) {
    Run<double>(state, 1e-4, 4.0, Loop<double>([](double x) { return DSP::Pow(x, 0.37); }));
}
void LibraryPowDouble(benchmark::State& state) {
    Run<double>(state, 1e-4, 4.0, Loop<double>([](double x) { return std::pow(x, 0.37); }));
}
void ScalarSinDouble(benchmark::State& state) {
    Run<double>(state, -20.0, 20.0, Loop<double>([](double x) { return DSP::Sin(x); }));
}
void LibrarySinDouble(benchmark::State& state) {
    Run<double>(state, -20.0, 20.0, Loop<double>([](double x) { return std::sin(x); }));
}

void Lengths(benchmark::internal::Benchmark* bench) {
    for (const int n : {64, 512, 8192})
        bench->Arg(n);
}

}  // namespace

BENCHMARK(VectorExp)->Apply(Lengths);
BENCHMARK(LibraryExp)->Apply(Lengths);
BENCHMARK(VectorLog)->Apply(Lengths);
BENCHMARK(LibraryLog)->Apply(Lengths);
BENCHMARK(VectorLinearToDb)->Apply(Lengths);
BENCHMARK(VectorDbToLinear)->Apply(Lengths);
BENCHMARK(VectorPow)->Apply(Lengths);
BENCHMARK(LibraryPow)->Apply(Lengths);
BENCHMARK(VectorExpDouble)->Apply(Lengths);
BENCHMARK(ScalarExpDouble)->Arg(512);
BENCHMARK(LibraryExpDouble)->Arg(512);
BENCHMARK(VectorLogDouble)->Apply(Lengths);
BENCHMARK(ScalarLogDouble)->Arg(512);
BENCHMARK(LibraryLogDouble)->Arg(512);
BENCHMARK(ScalarPow)->Arg(512);
BENCHMARK(ScalarPowDouble)->Arg(512);
BENCHMARK(LibraryPowDouble)->Arg(512);
BENCHMARK(ScalarSinDouble)->Arg(512);
BENCHMARK(LibrarySinDouble)->Arg(512);
