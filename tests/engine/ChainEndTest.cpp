#include <doctest/doctest.h>

#include <cmath>
#include <vector>

#include "dsp/DCOffset.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

using Test::TestPlugin;

TEST_CASE("In the chain the channel operations run while the imager is bypassed, and the DC meter reads") {
    TestPlugin plugin;
    plugin.Set("CHOPS: Mono", 1);
    plugin.Set("CHOPS: Invert L", 1);
    plugin.BeginStreaming(48000);
    const auto noise = Test::Noise(1, 2000);
    auto left = noise, right = noise;
    for (float& fSample : right)
        fSample = fSample * 0.5f + 0.25f;
    const auto inLeft = left, inRight = right;
    std::vector<float> outLeft(2000), outRight(2000);
    REQUIRE(plugin.Process(2000, left.data(), right.data(), outLeft.data(), outRight.data()) == 2000);
    for (std::size_t i = 0; i < 2000; ++i) {
        // The guard against denormal numbers is part of the chain.
        REQUIRE(std::abs(outLeft[i] - (inRight[i] - inLeft[i]) / 2) < 1e-7f);
        REQUIRE(outRight[i] == outLeft[i]);
    }
    const auto& filter = static_cast<DSP::DCOffset&>(plugin.Find("DCOffset::DCOffset"));
    CHECK(filter.OffsetMaximum(0) > 0.0f);
    CHECK(filter.CurrentOffset(0) != 0.0f);
}

TEST_CASE("Dither is behind the output gain: what leaves the chain is on the grid of the word length") {
    TestPlugin plugin;
    plugin.Set("Gain: Output Left", -7.3);
    plugin.Set("DTR: Dithering Bit Depth", 1);
    plugin.Set("DTR: Dithering Type", 3);
    plugin.BeginStreaming(44100);
    const auto output = plugin.Render({Test::Noise(1, 3000), Test::Noise(2, 3000)}, {512});
    for (std::size_t i = 0; i < output.left.size(); ++i) {
        REQUIRE(output.left[i] * 2048.0f == std::floor(output.left[i] * 2048.0f));
        REQUIRE(output.right[i] * 2048.0f == std::floor(output.right[i] * 2048.0f));
    }
}

TEST_CASE(
    "The exciter follows the crossover's cutoffs as they are set, also while the filters wait for an order") {
    const auto render = [](double fFirstCutoff) {
        TestPlugin plugin;
        plugin.Set("EXC: Bypass", 0);
        plugin.Set("EXC: Band 1 Amount", 12);
        plugin.BeginStreaming(44100);
        // Above the second cutoff: the bands stay where they were.
        plugin.Set("CrossOver: Cutoff 1", fFirstCutoff);
        return plugin.Render({Test::Noise(1, 3000), Test::Noise(2, 3000)}, {512});
    };
    const auto low = render(5000), high = render(9000);
    CHECK(Test::WorstDifference(low.left, high.left) > 1e-4f);
    CHECK(Test::FirstDifference(low.left, render(5000).left) == -1);
}
