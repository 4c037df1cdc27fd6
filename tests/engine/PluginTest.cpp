#include "PluginBase/Plugin.h"

#include <doctest/doctest.h>

#include <cmath>

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

TEST_CASE("Automated bypass switches at stride boundaries only, and switching on drops all history") {
    Engine engine;
    engine.fake.SetFactor(-1.0f);
    // 125 lies in the third stride of 50 (frames 100 to 149); the end at 310 in the seventh.
    engine.AutomateBypass({Bypass(125, 310, 1.0f), Bypass(310, 100000, 0.0f)});
    engine.fake.nClears = 0;
    const std::vector<float> left(500, 0.5f), right(500, 0.25f);
    const auto output = engine.Render({left, right}, {500});
    REQUIRE(output.left.size() == 500);
    for (std::size_t i = 0; i < 500; ++i) {
        CAPTURE(i);
        const float fFactor = i >= 100 && i < 300 ? 1.0f : -1.0f;
        REQUIRE(std::abs(output.left[i] - fFactor * 0.5f) < 1e-6f);
        REQUIRE(std::abs(output.right[i] - fFactor * 0.25f) < 1e-6f);
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

    const auto left = Test::Noise(1, 300), right = Test::Noise(2, 300);
    const auto output = engine.Render({left, right}, {64});
    CHECK(engine.fake.nStreamResets == 1);
    CHECK(engine.fake.nClears == 1);
    CHECK_FALSE(engine.fake.calls.back().bStereo);
    CHECK(Test::FirstDifference(output.left, output.right) == -1);
    for (std::size_t i = 0; i < 300; ++i)
        REQUIRE(std::abs(output.left[i] - (left[i] + right[i]) * 0.5f) <= 1.1e-10f);
    engine.Set("Global: Process As Mono", 0);
    CHECK(engine.Render({left, right}, {64}).right[299] == doctest::Approx(right[299]));
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
    CHECK(engine.GetTransform().SystemDelay() == 0);
    engine.EndPresetChange();
    CHECK(engine.GetTransform().SystemDelay() == 77);
    engine.BeginPresetChange();
    engine.fake.SetOn(false);
    CHECK(engine.fake.Active());
    engine.EndPresetChange();
    CHECK_FALSE(engine.fake.Active());
}

TEST_CASE("Behind a host with a latency of its own the delay follows the buffer size that it is set to") {
    struct Buffered : TestPlugin {
        std::uint32_t HostLatency(bool bFrozen) override {
            return (bFrozen ? 1u : 32u) << static_cast<std::uint32_t>(Get("Global: Global Buffer Size"));
        }
    } plugin;
    plugin.SetHostKind(2);
    plugin.Set("Global: Global Buffer Size", 3);
    CHECK(plugin.GetTransform().SystemDelay() == 256);
    plugin.SetFrozenSystemDelay(1000);
    CHECK(plugin.GetTransform().SystemDelay() == 1008);
}

TEST_CASE("A hundred blocks are logged with what came out of them, then the log stops by itself") {
    Engine engine;
    engine.fake.SetLatency(10);
    engine.Set("Global: Delay Compensation", 1);
    engine.BeginStreaming(44100);
    CHECK(engine.Process(0, nullptr, nullptr, nullptr, nullptr) == 0);
    CHECK(engine.LoggedBlocks().input.empty());
    engine.LogBlockSizes();
    engine.Render({std::vector<float>(4 * 150), {}}, {4});
    auto log = engine.LoggedBlocks();
    CHECK(log.input == std::vector<std::uint32_t>(100, 4));
    CHECK(log.output.size() == 100);
    log.output.resize(4);
    CHECK(log.output == std::vector<std::uint32_t>{0, 0, 2, 4});
    CHECK_FALSE(engine.IsLoggingBlockSizes());
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
}
#endif
