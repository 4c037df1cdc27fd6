#include <doctest/doctest.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "apps/dxhost/MediaParameters.h"
#include "tests/directx/PluginRig.h"

using namespace DxHost;

namespace {

/// How many times longer than in a usual run the long tests take: a soak is the same test with more rounds.
std::uint32_t SoakFactor() {
    const char* const text = std::getenv("VESCA_SOAK");
    const int nFactor = text ? std::atoi(text) : 1;
    return nFactor > 1 ? static_cast<std::uint32_t>(nFactor) : 1;
}

/// Blocks in use on the runtime library's heap, which the plug-in's file shares with the test.
std::size_t BlocksInUse() {
    _HEAPINFO entry{};
    std::size_t uUsed = 0;
    while (_heapwalk(&entry) == _HEAPOK)
        if (entry._useflag == _USEDENTRY) ++uUsed;
    return uUsed;
}

DWORD HandlesInUse() {
    DWORD uCount = 0;
    GetProcessHandleCount(GetCurrentProcess(), &uCount);
    return uCount;
}

/// One life in a host: state, parameters, a graph that plays, and a stop in the middle.
void LiveOnce(const PluginModule& module, const std::vector<std::uint8_t>& state, bool bDisconnect) {
    const auto plugin = module.Create();
    CHECK(LoadState(plugin.Get(), state) == S_OK);
    const MediaParameters parameters(plugin.Get());
    parameters.Add(parameters.Find("Gain: Input Left"), {{0.0, 1.0, -3.0f, 3.0f, MP_CURVE_SQUARE}});
    GraphDriver graph(plugin.Get());
    SourcePlan plan;
    plan.sound = Test::NoiseSound({false, 24, 2, 48000}, 4000);
    graph.Connect(plan);
    graph.Pause();
    CHECK(graph.Arrived().WaitForSamples(2, Test::kPatience));
    graph.Stop();
    if (bDisconnect) graph.Disconnect();
}

}  // namespace

TEST_CASE(
    "DX life: a thousand plug-ins made and released leave no memory, no handle and no reference behind") {
    const Test::PluginRig rig;
    const auto state = Test::EngineState({{"EQ: Bypass", 0}, {"RVB: Bypass", 0}, {"LMAX: Bypass", 0}});
    const auto live = [&](std::uint32_t uRounds) {
        for (std::uint32_t i = 0; i < uRounds; ++i) {
            if (i % 20 == 0) {
                LiveOnce(rig.module, state, i % 40 == 0);
            } else {
                rig.module.Create();
            }
        }
    };
    // The first rounds fill what lives as long as the process: tables, the platform's caches.
    live(60);
    const std::size_t uBlocks = BlocksInUse();
    const DWORD uHandles = HandlesInUse();
    live(1000 * SoakFactor());
    REQUIRE(uBlocks > 100);
    // One block or handle in every full life would be fifty.
    CHECK(BlocksInUse() < uBlocks + 25);
    CHECK(HandlesInUse() < uHandles + 25);
    CHECK(rig.module.CanUnload());
    const auto plugin = rig.module.Create();
    CHECK(!rig.module.CanUnload());
}

TEST_CASE("DX life: two plug-ins play at once while other threads load states and set parameters") {
    const Test::PluginRig rig;
    const auto busy = Test::EngineState({{"EQ: Bypass", 0},
                                         {"EQ: Type", 1},
                                         {"RVB: Bypass", 0},
                                         {"DYN: Bypass", 0},
                                         {"EXC: Bypass", 0},
                                         {"IMG: Bypass", 0},
                                         {"LMAX: Bypass", 0},
                                         {"DTR: Dithering Type", 1}});
    const auto still = Test::EngineState({});
    const ComPtr<IBaseFilter> plugins[] = {rig.module.Create(), rig.module.Create()};
    SourcePlan plan;
    plan.sound = Test::NoiseSound({true, 32, 2, 44100}, 44100 * 4);
    plan.blocks = {512, 37, 2000};

    std::atomic<bool> bDone{false};
    std::atomic<std::uint32_t> uFailures{0};
    std::vector<std::thread> threads;
    for (const auto& plugin : plugins) {
        threads.emplace_back([&, filter = plugin.Get()] {
            while (!bDone) {
                for (const auto* const state : {&busy, &still})
                    if (LoadState(filter, *state) != S_OK) ++uFailures;
                if (SaveState(filter).size() != busy.size()) ++uFailures;
            }
        });
        threads.emplace_back([&, filter = plugin.Get()] {
            const MediaParameters parameters(filter);
            Test::Random random(7);
            while (!bDone) {
                const auto uLast = static_cast<std::uint32_t>(parameters.All().size() - 1);
                const MediaParameter& parameter = parameters.All()[random.Between(0, uLast)];
                const float fValue = random.Uniform(parameter.info.mpdMinValue, parameter.info.mpdMaxValue);
                parameters.Set(parameter, fValue);
                if (random.Between(0, 3) == 0)
                    parameters.Add(parameter, {{0.0, 1.0, fValue, fValue, MP_CURVE_LINEAR}});
                if (random.Between(0, 3) == 0) parameters.Flush(parameter, 0.0, 100.0);
            }
        });
    }
    {
        GraphDriver first(plugins[0].Get());
        GraphDriver second(plugins[1].Get());
        for (std::uint32_t i = 0; i < 2 * SoakFactor(); ++i) {
            for (GraphDriver* const graph : {&first, &second}) {
                graph->Connect(plan);
                graph->Run();
            }
            for (GraphDriver* const graph : {&first, &second}) {
                CHECK(graph->WaitForComplete(10 * Test::kPatience));
                graph->Stop();
            }
        }
        bDone = true;
        for (std::thread& thread : threads)
            thread.join();
        CHECK(uFailures == 0);

        // Nothing of the turmoil stays: with its envelopes taken away and a state loaded, each plays that
        // state.
        for (GraphDriver* const graph : {&first, &second}) {
            const auto& plugin = plugins[graph == &second];
            const MediaParameters parameters(plugin.Get());
            for (const MediaParameter& parameter : parameters.All())
                parameters.Flush(parameter, -1e6, 1e6);
            parameters.Set(parameters.Find("Global: Bypass"), 0.0f);
            REQUIRE(LoadState(plugin.Get(), still) == S_OK);
            CHECK(SaveState(plugin.Get()) == still);
            CHECK(Test::FirstDifference(graph->Play(), Test::EngineRun(still, plan, true)) == -1);
        }
    }
}
