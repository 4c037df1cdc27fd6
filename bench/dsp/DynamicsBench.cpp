#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "bench/support/Rounds.h"
#include "dsp/DynamicsBand.h"
#include "tests/support/DynamicsModel.h"
#include "tests/support/Signals.h"

namespace {

constexpr std::size_t kBands = 4;
constexpr double kRate = 44100;

/// Noise whose level wanders through 40 dB, so that every stage comes and goes: gate below -20, comp above
/// -30, limiter above -12.
struct Material {
    explicit Material(std::size_t uFrames) : left(Test::Noise(1, uFrames)), right(Test::Noise(2, uFrames)) {
        Test::Random random(3);
        float fGain = 0.1f;
        for (std::size_t i = 0; i < uFrames; ++i) {
            if (i % 2000 == 0)
                fGain = static_cast<float>(DSP::Pow(10.0, -double{random.Uniform(0.0f, 2.0f)}));
            left[i] *= fGain;
            right[i] *= fGain;
        }
    }
    std::vector<float> left, right;
};

constexpr Test::DynamicsModel::Stage kComp{-30, 4, 10, 100}, kLimit{-12, 10, 5, 100}, kGate{-20, 2, 10, 100};

void SetStage(DSP::DynamicsBand& band, DSP::DynamicsField first, const Test::DynamicsModel::Stage& stage) {
    const std::array<float, 4> values{stage.fThresholdDb, stage.fRatio, stage.fAttackMs, stage.fReleaseMs};
    for (std::uint32_t i = 0; i < values.size(); ++i) {
        band.Set(static_cast<DSP::DynamicsField>(static_cast<std::uint32_t>(first) + i), values[i]);
    }
}

void Busy(DSP::DynamicsBand& band) {
    SetStage(band, DSP::DynamicsField::CompThreshold, kComp);
    SetStage(band, DSP::DynamicsField::LimThreshold, kLimit);
    SetStage(band, DSP::DynamicsField::GateThreshold, kGate);
}

/// Four bands over a second of material, block by block; each round copies fresh input in.
template <class Process>
void RunBands(benchmark::State& state, Process&& process) {
    const auto uBlock = static_cast<std::size_t>(state.range(0));
    const Material material(65536);
    std::array<std::vector<float>, kBands> left, right;
    left.fill(std::vector<float>(uBlock));
    right.fill(std::vector<float>(uBlock));
    std::size_t uPosition = 0;
    for (auto _ : state) {
        for (std::size_t b = 0; b < kBands; ++b) {
            const auto nPosition = static_cast<std::ptrdiff_t>(uPosition);
            std::copy_n(material.left.begin() + nPosition, uBlock, left[b].begin());
            std::copy_n(material.right.begin() + nPosition, uBlock, right[b].begin());
        }
        process(left, right);
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
        benchmark::ClobberMemory();
        uPosition = (uPosition + uBlock) % (material.left.size() - uBlock);
    }
    Bench::Report(state, uBlock);
}

using Channel = std::array<std::vector<float>, kBands>;

void Bands(benchmark::State& state, const DSP::DynamicsMode& mode, bool bBusy) {
    std::array<DSP::DynamicsBand, kBands> bands;
    for (DSP::DynamicsBand& band : bands) {
        if (bBusy) Busy(band);
    }
    RunBands(state, [&](Channel& left, Channel& right) {
        std::array<DSP::DynamicsBand::Audio, kBands> audio;
        for (std::size_t b = 0; b < kBands; ++b)
            audio[b] = {&bands[b], left[b].data(), right[b].data()};
        DSP::DynamicsBand::ProcessBands(mode, static_cast<std::int32_t>(left[0].size()), audio);
    });
}

void DynamicsBusy(benchmark::State& state) {
    Bands(state, {true, true, true, 0.998f, 1.0f}, true);
}
void DynamicsBusyPeak(benchmark::State& state) {
    Bands(state, {false, true, true, 0.998f, 1.0f}, true);
}
void DynamicsBusyNoHistogram(benchmark::State& state) {
    Bands(state, {true, true, false, 0.998f, 1.0f}, true);
}
void DynamicsIdle(benchmark::State& state) {
    Bands(state, {true, true, true, 0.998f, 1.0f}, false);
}

/// Each band by itself, for what side by side is worth.
void DynamicsBusyApart(benchmark::State& state) {
    std::array<DSP::DynamicsBand, kBands> bands;
    std::for_each(bands.begin(), bands.end(), Busy);
    const DSP::DynamicsMode mode{true, true, true, 0.998f, 1.0f};
    RunBands(state, [&](Channel& left, Channel& right) {
        for (std::size_t b = 0; b < kBands; ++b)
            bands[b].Process(mode, static_cast<std::int32_t>(left[b].size()), left[b].data(),
                             right[b].data());
    });
}

/// One level of the processor after the other, the best first; block 512.
void DynamicsBusyAtLevel(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (level) DynamicsBusy(state);
}

/// The plain loop, without a histogram.
void DynamicsPlain(benchmark::State& state) {
    std::vector<Test::DynamicsModel> bands(kBands, Test::DynamicsModel(kRate, 0, kComp, kLimit, kGate));
    RunBands(state, [&](Channel& left, Channel& right) {
        for (std::size_t b = 0; b < kBands; ++b) {
            for (std::size_t i = 0; i < left[b].size(); ++i)
                bands[b].Process(left[b][i], right[b][i], false);
        }
    });
}

BENCHMARK(DynamicsBusy)->Arg(1)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(DynamicsBusyApart)->Arg(64)->Arg(512);
BENCHMARK(DynamicsBusyPeak)->Arg(512);
BENCHMARK(DynamicsBusyNoHistogram)->Arg(512);
BENCHMARK(DynamicsIdle)->Arg(64)->Arg(512)->Arg(4096);
BENCHMARK(DynamicsBusyAtLevel)->Args({512, 0})->Args({512, 1})->Args({512, 2})->Args({512, 3});
BENCHMARK(DynamicsPlain)->Arg(512);

}  // namespace
