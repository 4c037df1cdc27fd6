// The chain in nanoseconds a stereo frame at 44,100 Hz: without modules, which is what the spine costs by
// itself, and with all of them at work. And the way through files, which is what a user waits for.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

#include "apps/vesca/AudioWriter.h"
#include "apps/vesca/CommandLine.h"
#include "bench/support/Chains.h"

namespace {

constexpr std::uint32_t kRate = 44100;

void CountFrames(benchmark::State& state, std::int64_t nFrames) {
    // Read "12.3n" as 12.3 ns.
    state.counters["per_frame"] = benchmark::Counter(
        static_cast<double>(nFrames), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    state.counters["x_real_time"] =
        benchmark::Counter(static_cast<double>(nFrames) / kRate, benchmark::Counter::kIsRate);
}

/// Runs noise through a chain that `settings` describe. The noise is long enough that detectors and windows
/// never see the same block twice in a row.
void RunChain(benchmark::State& state, const std::vector<std::string>& settings) {
    constexpr std::size_t kNoise = 65536;
    const auto uBlock = static_cast<std::uint32_t>(state.range(0));
    const auto plugin = Bench::StartChain(settings, kRate);
    const auto left = Bench::Noise(1, kNoise);
    const auto right = Bench::Noise(2, kNoise);
    std::vector<float> inLeft(uBlock), inRight(uBlock), outLeft(uBlock), outRight(uBlock);
    std::size_t uFrom = 0;
    for (auto _ : state) {
        // The inputs are the chain's scratch: it must not work on its own output for ever.
        std::copy_n(left.begin() + static_cast<std::ptrdiff_t>(uFrom), uBlock, inLeft.begin());
        std::copy_n(right.begin() + static_cast<std::ptrdiff_t>(uFrom), uBlock, inRight.begin());
        uFrom = (uFrom + uBlock) % (kNoise - uBlock);
        benchmark::DoNotOptimize(
            plugin->Process(uBlock, inLeft.data(), inRight.data(), outLeft.data(), outRight.data()));
        benchmark::ClobberMemory();
    }
    CountFrames(state, state.iterations() * std::int64_t{uBlock});
}

void EmptyChain(benchmark::State& state) {
    RunChain(state, {});
}
BENCHMARK(EmptyChain)->Arg(64)->Arg(512)->Arg(4096);

void FullChain(benchmark::State& state) {
    RunChain(state, Bench::FullChainSettings());
}
BENCHMARK(FullChain)->Arg(64)->Arg(512)->Arg(4096);

/// Ten seconds of 24-bit stereo from file to file, with (1) or without (0) the measurements of a report.
void RenderFile(benchmark::State& state) {
    constexpr std::uint32_t kFrames = 10 * kRate;
    const auto folder = std::filesystem::temp_directory_path();
    const std::string strInput = (folder / "vesca-bench-in.wav").string();
    const std::string strOutput = (folder / "vesca-bench-out.wav").string();
    const std::string strReport = (folder / "vesca-bench.json").string();
    {
        auto left = Bench::Noise(1, kFrames);
        auto right = Bench::Noise(2, kFrames);
        App::AudioWriter writer(strInput,
                                App::ChooseOutput(strInput, App::SampleFormat::S24, std::nullopt, 2, kFrames),
                                kRate, 2);
        writer.Write(kFrames, left.data(), right.data());
        writer.Commit();
    }
    std::vector<const char*> arguments = {"vesca", "render", strInput.c_str(), strOutput.c_str(), "-q"};
    if (state.range(0) != 0) arguments.insert(arguments.end(), {"--report", strReport.c_str()});
    for (auto _ : state) {
        std::ostringstream product, messages;
        const int nCode =
            App::RunCommandLine(static_cast<int>(arguments.size()), arguments.data(), {product, messages});
        if (nCode != 0) state.SkipWithError(messages.str().c_str());
    }
    CountFrames(state, state.iterations() * std::int64_t{kFrames});
    for (const std::string& strPath : {strInput, strOutput, strReport})
        std::filesystem::remove(strPath);
}
BENCHMARK(RenderFile)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace
