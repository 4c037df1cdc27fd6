#include "dsp/DelayLine.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <vector>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

TEST_CASE("DelayLine: a line of length N delays by N - 1 samples, however the stream is cut") {
    const std::vector<float> input = Test::Noise(7, 20000);
    for (int nLength : {-3, 0, 1, 2, 3, 44, 64, 257, 258, 4096, 19999}) {
        const auto uDelay = static_cast<std::size_t>(std::max(nLength, 1)) - 1;
        std::vector<float> expected(uDelay, 0.0f);
        expected.insert(expected.end(), input.begin(), input.end() - static_cast<std::ptrdiff_t>(uDelay));
        DSP::DelayLine line;
        line.SetLength(nLength);
        for (const std::uint32_t uLongest : {20000u, 1u, 43u, 600u, 8192u}) {
            CAPTURE(nLength);
            CAPTURE(uLongest);
            line.Reset();
            std::vector<float> output = input;
            float* block = output.data();
            for (const std::uint32_t uBlock : Test::RandomCuts(uLongest, 20000, uLongest)) {
                line.Process(block, static_cast<int>(uBlock));
                block += uBlock;
            }
            CHECK(Test::FirstDifference(output, expected) == -1);
        }
    }
}

TEST_CASE("DelayLine: a new length forgets the old audio, and lengths allocate nothing once reserved") {
    DSP::DelayLine line;
    line.Reserve(1000);
    std::vector<float> audio = Test::Noise(8, 3000), silence(3000, 0.0f);
    const Test::AllocationCounter counter;
    for (int nLength : {1000, 10, 500, 1}) {
        line.SetLength(nLength);
        line.Process(audio.data(), 3000);
        line.SetLength(std::max(nLength / 2, 1));
        line.Process(silence.data(), 3000);
        CHECK(std::all_of(silence.begin(), silence.end(), [](float x) { return x == 0.0f; }));
    }
    CHECK(counter.Count() == 0);
}
