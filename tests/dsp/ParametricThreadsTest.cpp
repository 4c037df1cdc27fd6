#include <doctest/doctest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "tests/dsp/EqualizerFixture.h"

using namespace DSP::Equalizer;
using Test::EqualizerFixture;

TEST_CASE("Setters, displays and automation beside running audio neither race, lose a design nor lock up") {
    EqualizerFixture f;
    std::atomic<bool> bStop = false;
    std::atomic<bool> bFinite = true;

    std::thread audio([&] {
        Test::Random random(1);
        while (!bStop) {
            const std::uint32_t uFrames = random.Between(1, 600);
            Test::StereoSignal block = Test::StereoNoise(random.Next(), uFrames);
            {
                // As automation does: a setter on the audio thread, inside the component's lock.
                const std::lock_guard lock(f.eq.Lock());
                f.eq.SetFloat(random.Between(8, 15), random.Uniform(-30.0f, 15.0f));
                f.Process(uFrames, block.left.data(), block.right.data());
            }
            for (const float fSample : block.left)
                if (!std::isfinite(fSample)) bFinite = false;
        }
    });
    const auto set = [&](std::uint64_t uSeed) {
        Test::Random random(uSeed);
        for (int i = 0; i < 150; ++i) {
            const std::uint32_t uFloat = random.Between(0, 23);
            f.eq.SetFloat(uFloat, random.Uniform(f.eq.FloatInfo(uFloat).fMin, f.eq.FloatInfo(uFloat).fMax));
            f.eq.SetBool(random.Between(2, 10), random.Between(0, 1) == 0);
            f.eq.SetInt(random.Between(3, 10), static_cast<std::int32_t>(random.Between(0, 4)));
            f.Int("EQ: Type", static_cast<std::int32_t>(random.Between(0, 2)));
            if (i % 8 == 0) f.Int("EQ: FFT Size", static_cast<std::int32_t>(random.Between(0, 1)));
            if (i % 8 == 4) f.Int("EQ: Buffer Size", static_cast<std::int32_t>(random.Between(0, 6)));
            f.eq.SetSmoothing(random.Uniform(0.0f, 1.0f));
            f.eq.SetMatchingAmount(random.Uniform(0.0f, 100.0f));
            if (i % 16 == 2)
                f.eq.SetSpectra({{20.0f, 20000.0f}, {-20.0f, random.Uniform(-60.0f, 0.0f)}},
                                {{20.0f, 20000.0f}, {-30.0f, -30.0f}});
        }
    };
    std::thread first(set, 2);
    std::thread second(set, 3);
    std::thread display([&] {
        DSP::ResponseCurve curve;
        for (std::uint32_t i = 0; i < 60; ++i) {
            f.eq.NodeResponse(i % 8, curve);
            f.eq.TotalResponse(curve);
            f.eq.MatchingResponse(curve);
            f.eq.SetAuditionFilter(100.0f + static_cast<float>(i), std::nullopt, std::nullopt);
            f.eq.ClearAuditionFilter();
        }
    });
    first.join();
    second.join();
    display.join();
    bStop = true;
    audio.join();
    CHECK(bFinite);

    // What remains is the sound of the last parameters, whoever designed it.
    f.Int("EQ: Type", 2);
    f.eq.FinishBackgroundWork();
    f.eq.SetSpectra({}, {});
    EqualizerFixture fresh;
    for (std::uint32_t i = 0; i < 24; ++i)
        fresh.eq.SetFloat(i, f.eq.GetFloat(i));
    for (std::uint32_t i = 0; i < 11; ++i) {
        fresh.eq.SetBool(i, f.eq.GetBool(i));
        fresh.eq.SetInt(i, f.eq.GetInt(i));
    }
    const Test::StereoSignal input = Test::StereoNoise(4, 12000);
    f.eq.ClearAudio();
    CHECK(f.eq.GetLatency() == fresh.eq.GetLatency());
    CHECK(Test::SameBits(f.Render(input), fresh.Render(input)));
}

TEST_CASE("A design that finds another at work is done by that one before it goes") {
    // Two threads drag one node each; every round ends with both dragged where they should be.
    EqualizerFixture f;
    f.Int("EQ: Type", 1);
    for (int nRound = 0; nRound < 30; ++nRound) {
        const float fGain = static_cast<float>(nRound % 2 == 0 ? 6 + nRound % 5 : -6 - nRound % 5);
        std::thread other([&] { f.Float("EQ: Gain 4", fGain); });
        f.Float("EQ: Gain 6", -fGain);
        other.join();
        DSP::ResponseCurve total;
        f.eq.TotalResponse(total);
        EqualizerFixture fresh;
        fresh.Float("EQ: Gain 4", fGain);
        fresh.Float("EQ: Gain 6", -fGain);
        fresh.Int("EQ: Type", 1);
        DSP::ResponseCurve expected;
        fresh.eq.TotalResponse(expected);
        CAPTURE(nRound);
        CHECK(total == expected);
    }
}
