#include <benchmark/benchmark.h>
#include <zita-convolver.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <numeric>
#include <vector>

#include "dsp/PartConv.h"
#include "tests/support/Signals.h"

namespace {

constexpr int kTaps = 77184;
/// Whole rounds of the longest partition, so that every block of the schedule is timed.
constexpr std::size_t kFrames = 65536;
constexpr int kRounds = 9;

/// Seconds of processor time that all threads of the process have used.
double ProcessSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

double WallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

const std::vector<float>& Impulse(int iChannel) {
    static const std::vector<std::vector<float>> channels = [] {
        std::vector<std::vector<float>> both{Test::Noise(1, kTaps), Test::Noise(2, kTaps)};
        for (auto& channel : both) {
            for (std::size_t i = 0; i < channel.size(); ++i)
                channel[i] *= 0.01f;
        }
        return both;
    }();
    return channels[static_cast<std::size_t>(iChannel)];
}

/// Runs `process(left, right)` over the same stream again and again. A block's time is the shortest of its
/// rounds, which leaves out what the machine did meanwhile; the mean counts every thread's processor time.
void Measure(benchmark::State& state, const std::function<void(float*, float*)>& process) {
    const auto uBlock = static_cast<std::size_t>(state.range(0));
    const auto left = Test::Noise(3, kFrames);
    const auto right = Test::Noise(4, kFrames);
    std::vector<float> outLeft(uBlock), outRight(uBlock);
    std::vector<double> best(kFrames / uBlock, 1e9);
    double fSeconds = 0.0;
    std::size_t uFrames = 0;
    for (auto _ : state) {
        for (int nRound = 0; nRound < kRounds; ++nRound) {
            const double fBefore = ProcessSeconds();
            for (std::size_t b = 0; b < best.size(); ++b) {
                const auto nFrom = static_cast<std::ptrdiff_t>(b * uBlock);
                std::copy_n(left.begin() + nFrom, uBlock, outLeft.begin());
                std::copy_n(right.begin() + nFrom, uBlock, outRight.begin());
                const double fStart = WallSeconds();
                process(outLeft.data(), outRight.data());
                best[b] = std::min(best[b], WallSeconds() - fStart);
                benchmark::ClobberMemory();
            }
            fSeconds += ProcessSeconds() - fBefore;
            uFrames += kFrames;
        }
    }
    const double fMean = std::accumulate(best.begin(), best.end(), 0.0) / static_cast<double>(best.size());
    state.counters["ns/frame"] = 1e9 * fSeconds / static_cast<double>(uFrames);
    state.counters["worst_over_mean"] = *std::max_element(best.begin(), best.end()) / fMean;
}

void Vesca(benchmark::State& state) {
    DSP::PartConv convolver;
    convolver.Configure(2, 2, static_cast<int>(state.range(0)));
    const float* channels[] = {Impulse(0).data(), Impulse(1).data()};
    convolver.SetImpulse(channels, kTaps, 2);
    Measure(state, [&](float* left, float* right) {
        float* pointers[] = {left, right};
        convolver.Process(pointers, static_cast<int>(state.range(0)), nullptr);
    });
}

/// The peer: the distribution's convolver, in step with its own threads.
void Peer(benchmark::State& state) {
    const auto uBlock = static_cast<std::uint32_t>(state.range(0));
    Convproc peer;
    if (peer.configure(2, 2, kTaps, uBlock, uBlock, Convproc::MAXPART, 0.0f) != 0) {
        return state.SkipWithError("the peer refuses this block");
    }
    for (unsigned c = 0; c < 2; ++c) {
        peer.impdata_create(c, c, 1, const_cast<float*>(Impulse(static_cast<int>(c)).data()), 0, kTaps);
    }
    peer.start_process(0, 0);
    Measure(state, [&](float* left, float* right) {
        std::copy_n(left, uBlock, peer.inpdata(0));
        std::copy_n(right, uBlock, peer.inpdata(1));
        peer.process(true);
        std::copy_n(peer.outdata(0), uBlock, left);
        std::copy_n(peer.outdata(1), uBlock, right);
    });
    peer.stop_process();
    peer.cleanup();
}

}  // namespace

BENCHMARK(Vesca)->Name("PartConv/77184")->Arg(64)->Arg(128)->Arg(512)->Arg(1024)->Arg(4096)->Iterations(1);
BENCHMARK(Peer)->Name("zita/77184")->Arg(64)->Arg(128)->Arg(512)->Arg(1024)->Arg(4096)->Iterations(1);
