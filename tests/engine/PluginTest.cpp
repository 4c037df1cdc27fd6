#include "PluginBase/Plugin.h"

#include <doctest/doctest.h>

#include <cmath>

#include "tests/support/CountingAllocator.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"
#ifndef _WIN32
#include "hvBase/Util/MessageQueue.h"
#endif

using Test::FakeModule;
using Test::TestPlugin;

namespace {

ModuleSet GainAndEqualizer(PluginContext& plugin) {
    ModuleSet modules = BuildModules(plugin);
    auto* const fake = modules.Add<FakeModule>(plugin, "Fake");
    fake->SetOn(true);
    modules.equalizer = fake;
    return modules;
}

struct Engine : TestPlugin {
    Engine() : TestPlugin(&GainAndEqualizer), fake(static_cast<FakeModule&>(Find("Fake"))) {
        BeginStreaming(44100);
    }

    void AutomateBypass(std::initializer_list<EnvelopeSegment> segments) {
        Find("Global").Envelopes().AddSegments(ParameterGroup::Bool, 0, {segments.begin(), segments.size()});
    }

    FakeModule& fake;
};

std::int64_t Ticks(std::int64_t nFrames) {
    return nFrames * 10'000'000 / 44100 + 1;
}

EnvelopeSegment Bypass(std::int64_t nFrom, std::int64_t nTo, float fValue) {
    return {Ticks(nFrom), Ticks(nTo), fValue, fValue, 0, EnvelopeCurve::Jump};
}

}  // namespace

TEST_CASE("A hard bypass gives the input times the bypass gain, without delay, and runs no module") {
    Engine engine;
    engine.fake.SetLatency(100);
    engine.Set("Global: Delay Compensation", 1);
    engine.Set("Bypass Gain", -20);
    engine.Set("Gain: Input Left", 6);
    engine.Set("Global: Bypass", 1);
    engine.fake.calls.clear();
    const auto left = Test::Noise(1, 1000);
    const auto right = Test::Noise(2, 1000);
    const auto output = engine.Render({left, right}, {64});
    // dB to linear with the system's own factor, which gives a tenth to six digits.
    const auto fGain = static_cast<float>(std::exp(-20.0 * 0.115129255));
    for (std::size_t i = 0; i < 1000; ++i) {
        REQUIRE(output.left[i] == left[i] * fGain);
        REQUIRE(output.right[i] == right[i] * fGain);
    }
    CHECK(engine.fake.calls.empty());
    CHECK(std::abs(fGain - 0.1f) < 1e-6f);
}

TEST_CASE("An empty block does nothing at all") {
    Engine engine;
    CHECK(engine.Process(0, nullptr, nullptr, nullptr, nullptr) == 0);
    CHECK(engine.fake.calls.empty());
}

TEST_CASE("Automated bypass switches at stride boundaries only, and switching on drops all history") {
    Engine engine;
    engine.fake.SetFactor(-1.0f);
    // 125 lies in the third stride of 50 (frames 100 to 149); the end at 310 in the seventh.
    engine.AutomateBypass({Bypass(125, 310, 1.0f), Bypass(310, 100000, 0.0f)});
    engine.fake.nClears = 0;
    std::vector<float> input(500, 0.5f);
    const auto output = engine.Render({input, {}}, {500});
    REQUIRE(output.left.size() == 500);
    for (std::size_t i = 0; i < 500; ++i) {
        CAPTURE(i);
        const bool bBypassed = i >= 100 && i < 300;
        REQUIRE(std::abs(output.left[i] - (bBypassed ? 0.5f : -0.5f)) < 1e-6f);
    }
    CHECK(engine.fake.nClears == 1);
    CHECK(engine.fake.calls.size() == 6);
    CHECK_FALSE(engine.Get("Global: Bypass") != 0);
}

TEST_CASE("A user who holds the bypass switch keeps it against the automation") {
    Engine engine;
    engine.AutomateBypass({Bypass(0, 100000, 1.0f)});
    engine.Find("Global").BoolInfo(0).bTouched = true;
    engine.Render({std::vector<float>(200), {}}, {100});
    CHECK(engine.Get("Global: Bypass") == 0);
    engine.Find("Global").BoolInfo(0).bTouched = false;
    engine.Render({std::vector<float>(200), {}}, {100});
    CHECK(engine.Get("Global: Bypass") == 1);
}

TEST_CASE("Process As Mono gives both sides the average, clears all modules once, and waits for stereo") {
    Engine engine;
    engine.Set("Global: Process As Mono", 1);
    engine.fake.nClears = engine.fake.nStreamResets = 0;
    engine.Render({std::vector<float>(100), {}}, {50});
    CHECK(engine.fake.nStreamResets == 0);

    const auto left = Test::Noise(1, 300);
    const auto right = Test::Noise(2, 300);
    const auto output = engine.Render({left, right}, {64});
    CHECK(engine.fake.nStreamResets == 1);
    CHECK(engine.fake.nClears == 1);
    CHECK_FALSE(engine.fake.calls.back().bStereo);
    CHECK(Test::FirstDifference(output.left, output.right) == -1);
    for (std::size_t i = 0; i < 300; ++i) {
        const float fAverage = (left[i] + right[i]) * 0.5f;
        REQUIRE(std::abs(output.left[i] - fAverage) <= 1.1e-10f);
    }
    engine.Set("Global: Process As Mono", 0);
    CHECK(engine.Render({left, right}, {64}).right[299] == doctest::Approx(right[299]));
    CHECK(engine.fake.nStreamResets == 2);
}

TEST_CASE("A preset change bypasses, mutes or goes on, as the user has chosen") {
    Engine engine;
    engine.fake.SetFactor(-1.0f);
    const std::vector<float> input(64, 0.5f);
    const auto first = [&] { return engine.Render({input, input}, {64}).right[63]; };
    const auto change = [&](double fMode) {
        engine.Set("Global: Preset Change Mode", fMode);
        engine.BeginPresetChange();
    };
    change(0);
    CHECK(first() == doctest::Approx(-0.5));
    engine.EndPresetChange();
    change(1);
    CHECK(first() == 0.5f);
    engine.EndPresetChange();
    change(2);
    engine.fake.calls.clear();
    CHECK(first() == 0.0f);
    CHECK(engine.fake.calls.empty());
    // The hard bypass is not looked at meanwhile.
    engine.Set("Global: Bypass", 1);
    CHECK(first() == 0.0f);
    engine.EndPresetChange();
    CHECK(first() == 0.5f);
    CHECK(engine.TakePresetChangeSeen());
    CHECK_FALSE(engine.TakePresetChangeSeen());
}

TEST_CASE("During a preset change delay and activity wait for its end") {
    Engine engine;
    engine.BeginPresetChange();
    engine.fake.SetLatency(77);
    engine.fake.SetOn(false);
    engine.fake.SetOn(true);
    CHECK(engine.GetTransform().SystemDelay() == 0);
    engine.EndPresetChange();
    CHECK(engine.GetTransform().SystemDelay() == 77);
    engine.BeginPresetChange();
    engine.fake.SetOn(false);
    CHECK(engine.fake.Active());
    engine.EndPresetChange();
    CHECK_FALSE(engine.fake.Active());
}

TEST_CASE("A hundred blocks are logged, then the log stops by itself") {
    Engine engine;
    engine.fake.SetLatency(10);
    engine.Set("Global: Delay Compensation", 1);
    engine.BeginStreaming(44100);
    engine.Render({std::vector<float>(20), {}}, {20});
    CHECK(engine.LoggedBlocks().input.empty());
    engine.BeginStreaming(44100);
    engine.LogBlockSizes();
    engine.Render({std::vector<float>(4 * 150), {}}, {4});
    const auto log = engine.LoggedBlocks();
    CHECK(log.input == std::vector<std::uint32_t>(100, 4));
    CHECK(log.output.size() == 100);
    CHECK(log.output[1] == 0);
    CHECK(log.output[2] == 2);
    CHECK(log.output[3] == 4);
    CHECK_FALSE(engine.IsLoggingBlockSizes());
    engine.LogBlockSizes();
    engine.Render({std::vector<float>(8), {}}, {4});
    CHECK(engine.LoggedBlocks().input.size() == 100);
    CHECK_FALSE(engine.IsLoggingBlockSizes());
}

TEST_CASE("The chain's output does not depend on how a stream is cut, and nothing is allocated once warm") {
    const auto left = Test::Noise(11, 20000);
    const auto right = Test::Noise(12, 20000);
    Engine whole;
    whole.Set("Gain: Input Left", -3.3);
    const auto expected = whole.Render({left, right}, {20000});
    for (std::uint64_t uSeed = 0; uSeed < 6; ++uSeed) {
        CAPTURE(uSeed);
        Engine engine;
        engine.Set("Gain: Input Left", -3.3);
        const auto output =
            engine.Render({left, right}, Test::RandomCuts(uSeed, 20000, uSeed < 2 ? 8 : 5000));
        CHECK(Test::FirstDifference(output.left, expected.left) == -1);
        CHECK(Test::FirstDifference(output.right, expected.right) == -1);
    }

    TestPlugin plugin;
    plugin.BeginStreaming(44100);
    std::vector<float> buffers[4];
    for (auto& buffer : buffers)
        buffer.resize(8192);
    const auto process = [&](std::uint32_t uFrames) {
        plugin.Process(uFrames, buffers[0].data(), buffers[1].data(), buffers[2].data(), buffers[3].data());
    };
    process(8192);
    const ParameterRef gain = plugin.Parameter("Gain: Output Left");
    plugin.events.reserve(16);  // the linked channel tells the host
    Test::AllocationCounter counter;
    for (const std::uint32_t uFrames : {1u, 64u, 500u, 8192u})
        process(uFrames);
    gain.Set(3);
    process(512);
    CHECK(counter.Count() == 0);
}

TEST_CASE("NaN and infinity in a block leave nothing behind in an empty chain") {
    TestPlugin plugin;
    plugin.BeginStreaming(44100);
    plugin.Render({{NAN, INFINITY, -INFINITY, 1e30f}, {NAN, NAN, NAN, NAN}}, {4});
    const auto input = Test::Noise(1, 1000);
    const auto output = plugin.Render({input, input}, {100});
    CHECK(Test::WorstDifference(output.left, input) < 1e-9f);
}

#ifndef _WIN32
TEST_CASE("The editor gets one refresh at a time, and the codes of a stream's life") {
    Util::MessageQueue queue;
    Engine engine;
    engine.SetEditorWindow(queue.Handle());
    const auto codes = [&] {
        std::vector<std::uint64_t> taken;
        for (Util::MessageQueue::Message message; queue.Take(message);) {
            CHECK(message.uMessage == Util::RegisterWindowMessageName("hvAudio_WM_HV_AUDIO_CUSTOM"));
            CHECK(message.nSecond == 0);
            taken.push_back(message.uFirst);
        }
        return taken;
    };
    engine.fake.SetOn(false);
    engine.fake.SetOn(true);
    engine.fake.SetLatency(3);
    CHECK(codes() == std::vector<std::uint64_t>{0});
    engine.fake.SetLatency(4);
    CHECK(codes().empty());
    engine.AcknowledgeRefresh();
    engine.fake.SetLatency(5);
    CHECK(codes() == std::vector<std::uint64_t>{0});
    engine.AcknowledgeRefresh();
    engine.BeginStreaming(44100);
    engine.BeginStreaming(48000);
    engine.EndStreaming();
    CHECK(codes() == std::vector<std::uint64_t>{2, 2, 4, 3});

    // Automation asks for a refresh; it is posted no more often than every 67 ms, so once here.
    engine.AutomateBypass({Bypass(0, 1000000, 1.0f)});
    engine.Render({std::vector<float>(500), {}}, {100});
    CHECK(codes().size() <= 1);
}
#endif
