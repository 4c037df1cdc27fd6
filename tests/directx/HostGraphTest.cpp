#include <doctest/doctest.h>

#include <functional>
#include <string>
#include <vector>

#include "apps/dxhost/GraphDriver.h"
#include "tests/directx/HostRig.h"
#include "tests/support/TempFolder.h"

// The host against itself: what it shows about the plug-in is worth nothing unless source, graph and sink
// carry a stream unharmed on their own.

using namespace DxHost;

TEST_CASE("DxHost: what the source delivers is what the sink keeps, in any cut, with its stamps") {
    const Apartment apartment;
    GraphDriver graph;
    for (const AudioFormat& format : Test::AllFormats()) {
        for (const auto& blocks : std::vector<std::vector<std::uint32_t>>{{512}, {1, 777, 64}, {20000}}) {
            SourcePlan plan;
            plan.sound = Test::NoiseSound(format, 3001);
            plan.blocks = blocks;
            plan.bMediaTimes = true;
            plan.nStart = 12'345;
            plan.marks = {{1000, 70'000'000, false}, {2000, std::nullopt, true}};
            graph.Connect(plan);
            graph.Pause();
            REQUIRE(graph.Arrived().WaitForEnd(Test::kPatience));
            graph.Stop();
            CHECK(graph.Arrived().Bytes() == plan.sound.bytes);
            CHECK(graph.Arrived().EndsOfStream() == 1);

            std::int64_t nFrame = 0;
            std::string strWrong;
            for (const Arrival& arrival : graph.Arrived().Arrivals()) {
                const auto nFrames = static_cast<std::int64_t>(arrival.bytes.size() / format.FrameBytes());
                const std::int64_t nBase = nFrame < 1000 ? 12'345 : 70'000'000 - 1000 * 10'000'000ll / 44100;
                const std::int64_t nTime = nBase + nFrame * 10'000'000 / 44100;
                if (!arrival.time || arrival.time->first != nTime) strWrong += "time ";
                if (!arrival.mediaTime || arrival.mediaTime->first != nFrame ||
                    arrival.mediaTime->second != nFrame + nFrames)
                    strWrong += "media time ";
                if (arrival.bDiscontinuity != (nFrame == 0 || nFrame == 1000)) strWrong += "discontinuity ";
                if (arrival.bPreroll != (nFrame == 2000)) strWrong += "preroll ";
                nFrame += nFrames;
            }
            CHECK(strWrong == "");
        }
    }
}

TEST_CASE("DxHost: the graph runs to its end and again, seeks in any state, and stops a held stream") {
    const Apartment apartment;
    GraphDriver graph;
    SourcePlan plan;
    plan.sound = Test::NoiseSound({true, 32, 2, 44100}, 44100);
    graph.Connect(plan);
    CHECK(graph.Play() == plan.sound.bytes);

    SUBCASE("a seek while stopped begins there") {
        graph.Seek(5'000'000);
        const auto bytes = graph.Play();
        CHECK(bytes == std::vector(plan.sound.bytes.begin() + 22050 * 8, plan.sound.bytes.end()));
    }
    SUBCASE("a seek in mid-stream flushes what was under way and goes on there") {
        graph.Arrived().Clear();
        graph.Arrived().BlockAfter(3);
        graph.Pause();
        REQUIRE(graph.Arrived().WaitForSamples(4, Test::kPatience));
        graph.Arrived().BlockAfter(UINT64_MAX);
        graph.Seek(2'500'000);
        REQUIRE(graph.Arrived().WaitForEnd(Test::kPatience));
        graph.Stop();
        CHECK(graph.Arrived().Flushes() == 1);
        std::vector<std::uint8_t> bytes;
        for (const Arrival& arrival : graph.Arrived().Arrivals())
            if (arrival.uFlushes == 1) bytes.insert(bytes.end(), arrival.bytes.begin(), arrival.bytes.end());
        CHECK(bytes == std::vector(plan.sound.bytes.begin() + 11025 * 8, plan.sound.bytes.end()));
    }
    SUBCASE("a stop ends a delivery that the sink holds up, or starves of buffers") {
        for (const bool bStarve : {false, true}) {
            CAPTURE(bStarve);
            graph.Arrived().Clear();
            graph.Arrived().BlockAfter(bStarve ? UINT64_MAX : 2);
            graph.Arrived().Withhold(bStarve ? 4 : 0);
            graph.Pause();
            REQUIRE(graph.Arrived().WaitForSamples(bStarve ? 4 : 3, Test::kPatience));
            graph.Stop();
            CHECK(graph.Arrived().EndsOfStream() == 0);
        }
        graph.Arrived().BlockAfter(UINT64_MAX);
        graph.Arrived().Withhold(0);
        CHECK(graph.Play() == plan.sound.bytes);
    }
}

TEST_CASE(
    "DxHost: a WAV file survives writing and reading, and a damaged one is refused or cut to whole frames") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("a.wav");
    for (const AudioFormat& format : Test::AllFormats()) {
        const Sound sound = Test::NoiseSound(format, 101);
        WriteWav(strPath, sound);
        const Sound read = ReadWav(strPath);
        CHECK(read.format == format);
        CHECK(read.bytes == sound.bytes);
    }
    WriteWav(strPath, Test::NoiseSound({false, 16, 2, 44100}, 10));
    const std::string strWhole = Test::Slurp(strPath);
    Test::Spill(strPath, strWhole.substr(0, strWhole.size() - 3));
    CHECK(ReadWav(strPath).Frames() == 9);
    for (const std::function<void(std::string&)>& damage : std::vector<std::function<void(std::string&)>>{
             [](std::string& str) { str[0] = 'X'; },
             [](std::string& str) { str[20] = 2; },
             [](std::string& str) { str[22] = 3; },
             [](std::string& str) { str[32] = 5; },
             [](std::string& str) { str.resize(40); },
         }) {
        std::string strBroken = strWhole;
        damage(strBroken);
        Test::Spill(strPath, strBroken);
        CHECK_THROWS_AS(ReadWav(strPath), ::Exception::Base);
    }
}
