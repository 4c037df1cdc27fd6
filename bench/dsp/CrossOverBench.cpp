#include "dsp/CrossOver.h"

#include <benchmark/benchmark.h>

#include <algorithm>

#include "dsp/vector/Iir.h"
#include "tests/dsp/CrossOverRig.h"

// Four bands of stereo noise. The plain Analog is a cascade a filter, one after another over the block.
// Digital does its work when its buffer is full: the busiest block of the host takes as much as a whole
// buffer's.

namespace {

struct Signals {
    explicit Signals(std::uint32_t uFrames) : left(Test::Noise(1, uFrames)), right(Test::Noise(2, uFrames)) {
        for (std::size_t i = 0; i < bands.size(); ++i)
            bands[i].resize(uFrames);
        for (std::size_t i = 0; i < 4; ++i) {
            leftBands[i] = bands[i].data();
            rightBands[i] = bands[4 + i].data();
        }
    }
    std::vector<float> left, right;
    std::array<std::vector<float>, 8> bands;
    std::array<float*, 4> leftBands, rightBands;
};

template <class Body>
void Measure(benchmark::State& state, std::uint32_t uFrames, Body&& body) {
    for (int i = 0; i < 20; ++i)
        body();
    for (auto _ : state) {
        body();
        benchmark::ClobberMemory();
    }
    state.counters["ns/frame"] = benchmark::Counter(
        uFrames * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["x real time"] =
        benchmark::Counter(uFrames / 44100.0, benchmark::Counter::kIsIterationInvariantRate);
}

// Type, buffer size index, frames a block.
void CrossOverComponent(benchmark::State& state) {
    const auto uFrames = static_cast<std::uint32_t>(state.range(2));
    Test::CrossOverRig rig;
    rig.SetInt(Test::CrossOverRig::kType, static_cast<std::int32_t>(state.range(0)));
    rig.SetInt(Test::CrossOverRig::kBufferSize, static_cast<std::int32_t>(state.range(1)));
    Signals signals(uFrames);
    state.SetLabel(state.range(0) == 0 ? "Analog" : "Digital");
    Measure(state, uFrames, [&] {
        rig.component.ProcessAutomated(rig.stage, uFrames, signals.left.data(), signals.right.data(), true,
                                       signals.leftBands.data(), signals.rightBands.data());
    });
}

void CrossOverPlainAnalog(benchmark::State& state) {
    const auto uFrames = static_cast<std::uint32_t>(state.range(0));
    const double taps[] = {1.0, 2.0, 1.0, 1.0, -1.7, 0.75, 1.0, 2.0, 1.0, 1.0, -1.7, 0.75};
    std::vector<DSP::IirCascade> filters(12, DSP::IirCascade(taps, 2));
    Signals signals(uFrames);
    Measure(state, uFrames, [&] {
        std::size_t iFilter = 0;
        for (std::size_t iBand = 0; iBand < 8; ++iBand) {
            const auto& input = iBand < 4 ? signals.left : signals.right;
            float* const band = signals.bands[iBand].data();
            std::copy(input.begin(), input.end(), band);
            for (int i = 0; i < (iBand % 4 == 1 || iBand % 4 == 2 ? 2 : 1); ++i)
                filters[iFilter++].Process(band, static_cast<int>(uFrames));
        }
    });
}

// What a moved knob costs the editor's thread: a whole design.
void CrossOverDesign(benchmark::State& state) {
    Test::CrossOverRig rig;
    rig.SetInt(Test::CrossOverRig::kType, static_cast<std::int32_t>(state.range(0)));
    float fCutoff = 1000.0f;
    for (auto _ : state) {
        fCutoff = fCutoff < 3000.0f ? fCutoff + 1.0f : 1000.0f;
        rig.SetFloat(Test::CrossOverRig::kCutoff2, fCutoff);
    }
}

}  // namespace

BENCHMARK(CrossOverComponent)
    ->ArgsProduct({{0}, {3}, {1, 64, 512, 4096}})
    ->ArgsProduct({{1}, {0, 3, 5}, {64, 512, 4096}});
BENCHMARK(CrossOverPlainAnalog)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(CrossOverDesign)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
