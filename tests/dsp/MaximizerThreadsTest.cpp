#include <doctest/doctest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <thread>
#include <vector>

#include "dsp/Maximizer.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

TEST_CASE("Maximizer's setters and readers on other threads do not race with a stream") {
    Test::TestContext context;
    DSP::Maximizer maximizer(context);
    Component& component = maximizer;
    component.SetBool(0, false);
    std::atomic<int> nBusy = 2;
    std::thread editor([&] {
        Test::Random random(1);
        for (int i = 0; i < 20000; ++i) {
            const std::uint32_t uIndex = random.Between(0, 8);
            if (uIndex < 6) {
                component.SetFloat(uIndex, random.Uniform(-20.0f, 500.0f));
            } else if (uIndex == 6) {
                component.SetInt(0, static_cast<std::int32_t>(random.Between(0, 2)));
            } else if (uIndex == 7) {
                component.SetBool(5, random.Between(0, 1) == 1);
            } else if (i % 16 == 0) {
                maximizer.ClearState();
            }
        }
        --nBusy;
    });
    std::atomic<std::uint32_t> uCounted = 0;
    std::thread display([&] {
        for (int i = 0; i < 2000; ++i) {
            for (const std::uint32_t uCount : maximizer.Histogram())
                uCounted = std::max(uCounted.load(), uCount);
            maximizer.TakeMinimumGain();
            maximizer.GetLatency();
        }
        --nBusy;
    });
    bool bFinite = true;
    for (int i = 0; nBusy != 0; ++i) {
        auto left = Test::Noise(static_cast<std::uint64_t>(i), 128);
        auto right = Test::Noise(static_cast<std::uint64_t>(i) + 1, 128);
        maximizer.ProcessBlock(128, left.data(), right.data());
        for (std::size_t n = 0; n < 128; ++n)
            bFinite = bFinite && std::isfinite(left[n]) && std::isfinite(right[n]);
    }
    editor.join();
    display.join();
    CHECK(bFinite);
    CHECK(uCounted <= DSP::LevelHistogram::kHistory);
}
