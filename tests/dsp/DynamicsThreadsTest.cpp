#include <doctest/doctest.h>

#include <atomic>
#include <cmath>
#include <thread>
#include <vector>

#include "dsp/Dynamics.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

TEST_CASE("Dynamics: setters, displays and audio may meet from three threads") {
    Test::TestContext context;
    DSP::Dynamics dynamics(context);
    Component& component = dynamics;
    component.SetSampleRate(44100);
    component.SetBool(0, false);
    component.SetActive(true);
    std::atomic<bool> bStop = false;

    std::thread editor([&] {
        Test::Random random(1);
        while (!bStop) {
            const std::uint32_t uIndex = random.Between(0, 52);
            const FloatRecord& record = std::as_const(component).FloatInfo(uIndex);
            component.SetFloat(uIndex, random.Uniform(record.fMin, record.fMax));
            component.SetBool(random.Between(1, 7), random.Next() % 4 == 0);
            component.SetInt(random.Between(0, 1), static_cast<std::int32_t>(random.Between(0, 5)));
        }
    });
    float fSeen = 0;
    std::thread display([&] {
        Test::Random random(2);
        while (!bStop) {
            const std::uint32_t uBand = random.Between(0, 3);
            fSeen += dynamics.LevelPeaks()[uBand] + dynamics.TakeMinimumCompGain(uBand) +
                     dynamics.TakeMinimumGateGain(uBand) + component.GetFloat(random.Between(0, 52)) +
                     static_cast<float>(dynamics.Histogram(uBand)[3]);
            dynamics.ClearLevelPeaks();
            if (random.Next() % 100 == 0) component.ClearAudio();
        }
    });

    const StageContext stage{};
    const std::vector<float> input = Test::Noise(3, 512);
    bool bFinite = true;
    for (int nBlock = 0; nBlock < 400; ++nBlock) {
        std::vector<float> left = input, right = input;
        component.SetStage(static_cast<std::uint32_t>(nBlock) % 4);
        component.ProcessAutomated(stage, 512, left.data(), right.data());
        for (std::size_t i = 0; i < left.size(); ++i)
            bFinite = bFinite && std::isfinite(left[i]) && std::isfinite(right[i]);
    }
    bStop = true;
    editor.join();
    display.join();
    CHECK(bFinite);
    CHECK(std::isfinite(fSeen));
}
