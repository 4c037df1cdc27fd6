#include <doctest/doctest.h>

#include <atomic>
#include <cmath>
#include <thread>

#include "tests/dsp/CrossOverRig.h"

using Rig = Test::CrossOverRig;

TEST_CASE("CrossOver: setters on two threads and a display race neither with the audio nor with each other") {
    Rig rig;
    rig.SetInt(Rig::kBufferSize, 0);
    std::atomic<int> nBusy = 3;
    const auto set = [&](std::uint64_t uSeed) {
        Test::Random random(uSeed);
        for (int i = 0; i < 150; ++i) {
            switch (random.Between(0, 7)) {
                case 0:
                    rig.SetInt(Rig::kType, static_cast<std::int32_t>(random.Between(0, 1)));
                    break;
                case 1:
                    rig.SetInt(Rig::kNumberOfBands, static_cast<std::int32_t>(random.Between(1, 4)));
                    break;
                case 2:
                    rig.SetInt(Rig::kBufferSize, static_cast<std::int32_t>(random.Between(0, 1)));
                    break;
                case 3:
                    rig.component.SetBool(random.Between(0, 7), random.Between(0, 1) == 0);
                    break;
                case 4:
                    rig.crossOver.SetCutoffs({random.Uniform(20, 500), random.Uniform(500, 20000)});
                    break;
                default:
                    rig.SetFloat(random.Between(0, 3), random.Uniform(1, 20000));
            }
        }
        --nBusy;
    };
    std::thread first(set, 1), second(set, 2);
    std::thread display([&] {
        for (std::uint32_t i = 0; i < 100; ++i)
            rig.Response(i % 4);
        --nBusy;
    });
    const auto left = Test::Noise(1, 200), right = Test::Noise(2, 200);
    bool bFinite = true;
    while (nBusy != 0) {
        Rig::Bands bands;
        rig.Process(left.data(), right.data(), 200, bands);
        for (std::uint32_t i = 0; i < rig.crossOver.BandCount(); ++i)
            bFinite &= std::isfinite(bands[i][199]);
        rig.crossOver.IsBandMuted(0);
        rig.crossOver.GetLatency();
    }
    first.join();
    second.join();
    display.join();
    CHECK(bFinite);

    // Whoever came last: what plays is what the parameters say.
    rig.crossOver.SetCutoffs({150, 2500, 9000});
    rig.SetFloat(Rig::kQ, 7);
    Rig same;
    same.crossOver.SetCutoffs({150, 2500, 9000});
    same.SetFloat(Rig::kQ, 7);
    for (std::uint32_t i = 0; i < 3; ++i)
        same.SetInt(i, rig.GetInt(i));
    rig.component.ClearAudio();
    same.component.ClearAudio();
    const auto input = Test::Noise(3, 4000);
    const auto bands = rig.Render(input, input);
    const auto expected = same.Render(input, input);
    for (std::size_t i = 0; i < 2 * Rig::kBands; ++i)
        CHECK(Test::FirstDifference(bands[i], expected[i]) == -1);
    CHECK(rig.Delay() == same.Delay());
}
