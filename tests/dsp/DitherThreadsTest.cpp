#include <doctest/doctest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "dsp/Dither.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

TEST_CASE("Dither: setters on two threads may meet the audio, and their last values are in force") {
    Test::TestContext context;
    DSP::Dither dither(context);
    Component& component = dither;
    component.SetSampleRate(44100);
    component.SetInt(1, DSP::Dither::kDshp);
    component.SetActive(true);
    std::atomic<bool> bStop = false;
    const auto storm = [&](std::uint64_t uSeed) {
        Test::Random random(uSeed);
        while (!bStop) {
            component.SetInt(random.Between(0, 5), static_cast<std::int32_t>(random.Between(0, 4)));
            component.SetBool(random.Between(0, 2), random.Next() % 2 == 0);
            if (random.Next() % 50 == 0) component.ClearAudio();
        }
    };
    std::thread editor(storm, 1), host(storm, 2);
    const std::vector<float> input = Test::Noise(3, 512);
    bool bFinite = true;
    for (int nBlock = 0; nBlock < 300; ++nBlock) {
        std::vector<float> left = input, right = input;
        component.ProcessAutomated(StageContext{}, 512, left.data(), right.data());
        for (std::size_t i = 0; i < left.size(); ++i)
            bFinite = bFinite && std::isfinite(left[i]) && std::isfinite(right[i]);
    }
    bStop = true;
    editor.join();
    host.join();
    CHECK(bFinite);

    Test::TestContext otherContext;
    DSP::Dither fresh(otherContext);
    Component& expected = fresh;
    expected.SetSampleRate(44100);
    expected.SetActive(true);
    for (std::uint32_t i = 0; i < 6; ++i)
        expected.SetInt(i, component.GetInt(i));
    for (std::uint32_t i = 0; i < 3; ++i)
        expected.SetBool(i, component.GetBool(i));
    component.ClearAudio();
    std::vector<float> left = input, leftExpected = input;
    component.ProcessAutomated(StageContext{}, 512, left.data(), nullptr);
    expected.ProcessAutomated(StageContext{}, 512, leftExpected.data(), nullptr);
    CHECK(Test::FirstDifference(left, leftExpected) == -1);
}
