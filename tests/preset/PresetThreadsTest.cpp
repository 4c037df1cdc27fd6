#include <doctest/doctest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "tests/preset/PresetTest.h"

TEST_CASE("Presets change beside a stream without races, and the stream ends with the last one's sound") {
    Test::TestPlugin plugin;
    plugin.Set("Global: Preset Change Mode", 0);
    plugin.Set("Output Gain Slider Lock", 0);
    plugin.Set("EQ: Bypass", 0);
    Preset::PresetFile first(plugin);
    plugin.Set("Gain: Output Left", -12);
    plugin.Set("EQ: Gain 1", 6);
    plugin.Set("LMAX: Bypass", 0);
    plugin.Set("DTR: Dithering Bit Depth", 16);
    const Preset::PresetFile second(plugin);
    plugin.BeginStreaming(44100);

    std::atomic<bool> bDone = false;
    std::thread editor([&] {
        Preset::PresetFile other = second;
        for (int i = 0; i < 20; ++i)
            CHECK((i % 2 == 0 ? other : first).Apply());
        bDone = true;
    });
    auto left = Test::Noise(1, 64), right = Test::Noise(2, 64);
    std::vector<float> outLeft(64), outRight(64);
    bool bFinite = true;
    while (!bDone) {
        plugin.Process(64, left.data(), right.data(), outLeft.data(), outRight.data());
        for (const float fSample : outLeft)
            bFinite = bFinite && std::isfinite(fSample);
        std::this_thread::yield();
    }
    editor.join();
    CHECK(bFinite);
    CHECK(plugin.Get("Gain: Output Left") == 0);
    CHECK(plugin.Get("LMAX: Bypass") == 1);
}
