#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/CrossOver.h"
#include "dsp/Dynamics.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

using Test::TestPlugin;

namespace {

/// The crossover with one band module behind it, which leaves the bands as they are.
ModuleSet CrossOverChain(PluginContext& plugin) {
    ModuleSet modules;
    auto* const crossOver = modules.Add<DSP::CrossOver>(plugin);
    auto* const fake = modules.Add<Test::FakeModule>(plugin, "Fake");
    fake->SetOn(true);
    modules.crossOver = crossOver;
    modules.bands = crossOver;
    modules.dynamics = fake;
    crossOver->SetBandModules({fake});
    return modules;
}

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

TEST_CASE("The chain's Digital bands sum to its input behind the system delay, and to nothing when muted") {
    TestPlugin plugin(&CrossOverChain);
    plugin.Set("CrossOver: Type", 1);
    plugin.Set("CrossOver: Buffer Size", 0);
    plugin.BeginStreaming(44100);
    CHECK(plugin.GetTransform().SystemDelay() == 511 + 127);
    const TestPlugin::Audio input{Test::Noise(1, 5000), Test::Noise(2, 5000)};
    const auto output = plugin.Render(input, {100, 512, 33});
    const auto worst = [](const std::vector<float>& in, const std::vector<float>& out) {
        float fWorst = 0.0f;
        for (std::size_t i = 638; i < out.size(); ++i)
            fWorst = std::max(fWorst, std::abs(out[i] - in[i - 638]));
        return fWorst;
    };
    CHECK(worst(input.left, output.left) < 5e-7f);
    CHECK(worst(input.right, output.right) < 5e-7f);

    for (const char* name : {"CrossOver: Band 1 Mute", "CrossOver: Band 2 Mute", "CrossOver: Band 3 Mute",
                             "CrossOver: Band 4 Mute"})
        plugin.Set(name, 1);
    const auto muted = plugin.Render(input, {100});
    CHECK(std::all_of(muted.left.begin(), muted.left.end(),
                      [](float fSample) { return std::abs(fSample) == 1e-10f; }));

    // Without the band module there is no split and no delay.
    plugin.Set("Fake: On", 0);
    CHECK(plugin.GetTransform().SystemDelay() == 0);
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
