#include <doctest/doctest.h>

#include <atomic>
#include <thread>

#include "dsp/vector/Dispatch.h"
#include "tests/dsp/EqualizerFixture.h"
#include "tests/support/Sanitized.h"

using Test::EqualizerFixture;

TEST_CASE(
    "A design that finds another at work is done by that one, and neither touches what sounds meanwhile") {
    // The thread sanitizer sees no access that is wider than 16 bytes.
    if (Test::kThreadSanitized) DSP::UseProcessorLevel(DSP::AvailableProcessorLevels().back());
    EqualizerFixture f;
    f.Int("EQ: Type", 1);
    std::atomic<bool> bStop = false;
    std::thread audio([&] {
        const Test::Stereo noise = Test::StereoNoise(1, 600);
        while (!bStop)
            f.Render(noise);
    });
    // Two threads drag one node each; every round ends with both dragged where they should be.
    for (int nRound = 0; nRound < 30; ++nRound) {
        const float fGain = static_cast<float>(nRound % 2 == 0 ? 6 + nRound % 5 : -6 - nRound % 5);
        std::thread other([&] { f.Float("EQ: Gain 4", fGain); });
        f.Float("EQ: Gain 6", -fGain);
        other.join();
        EqualizerFixture fresh;
        fresh.Float("EQ: Gain 4", fGain);
        fresh.Float("EQ: Gain 6", -fGain);
        fresh.Int("EQ: Type", 1);
        DSP::ResponseCurve total, expected;
        f.eq.TotalResponse(total);
        fresh.eq.TotalResponse(expected);
        CAPTURE(nRound);
        CHECK(total == expected);
    }
    bStop = true;
    audio.join();
    DSP::UseBestProcessorLevel();
}
