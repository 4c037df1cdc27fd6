#include <doctest/doctest.h>

#include <atomic>
#include <thread>

#include "dsp/Gain.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

using Test::FakeModule;
using Test::TestPlugin;

namespace {

ModuleSet GainAndFake(PluginContext& plugin) {
    ModuleSet modules;
    modules.gain = modules.Add<DSP::Gain>(plugin);
    auto* const fake = modules.Add<FakeModule>(plugin, "Fake");
    fake->SetOn(true);
    modules.equalizer = fake;
    return modules;
}

/// Streams until each of the other threads has done its work a number of times.
template <class... Work>
void WhileStreaming(TestPlugin& plugin, std::uint64_t uRounds, Work... work) {
    std::atomic<std::size_t> uBusy = sizeof...(work);
    const auto repeat = [&](auto& task) {
        for (std::uint64_t uRound = 0; uRound < uRounds; ++uRound)
            task(uRound);
        --uBusy;
    };
    std::vector<std::thread> threads;
    (threads.emplace_back([&repeat, &work] { repeat(work); }), ...);
    auto left = Test::Noise(1, 64), right = Test::Noise(2, 64);
    std::vector<float> outLeft(64), outRight(64);
    for (std::int64_t i = 0; uBusy != 0; ++i) {
        plugin.SetBlockStart(i % 10000 * 14512);
        plugin.Process(64, left.data(), right.data(), outLeft.data(), outRight.data());
        // A host waits for its sound card between two blocks; without a pause the transform lock is never
        // free.
        std::this_thread::yield();
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace

TEST_CASE(
    "Setters, states, presets and automation from other threads neither race with a stream nor lock it up") {
    TestPlugin plugin(&GainAndFake);
    auto& fake = static_cast<FakeModule&>(plugin.Find("Fake"));
    plugin.Set("Global: Delay Compensation", 1);
    plugin.BeginStreaming(44100);
    // Without what would keep the chain, or the module in its first place, from running at all.
    auto parameters = AllParameters(plugin.Components());
    plugin.Set("Global: Preset Change Mode", 0);
    for (const char* name :
         {"Global: Bypass", "Global: Preset Change Mode", "Global: Filter Graph Item 0", "Fake: On"}) {
        std::erase(parameters, plugin.Parameter(name));
    }
    std::vector<std::uint8_t> state;
    plugin.CaptureState(state);

    const auto setParameters = [&](std::uint64_t uRound) {
        Test::Random random(uRound);
        const ParameterRef& parameter =
            parameters[random.Between(0, static_cast<std::uint32_t>(parameters.size()) - 1)];
        parameter.Set(parameter.Min() + (parameter.Max() - parameter.Min()) * double{random.Uniform(0, 1)});
    };
    const auto loadState = [&](std::uint64_t) { plugin.ApplyState(state, Plugin::ApplyMode::Silent); };
    // The automation switches the module and its block size from within the audio thread, which asks for
    // updates while the state load above holds the plug-in's lock and wants the component's.
    const auto automate = [&](std::uint64_t uRound) {
        const auto nStart = static_cast<std::int64_t>(uRound % 1000) * 14512;
        const EnvelopeSegment segment{nStart, nStart + 20000, 0.0f, 100.0f, 0, EnvelopeCurve::Linear};
        fake.Envelopes().AddSegments(ParameterGroup::Int, 0, {&segment, 1});
        fake.Envelopes().AddSegments(ParameterGroup::Bool, 0, {&segment, 1});
        if (uRound % 8 == 7) {
            fake.Envelopes().RemoveSegments(ParameterGroup::Int, 0, INT64_MIN, INT64_MAX);
            fake.Envelopes().RemoveSegments(ParameterGroup::Bool, 0, INT64_MIN, INT64_MAX);
        }
    };
    const auto changePreset = [&](std::uint64_t uRound) {
        if (uRound % 16 != 0) return std::this_thread::yield();
        plugin.BeginPresetChange();
        plugin.EndPresetChange();
    };
    WhileStreaming(plugin, 10000, setParameters, loadState, automate, changePreset);
    CHECK(fake.calls.size() > 0);
    CHECK(plugin.GetTransform().SystemDelay() < 2048);
}
