#include "dsp/DelayLine.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

namespace {

std::vector<float> Render(DSP::DelayLine& line, std::vector<float> samples, const std::vector<int>& blocks) {
    std::size_t uPosition = 0;
    for (std::size_t b = 0; uPosition < samples.size(); ++b) {
        const int nBlock = std::min(blocks[b % blocks.size()], static_cast<int>(samples.size() - uPosition));
        line.Process(samples.data() + uPosition, nBlock);
        uPosition += static_cast<std::size_t>(nBlock);
    }
    return samples;
}

}  // namespace

TEST_CASE("DelayLine: a line of length N delays by N - 1 samples, however the stream is cut") {
    const std::vector<float> input = Test::Noise(7, 20000);
    for (int nLength : {-3, 0, 1, 2, 3, 44, 64, 257, 258, 4096, 19999}) {
        const auto uDelay = static_cast<std::size_t>(std::max(nLength, 1)) - 1;
        std::vector<float> expected(uDelay, 0.0f);
        expected.insert(expected.end(), input.begin(), input.end() - static_cast<std::ptrdiff_t>(uDelay));
        DSP::DelayLine line;
        line.SetLength(nLength);
        for (const std::vector<int>& blocks :
             {std::vector{20000}, {1}, {43}, {64}, {511, 1, 513, 0}, {8192}}) {
            CAPTURE(nLength);
            CAPTURE(blocks.front());
            line.Reset();
            CHECK(Test::FirstDifference(Render(line, input, blocks), expected) == -1);
        }
    }
}

TEST_CASE(
    "DelayLine: a new length forgets the old audio, and neither lengths nor audio allocate once reserved") {
    DSP::DelayLine line;
    line.Reserve(1000);
    std::vector<float> audio = Test::Noise(8, 3000);
    std::vector<float> silence(3000, 0.0f);
    const Test::AllocationCounter counter;
    for (int nLength : {1000, 10, 500, 1}) {
        line.SetLength(nLength);
        CHECK(line.Length() == nLength);
        line.Process(audio.data(), 3000);
        line.SetLength(std::max(nLength / 2, 1));
        line.Process(silence.data(), 3000);
        CHECK(std::all_of(silence.begin(), silence.end(), [](float x) { return x == 0.0f; }));
    }
    CHECK(counter.Count() == 0);
}

TEST_CASE("DelayLine: samples that are no numbers come out once and leave nothing behind") {
    DSP::DelayLine line;
    line.SetLength(11);
    std::vector<float> samples(40, 0.5f);
    samples[3] = std::numeric_limits<float>::quiet_NaN();
    samples[4] = -std::numeric_limits<float>::infinity();
    line.Process(samples.data(), 40);
    CHECK(samples[13] != samples[13]);
    CHECK(samples[14] == -std::numeric_limits<float>::infinity());
    CHECK(std::all_of(samples.begin() + 15, samples.end(), [](float x) { return x == 0.5f; }));
}
