// bench_blocks [SECONDS] [ROUNDS]: how evenly the whole chain works, every module on, at 44,100 Hz. Renders
// so many seconds of audio, 60 by default, as often as said, 5 by default, and takes the least time of each
// block: what the block itself costs, without what the system did meanwhile. Prints, for blocks of 64, 128
// and 512 frames:
//
//   mean     nanoseconds a frame, over noise
//   worst    the worst block over the mean block, and the one in a thousand
//   silence  nanoseconds a frame while everything decays after the noise, over that of the noise, in the
//   first
//            second, and the worst second of ten

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "bench/support/Chains.h"

namespace {

constexpr std::uint32_t kRate = 44100;
constexpr std::size_t kSilentSeconds = 10;

/// The processor time of this thread in nanoseconds.
double Now() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// Adds one rendering to the least time of each block: noise first, silence at the end.
void Render(std::uint32_t uBlock, std::size_t uLoudBlocks, std::vector<double>& least) {
    const auto plugin = Bench::StartChain(Bench::FullChainSettings(), kRate);
    const std::size_t uNoise = 10 * kRate;
    const auto left = Bench::Noise(1, uNoise), right = Bench::Noise(2, uNoise);
    std::vector<float> inLeft(uBlock), inRight(uBlock), outLeft(uBlock), outRight(uBlock);
    // The first second grows buffers and caches.
    const std::size_t uWarm = kRate / uBlock;
    std::size_t uFrom = 0;
    for (std::size_t i = 0; i < uWarm + least.size(); ++i) {
        if (i < uWarm + uLoudBlocks) {
            std::copy_n(left.begin() + static_cast<std::ptrdiff_t>(uFrom), uBlock, inLeft.begin());
            std::copy_n(right.begin() + static_cast<std::ptrdiff_t>(uFrom), uBlock, inRight.begin());
        } else {
            std::fill(inLeft.begin(), inLeft.end(), 0.0f);
            std::fill(inRight.begin(), inRight.end(), 0.0f);
        }
        uFrom = (uFrom + uBlock) % (uNoise - uBlock);
        const double fStart = Now();
        plugin->Process(uBlock, inLeft.data(), inRight.data(), outLeft.data(), outRight.data());
        const double fTime = Now() - fStart;
        if (i >= uWarm) least[i - uWarm] = std::min(least[i - uWarm], fTime);
    }
}

double Mean(std::vector<double>::const_iterator from, std::vector<double>::const_iterator to) {
    return std::accumulate(from, to, 0.0) / static_cast<double>(to - from);
}

void Report(std::uint32_t uBlock, std::size_t uSeconds, int nRounds) {
    const std::size_t uPerSecond = kRate / uBlock;
    const std::size_t uLoud = uSeconds * uPerSecond;
    std::vector<double> least(uLoud + kSilentSeconds * uPerSecond, 1e18);
    for (int i = 0; i < nRounds; ++i)
        Render(uBlock, uLoud, least);

    const auto silence = least.begin() + static_cast<std::ptrdiff_t>(uLoud);
    const double fMean = Mean(least.begin(), silence);
    std::vector<double> sorted(least.begin(), silence);
    std::sort(sorted.begin(), sorted.end());
    const double fThousandth = sorted[sorted.size() - 1 - sorted.size() / 1000];
    double fWorstSecond = 0.0;
    for (std::size_t s = 0; s < kSilentSeconds; ++s) {
        const auto from = silence + static_cast<std::ptrdiff_t>(s * uPerSecond);
        fWorstSecond = std::max(fWorstSecond, Mean(from, from + static_cast<std::ptrdiff_t>(uPerSecond)));
    }
    const double fFirst = Mean(silence, silence + static_cast<std::ptrdiff_t>(uPerSecond));
    std::printf("%5u  %8.1f  %10.2f  %10.2f  %10.2f  %10.2f\n", uBlock, fMean / uBlock, sorted.back() / fMean,
                fThousandth / fMean, fFirst / fMean, fWorstSecond / fMean);
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t uSeconds = argc > 1 ? std::max(1ul, std::strtoul(argv[1], nullptr, 10)) : 60;
    const int nRounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    std::printf("block  ns/frame  worst/mean  1 in 1000  silence 1 s  silence max\n");
    for (const std::uint32_t uBlock : {64u, 128u, 512u})
        Report(uBlock, uSeconds, nRounds);
}
