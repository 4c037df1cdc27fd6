#include <doctest/doctest.h>

#include <cmath>
#include <string>
#include <vector>

#include "apps/dxhost/MediaParameters.h"
#include "tests/directx/PluginRig.h"

using namespace DxHost;
using Test::EngineRun;
using Test::EngineState;
using Test::FirstDifference;

namespace {

/// Modules that delay: a stream through them shows every frame that is lost, doubled or out of place.
const Test::Settings kDelaying = {
    {"EQ: Bypass", 0}, {"EQ: Type", 1}, {"EQ: Gain 3", 4}, {"LMAX: Bypass", 0}, {"LMAX: Threshold", -6}};

SourcePlan NoisePlan(const AudioFormat& format, std::uint64_t uFrames, std::uint64_t uSeed = 1) {
    SourcePlan plan;
    plan.sound = Test::NoiseSound(format, uFrames, uSeed);
    return plan;
}

/// Says what is wrong with stamps that should follow the frames from a time on: every sample begins where the
/// one before it ends. Truncation to 100 ns may cost
/// a unit with each piece since the host's last sample, the tail's included: in all less than a quarter
/// frame.
std::string StampFaults(const std::vector<Arrival>& arrivals, const AudioFormat& format,
                        std::int64_t nStart) {
    std::string strFaults;
    std::uint64_t uFrame = 0;
    const auto isNear = [](std::int64_t nTime, std::int64_t nExpected) {
        return std::abs(nTime - nExpected) <= 50;
    };
    for (const Arrival& arrival : arrivals) {
        const std::uint64_t uNext = uFrame + arrival.bytes.size() / format.FrameBytes();
        const auto nFrame = static_cast<std::int64_t>(uFrame);
        const auto nNext = static_cast<std::int64_t>(uNext);
        if (!arrival.time || !isNear(arrival.time->first, nStart + TimeOfFrame(uFrame, format.uSampleRate)) ||
            !isNear(arrival.time->second, nStart + TimeOfFrame(uNext, format.uSampleRate)))
            strFaults += "time of frame " + std::to_string(uFrame) + "; ";
        if (!arrival.mediaTime || arrival.mediaTime->first != nFrame || arrival.mediaTime->second != nNext)
            strFaults += "media time of frame " + std::to_string(uFrame) + "; ";
        uFrame = uNext;
    }
    return strFaults;
}

}  // namespace

TEST_CASE(
    "DX stream: every format, in any cut of the host's, gives what the engine gives, one run after another") {
    for (const bool bCompensation : {true, false}) {
        const Test::PluginRig rig(bCompensation);
        const auto plugin = rig.module.Create();
        const auto state = EngineState(kDelaying);
        REQUIRE(LoadState(plugin.Get(), state) == S_OK);
        GraphDriver graph(plugin.Get());
        std::uint64_t uSeed = 0;
        for (const AudioFormat& format : Test::AllFormats()) {
            auto plan = NoisePlan(format, 20001, ++uSeed);
            plan.sound.format.uSampleRate = uSeed % 2 == 0 ? 44100 : 96000;
            plan.blocks = uSeed % 3 == 0   ? std::vector<std::uint32_t>{512}
                          : uSeed % 3 == 1 ? std::vector<std::uint32_t>{777, 1, 64}
                                           : std::vector<std::uint32_t>{20001};
            CAPTURE(uSeed);
            graph.Connect(plan);
            CHECK(FirstDifference(graph.Play(), EngineRun(state, plan, bCompensation)) == -1);
        }
    }
}

TEST_CASE(
    "DX stream: a mono file into a stereo output gives the mono result on both sides, however short it is") {
    const Test::PluginRig rig;
    const auto plugin = rig.module.Create();
    REQUIRE(LoadState(plugin.Get(), EngineState(kDelaying)) == S_OK);
    GraphDriver graph(plugin.Get());
    auto plan = NoisePlan({true, 32, 1, 44100}, 6000);
    // Noise and then silence, so that a stream cut behind the noise has the same head.
    constexpr std::size_t kNoise = 4 * 100;
    std::fill(plan.sound.bytes.begin() + kNoise, plan.sound.bytes.end(), std::uint8_t{0});
    plan.blocks = {64};
    graph.Connect(plan);
    const auto mono = graph.Play();
    graph.ConnectMonoToStereo(plan);
    const auto stereo = graph.Play();
    std::vector<std::uint8_t> doubled;
    for (auto from = mono.begin(); from != mono.end(); from += 4)
        for (int iChannel = 0; iChannel < 2; ++iChannel)
            doubled.insert(doubled.end(), from, from + 4);
    CHECK(FirstDifference(stereo, doubled) == -1);
    plan.sound.bytes.resize(kNoise);
    graph.Connect(plan);
    CHECK(FirstDifference(graph.Play(), {mono.begin(), mono.begin() + kNoise}) == -1);
}

TEST_CASE("DX stream: output times stay in line with the input's, in pieces that fit the host's buffers") {
    const AudioFormat format{true, 32, 2, 44100};
    for (const bool bCompensation : {true, false}) {
        CAPTURE(bCompensation);
        const Test::PluginRig rig(bCompensation);
        const auto plugin = rig.module.Create();
        REQUIRE(LoadState(plugin.Get(), EngineState(kDelaying)) == S_OK);
        GraphDriver graph(plugin.Get());
        auto plan = NoisePlan(format, 20000);
        plan.bMediaTimes = true;
        plan.nStart = 31'000'007;
        plan.blocks = {500, 1, 1200};
        std::vector<std::uint8_t> whole;
        for (const long nBuffer : {0l, 100 * 8l + 3}) {
            CAPTURE(nBuffer);
            graph.Arrived().SetBufferBytes(nBuffer);
            graph.Connect(plan);
            const auto bytes = graph.Play();
            const auto arrivals = graph.Arrived().Arrivals();
            CHECK(bytes.size() == plan.sound.bytes.size());
            CHECK(StampFaults(arrivals, format, plan.nStart) == "");
            if (nBuffer == 0) whole = bytes;
            CHECK(bytes == whole);
            std::size_t uLongest = 0;
            for (const Arrival& arrival : arrivals)
                uLongest = std::max(uLongest, arrival.bytes.size());
            if (nBuffer != 0) CHECK(uLongest == 100 * 8);
        }
    }
}

TEST_CASE("DX stream: a jump in time, a preroll and samples without times go through as they came") {
    const Test::PluginRig rig(false);
    const auto plugin = rig.module.Create();
    REQUIRE(LoadState(plugin.Get(), EngineState({})) == S_OK);
    GraphDriver graph(plugin.Get());
    auto plan = NoisePlan({false, 16, 2, 44100}, 3000);
    plan.blocks = {400};
    plan.marks = {{1000, 900'000'000, false}, {2000, std::nullopt, true}};
    graph.Arrived().SetBufferBytes(4 * 300);
    graph.Connect(plan);
    graph.Play();
    std::int64_t nFrame = 0;
    std::string strFaults;
    for (const Arrival& arrival : graph.Arrived().Arrivals()) {
        const std::int64_t nExpected =
            nFrame < 1000 ? TimeOfFrame(static_cast<std::uint64_t>(nFrame), 44100)
                          : 900'000'000 + TimeOfFrame(static_cast<std::uint64_t>(nFrame - 1000), 44100);
        if (!arrival.time || std::abs(arrival.time->first - nExpected) > 2) strFaults += "time ";
        if (arrival.mediaTime || !arrival.bSyncPoint) strFaults += "media time, sync point ";
        // All pieces of one sample bear its flags.
        const bool bJump = nFrame < 400 || (nFrame >= 1000 && nFrame < 1400);
        if (arrival.bDiscontinuity != bJump) strFaults += "discontinuity at " + std::to_string(nFrame) + ' ';
        if (arrival.bPreroll != (nFrame >= 2000 && nFrame < 2400)) strFaults += "preroll ";
        nFrame += static_cast<std::int64_t>(arrival.bytes.size() / 4);
    }
    CHECK(nFrame == 3000);
    CHECK(strFaults == "");

    plan.bTimes = false;
    plan.blocks = {512, 0, 100};
    graph.Connect(plan);
    CHECK(graph.Play().size() == plan.sound.bytes.size());
    strFaults = "";
    for (const Arrival& arrival : graph.Arrived().Arrivals())
        if (arrival.time || arrival.bytes.empty()) strFaults += "a time from nowhere, or an empty sample ";
    CHECK(strFaults == "");
}

TEST_CASE("DX stream: a stop in the middle of a delivery comes back, and the next run starts afresh") {
    const Test::PluginRig rig;
    const auto plugin = rig.module.Create();
    const auto state = EngineState(kDelaying);
    REQUIRE(LoadState(plugin.Get(), state) == S_OK);
    GraphDriver graph(plugin.Get());
    const auto plan = NoisePlan({true, 32, 2, 44100}, 44100);
    graph.Connect(plan);
    for (const bool bStarve : {false, true, false, true}) {
        graph.Arrived().Clear();
        graph.Arrived().BlockAfter(bStarve ? UINT64_MAX : 2);
        const auto uBuffers = static_cast<std::size_t>(graph.Arrived().Buffers().cBuffers);
        graph.Arrived().Withhold(bStarve ? uBuffers : 0);
        graph.Pause();
        REQUIRE(graph.Arrived().WaitForSamples(bStarve ? uBuffers : 3, Test::kPatience));
        graph.Stop();
        CHECK(graph.Arrived().EndsOfStream() == 0);
    }
    graph.Arrived().BlockAfter(UINT64_MAX);
    graph.Arrived().Withhold(0);
    CHECK(FirstDifference(graph.Play(), EngineRun(state, plan, true)) == -1);

    SUBCASE("a sink that refuses ends the stream, and the source hears why") {
        graph.Arrived().Clear();
        graph.Arrived().AnswerWith(E_ACCESSDENIED);
        graph.Pause();
        REQUIRE(graph.Source().Output().Feed().WaitUntilFed(Test::kPatience));
        CHECK(graph.Source().Output().Feed().LastResult() == E_ACCESSDENIED);
        graph.Stop();
    }
    SUBCASE(
        "a seek in mid-stream goes through the plug-in to the source, and what was under way is dropped") {
        graph.Arrived().Clear();
        graph.Arrived().BlockAfter(5);
        graph.Pause();
        REQUIRE(graph.Arrived().WaitForSamples(6, Test::kPatience));
        graph.Arrived().BlockAfter(UINT64_MAX);
        graph.Seek(2'500'000);
        REQUIRE(graph.Arrived().WaitForEnd(Test::kPatience));
        graph.Stop();
        std::vector<Arrival> after;
        std::vector<std::uint8_t> bytes;
        for (const Arrival& arrival : graph.Arrived().Arrivals())
            if (arrival.uFlushes == 1) {
                after.push_back(arrival);
                bytes.insert(bytes.end(), arrival.bytes.begin(), arrival.bytes.end());
            }
        auto rest = plan;
        rest.sound.bytes.erase(rest.sound.bytes.begin(), rest.sound.bytes.begin() + 11025 * 8);
        CHECK(FirstDifference(bytes, EngineRun(state, rest, true)) == -1);
        REQUIRE(!after.empty());
        REQUIRE(after.front().time);
        CHECK(std::abs(after.front().time->first - 2'500'000) <= 2);
    }
}

TEST_CASE("DX stream: an envelope moves its parameter where its time lies, and a flushed one does not") {
    const Test::PluginRig rig(false);
    const auto plugin = rig.module.Create();
    const MediaParameters parameters(plugin.Get());
    GraphDriver graph(plugin.Get());
    auto plan = NoisePlan({true, 32, 2, 44100}, 44100);
    // A constant, so that a gain can be read off each frame.
    for (std::size_t i = 0; i < plan.sound.bytes.size(); i += 4) {
        const float fHalf = 0.5f;
        std::memcpy(&plan.sound.bytes[i], &fHalf, sizeof fHalf);
    }
    plan.nStart = 100'000'000;
    graph.Connect(plan);
    const auto decibelsAt = [](const std::vector<std::uint8_t>& bytes, std::size_t uFrame) {
        float fSample = 0.0f;
        std::memcpy(&fSample, &bytes[uFrame * 8], sizeof fSample);
        return 20.0 * std::log10(fSample / 0.5);
    };
    // From 10.25 s to 10.75 s of the host's time: the middle half of the file.
    const MediaParameter& gain = parameters.Find("Gain: Output Left");
    parameters.Add(gain, {{10.25, 10.75, 0.0f, -12.0f, MP_CURVE_LINEAR}});
    const auto moved = graph.Play();
    // A block and a stride of automation are what a value may lag behind.
    const double fLag = 12.0 * 2 * (512 + 50) / 22050;
    CHECK(std::abs(decibelsAt(moved, 5000)) < 1e-3);
    CHECK(std::abs(decibelsAt(moved, 22050) + 6.0) < fLag);
    CHECK(std::abs(decibelsAt(moved, 40000) + 12.0) < 1e-3);

    parameters.Set(gain, 0.0f);
    parameters.Flush(gain, 0.0, 1000.0);
    const auto still = graph.Play();
    CHECK(std::abs(decibelsAt(still, 22050)) < 1e-3);
    CHECK(std::abs(decibelsAt(still, 40000)) < 1e-3);
}
