#include "bench/support/Rounds.h"
#include "dsp/vector/Iir.h"
#include "tests/support/Signals.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

// Peaking sections at several corners over a fresh copy of noise each round: a buffer filtered in place for
// ever would overflow, and the benchmark would time NaN.

namespace {

std::vector<double> Taps(std::size_t uSections) {
    std::vector<double> taps;
    for (std::size_t s = 0; s < uSections; ++s) {
        const double pole = 0.9 + 0.01 * static_cast<double>(s);
        taps.insert(taps.end(), {1.02, -1.7 * pole, 0.97 * pole * pole, 1.0, -1.72 * pole, pole * pole});
    }
    return taps;
}

// Sections, frames, level.
void IirStereo(benchmark::State& state) {
    const Bench::Level level(state, state.range(2));
    if (!level) return;
    const auto uSections = static_cast<std::size_t>(state.range(0));
    const auto uFrames = static_cast<std::size_t>(state.range(1));
    DSP::IirCascade left(Taps(uSections).data(), static_cast<int>(uSections));
    DSP::IirCascade right(left);
    const auto l = Test::Noise(1, uFrames);
    const auto r = Test::Noise(2, uFrames);
    auto leftOut = l;
    auto rightOut = r;
    for (auto _ : state) {
        DSP::VectorIirProcessFloatStereo(l.data(), r.data(), leftOut.data(), rightOut.data(),
                                         static_cast<int>(uFrames), left.State(), right.State());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uFrames);
}

void IirMono(benchmark::State& state) {
    const Bench::Level level(state, 0);
    if (!level) return;
    const auto uSections = static_cast<std::size_t>(state.range(0));
    const auto uFrames = static_cast<std::size_t>(state.range(1));
    DSP::IirCascade left(Taps(uSections).data(), static_cast<int>(uSections));
    const auto l = Test::Noise(1, uFrames);
    auto out = l;
    for (auto _ : state) {
        DSP::VectorIirProcessFloat(l.data(), out.data(), static_cast<int>(uFrames), left.State());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uFrames);
}

// Links of one section each, rounded in between: an equalizer's nodes.
void IirSeries(benchmark::State& state) {
    const Bench::Level level(state, state.range(2));
    if (!level) return;
    const auto uLinks = static_cast<std::size_t>(state.range(0));
    const auto uFrames = static_cast<std::size_t>(state.range(1));
    std::vector<DSP::IirCascade> cascades(2 * uLinks, DSP::IirCascade(Taps(1).data(), 1));
    std::vector<DSP::IirLink> links;
    for (std::size_t i = 0; i < uLinks; ++i) {
        links.push_back({cascades[2 * i].State(), cascades[2 * i + 1].State()});
    }
    const auto l = Test::Noise(1, uFrames);
    const auto r = Test::Noise(2, uFrames);
    auto leftOut = l;
    auto rightOut = r;
    for (auto _ : state) {
        DSP::VectorIirProcessSeries(l.data(), r.data(), leftOut.data(), rightOut.data(),
                                    static_cast<int>(uFrames), links.data(), static_cast<int>(uLinks));
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uFrames);
}

// Four bands of one source, of 2, 4, 4 and 2 sections: a crossover.
void IirRows(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (!level) return;
    const auto uFrames = static_cast<std::size_t>(state.range(0));
    std::vector<DSP::IirCascade> cascades(12, DSP::IirCascade(Taps(2).data(), 2));
    std::vector<DSP::IirLink> links;
    for (std::size_t i = 0; i < 6; ++i) {
        links.push_back({cascades[2 * i].State(), cascades[2 * i + 1].State(), 0.9f, 0.9f});
    }
    const auto l = Test::Noise(1, uFrames);
    const auto r = Test::Noise(2, uFrames);
    std::vector<std::vector<float>> bands(8, l);
    const DSP::IirRow rows[] = {{links.data(), 1, bands[0].data(), bands[1].data()},
                                {links.data() + 1, 2, bands[2].data(), bands[3].data()},
                                {links.data() + 3, 2, bands[4].data(), bands[5].data()},
                                {links.data() + 5, 1, bands[6].data(), bands[7].data()}};
    for (auto _ : state) {
        DSP::VectorIirProcessRows(l.data(), r.data(), static_cast<int>(uFrames), rows, 4);
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uFrames);
}

// The plain version: one section after another over the block, one channel after the other.
void IirPlainStereo(benchmark::State& state) {
    const auto uSections = static_cast<std::size_t>(state.range(0));
    const auto uFrames = static_cast<std::size_t>(state.range(1));
    const auto taps = Taps(uSections);
    std::vector<double> delays(4 * uSections);
    std::vector<double> block(uFrames);
    const auto l = Test::Noise(1, uFrames);
    auto out = l;
    for (auto _ : state) {
        for (std::size_t iChannel = 0; iChannel < 2; ++iChannel) {
            std::copy(l.begin(), l.end(), block.begin());
            for (std::size_t s = 0; s < uSections; ++s) {
                const double* t = &taps[6 * s];
                double s1 = delays[4 * s + 2 * iChannel];
                double s2 = delays[4 * s + 2 * iChannel + 1];
                for (double& value : block) {
                    const double x = value;
                    value = t[0] * x + s1;
                    s1 = (t[1] * x + s2) - t[4] * value;
                    s2 = t[2] * x - t[5] * value;
                }
                delays[4 * s + 2 * iChannel] = s1;
                delays[4 * s + 2 * iChannel + 1] = s2;
            }
            std::transform(block.begin(), block.end(), out.begin(),
                           [](double value) { return static_cast<float>(value); });
            benchmark::ClobberMemory();
        }
    }
    Bench::Report(state, uFrames);
}

BENCHMARK(IirStereo)->ArgsProduct({{1, 2, 4, 8, 16}, {64, 512, 8192}, {0, 1, 2}});
BENCHMARK(IirMono)->ArgsProduct({{1, 4, 8}, {64, 512, 8192}});
BENCHMARK(IirSeries)->ArgsProduct({{2, 4, 8}, {64, 512}, {0, 1, 2}});
BENCHMARK(IirRows)->ArgsProduct({{64, 512}, {0, 1, 2}});
BENCHMARK(IirPlainStereo)->ArgsProduct({{1, 8}, {512}});

}  // namespace
