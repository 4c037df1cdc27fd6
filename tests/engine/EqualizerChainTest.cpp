#include <doctest/doctest.h>

#include "PluginBase/Transform.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

using Test::TestPlugin;

TEST_CASE(
    "Delay compensation brings a chain with a linear-phase equalizer back in line, whatever its sizes") {
    const auto left = Test::Noise(1, 30000);
    const auto right = Test::Noise(2, 30000);
    for (int nFft = 0; nFft < 3; ++nFft) {
        for (int nBuffer = 0; nBuffer < 7; ++nBuffer) {
            TestPlugin plugin;
            plugin.Set("EQ: Bypass", 0);
            plugin.Set("EQ: FFT Size", nFft);
            plugin.Set("EQ: Buffer Size", nBuffer);
            plugin.Set("EQ: Type", 1);
            plugin.Set("Global: Delay Compensation", 1);
            plugin.BeginStreaming(48000);
            auto output = plugin.Render({left, right}, {480});
            std::vector<float> tailLeft, tailRight;
            const std::uint32_t uTail = plugin.GetTransform().Flush(tailLeft, &tailRight);
            CAPTURE(nFft);
            CAPTURE(nBuffer);
            CHECK(uTail == (512u << (2 * nFft)) - 1 + (128u << nBuffer) - 1);
            output.left.insert(output.left.end(), tailLeft.begin(), tailLeft.begin() + uTail);
            output.right.insert(output.right.end(), tailRight.begin(), tailRight.begin() + uTail);
            CHECK(output.left.size() == left.size());
            CHECK(Test::WorstDifference(output.left, left) < 2e-6f);
            CHECK(Test::WorstDifference(output.right, right) < 2e-6f);
        }
    }
}

TEST_CASE("An equalizer switched between its types while a stream runs changes the chain's delay with it") {
    TestPlugin plugin;
    plugin.BeginStreaming(44100);
    const auto delay = [&] {
        plugin.Render({std::vector<float>(64), std::vector<float>(64)}, {64});
        return plugin.GetTransform().SystemDelay();
    };
    plugin.Set("EQ: Bypass", 0);
    CHECK(delay() == 0);
    plugin.Set("EQ: Type", 2);
    CHECK(delay() == 511 + 1023);
    plugin.Set("EQ: FFT Size", 1);
    plugin.Set("EQ: Buffer Size", 0);
    CHECK(delay() == 2047 + 127);
    plugin.Set("EQ: Bypass", 1);
    CHECK(delay() == 0);
    plugin.BeginPresetChange();
    plugin.Set("EQ: Bypass", 0);
    plugin.Set("EQ: FFT Size", 2);
    plugin.EndPresetChange();
    CHECK(delay() == 8191 + 127);
    plugin.Set("EQ: Type", 0);
    CHECK(delay() == 0);
}

TEST_CASE("Automation moves the matching amount, and the equalizer's sound with it") {
    const auto noise = Test::Noise(3, 30000);
    std::vector<float> ends;
    for (const bool bAutomated : {false, true}) {
        TestPlugin plugin;
        SnapshotSlots& snapshots = *plugin.GetTransform().Snapshots();
        snapshots.SetTarget(8);
        plugin.Set("EQ: Bypass", 0);
        plugin.Set("EQ: Type", 2);
        const EnvelopeSegment jump{0, 1, 100.0f, 100.0f, 0, EnvelopeCurve::Jump};
        if (bAutomated) {
            plugin.Find("Snapshot").Envelopes().AddSegments(ParameterGroup::Float, 0, {&jump, 1});
        } else {
            plugin.Set("EQ: Matching Amount", 100);
        }
        plugin.BeginStreaming(44100);
        const auto output = plugin.Render({noise, {}}, {512});
        CHECK(plugin.Get("EQ: Matching Amount") == 100.0);
        ends.push_back(output.left.back());
    }
    CHECK(ends[0] == ends[1]);
}
