#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/CrossOver.h"
#include "dsp/Dynamics.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

using Test::TestPlugin;

namespace {

/// The crossover with the dynamics alone, in one band.
ModuleSet DynamicsChain(PluginContext& plugin) {
    ModuleSet modules;
    auto* const crossOver = modules.Add<DSP::CrossOver>(plugin);
    auto* const dynamics = modules.Add<DSP::Dynamics>(plugin);
    modules.crossOver = crossOver;
    modules.bands = crossOver;
    modules.dynamics = dynamics;
    crossOver->SetBandModules({dynamics});
    return modules;
}

}  // namespace

TEST_CASE("Dither is behind the output gain: what leaves the chain is on the grid of the word length") {
    TestPlugin plugin;
    plugin.Set("Gain: Output Left", -7.3);
    plugin.Set("DTR: Dithering Bit Depth", 1);
    plugin.Set("DTR: Dithering Type", 3);
    plugin.BeginStreaming(44100);
    const auto output = plugin.Render({Test::Noise(1, 3000), Test::Noise(2, 3000)}, {512});
    for (const auto* channel : {&output.left, &output.right}) {
        CHECK(std::all_of(channel->begin(), channel->end(),
                          [](float fSample) { return fSample * 2048.0f == std::floor(fSample * 2048.0f); }));
    }
}

TEST_CASE("The exciter follows the crossover's cutoffs as they are set, also while they wait for an order") {
    const auto render = [](double fFirstCutoff) {
        TestPlugin plugin;
        plugin.Set("EXC: Bypass", 0);
        plugin.Set("EXC: Band 1 Amount", 12);
        plugin.BeginStreaming(44100);
        // Above the second cutoff: the bands stay where they were.
        plugin.Set("CrossOver: Cutoff 1", fFirstCutoff);
        return plugin.Render({Test::Noise(1, 3000), Test::Noise(2, 3000)}, {512});
    };
    CHECK(Test::WorstDifference(render(5000).left, render(9000).left) > 1e-4f);
}

TEST_CASE("Automation moves the matching amount, and the equalizer's sound with it") {
    std::vector<float> ends;
    for (const bool bAutomated : {false, true}) {
        TestPlugin plugin;
        plugin.GetTransform().Snapshots()->SetTarget(8);
        plugin.Set("EQ: Bypass", 0);
        plugin.Set("EQ: Type", 2);
        const EnvelopeSegment jump{0, 1, 100.0f, 100.0f, 0, EnvelopeCurve::Jump};
        if (bAutomated) {
            plugin.Find("Snapshot").Envelopes().AddSegments(ParameterGroup::Float, 0, {&jump, 1});
        } else {
            plugin.Set("EQ: Matching Amount", 100);
        }
        plugin.BeginStreaming(44100);
        ends.push_back(plugin.Render({Test::Noise(3, 30000), {}}, {512}).left.back());
        CHECK(plugin.Get("EQ: Matching Amount") == 100.0);
    }
    CHECK(ends[0] == ends[1]);
}

TEST_CASE("Automation switches the only band module on, off and on again") {
    TestPlugin plugin(&DynamicsChain);
    plugin.Set("CrossOver: Number of Bands", 1);
    plugin.Set("DYN: Global Gain", -20);
    // The rate makes a frame 1250 ticks long: off until frame 1000, on, off from 3000, on from 5000.
    plugin.BeginStreaming(8000);
    const auto at = [](std::int64_t nFrame) { return nFrame * 1250; };
    const EnvelopeSegment segments[] = {{at(1000), at(3000), 0.0f, 1.0f}, {at(5000), at(9000), 0.0f, 0.0f}};
    Component& dynamics = plugin.Find("Squash");
    dynamics.Envelopes().AddSegments(ParameterGroup::Bool, 0, segments);
    dynamics.SetAutomationActive(dynamics.HasAutomation());

    const auto output = plugin.Render({std::vector<float>(7000, 0.5f), {}}, {100});
    REQUIRE(output.left.size() == 7000);
    // Away from the switches by a block and the look-ahead.
    const auto stands = [&](std::size_t uFrom, std::size_t uTo, float fLevel) {
        return std::all_of(output.left.begin() + std::ptrdiff_t(uFrom),
                           output.left.begin() + std::ptrdiff_t(uTo),
                           [&](float fSample) { return std::abs(fSample - fLevel) < 1e-6f; });
    };
    CHECK(stands(0, 1000, 0.5f));
    CHECK(stands(1200, 3000, 0.05f));
    CHECK(stands(3200, 5000, 0.5f));
    CHECK(stands(5200, 7000, 0.05f));
}
