#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "bench/support/Rounds.h"
#include "dsp/CombReverb.h"
#include "dsp/RoomImpulse.h"
#include "dsp/SampledReverb.h"
#include "tests/support/Signals.h"

namespace {

// Frames, level.
void Plate(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (!level) return;
    const auto uFrames = static_cast<std::size_t>(state.range(0));
    const auto left = Test::Noise(1, uFrames), right = Test::Noise(2, uFrames);
    auto outLeft = left, outRight = right;
    DSP::CombReverb reverb;
    reverb.SetWet(30.0f);
    reverb.SetReflectionsDelay(20.0f);
    for (auto _ : state) {
        std::copy(left.begin(), left.end(), outLeft.begin());
        std::copy(right.begin(), right.end(), outRight.begin());
        reverb.Process(static_cast<int>(uFrames), outLeft.data(), outRight.data());
        benchmark::DoNotOptimize(outLeft.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uFrames);
}
BENCHMARK(Plate)->ArgsProduct({{64, 512, 8192}, {0}})->Args({512, 1})->Args({512, 2});

std::vector<float> Decay(std::uint32_t uSeed) {
    auto impulse = Test::Noise(uSeed, 77184);
    float fLevel = 0.1f;
    for (float& fTap : impulse)
        fTap *= fLevel *= 0.9999f;
    return impulse;
}

// 77184 taps. Frames, level.
void Room(benchmark::State& state) {
    const Bench::Level level(state, state.range(1));
    if (!level) return;
    const auto uFrames = static_cast<std::size_t>(state.range(0));
    const auto left = Test::Noise(1, uFrames), right = Test::Noise(2, uFrames);
    auto outLeft = left, outRight = right;
    const auto impulseLeft = Decay(3), impulseRight = Decay(4);
    const float* impulse[] = {impulseLeft.data(), impulseRight.data()};
    DSP::SampledReverb reverb;
    reverb.LoadImpulse(impulse, 77184, 2, 44100.0);
    DSP::RoomTarget target;
    target.shape.fSize = 1.0f;
    target.nBlock = static_cast<int>(uFrames);
    reverb.Update(target, false);
    float* channels[] = {outLeft.data(), outRight.data()};
    for (auto _ : state) {
        std::copy(left.begin(), left.end(), outLeft.begin());
        std::copy(right.begin(), right.end(), outRight.begin());
        reverb.Process(channels, static_cast<int>(uFrames), nullptr);
        benchmark::DoNotOptimize(outLeft.data());
        benchmark::ClobberMemory();
    }
    Bench::Report(state, uFrames);
}
BENCHMARK(Room)->ArgsProduct({{128, 1024, 8192}, {0}})->Args({1024, 1});

// The whole impulse made anew after a change: of the damping, and of anything else.
void MakeRoom(benchmark::State& state) {
    const auto impulseLeft = Decay(3), impulseRight = Decay(4);
    const float* impulse[] = {impulseLeft.data(), impulseRight.data()};
    DSP::RoomImpulse room;
    room.Load(impulse, 77184, 2, 44100);
    DSP::RoomShape shape;
    for (auto _ : state) {
        if (state.range(0) != 0) shape.fDamping = shape.fDamping > 0.8f ? 0.75f : 0.9f;
        room.Make(shape, 44100, false);
    }
}
BENCHMARK(MakeRoom)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
