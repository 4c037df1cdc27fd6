#include "dsp/SampledReverb.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <array>

#include "tests/support/CountingAllocator.h"
#include "tests/support/ModuleRun.h"

using DSP::SampledReverb;

namespace {

void Load(SampledReverb& reverb) {
    const Test::Stereo impulse = Test::StereoNoise(21, 9000, 0.1f);
    const std::array<const float*, 2> pointers{impulse.left.data(), impulse.right.data()};
    reverb.LoadImpulse(pointers.data(), 9000, 2, 44100.2);
}

Test::Stereo Run(SampledReverb& reverb, Test::Stereo audio) {
    for (std::size_t uDone = 0; uDone < audio.left.size(); uDone += 512) {
        std::array<float*, 2> channels{audio.left.data() + uDone, audio.right.data() + uDone};
        reverb.Process(channels.data(), 512, nullptr);
    }
    return audio;
}

}  // namespace

TEST_CASE("A sampled reverb with memory reserved takes none for any shape, and is what a new one would be") {
    Test::Random random(30);
    for (const std::uint32_t uRate : {44100u, 88200u}) {
        SampledReverb reverb;
        Load(reverb);
        DSP::RoomTarget target;
        target.nBlock = 512;
        target.uSampleRate = uRate;
        target.nChannels = 1;
        REQUIRE(reverb.Update(target, false));
        reverb.Reserve(100.0f);
        const Test::Stereo input = Test::StereoNoise(1, 8192);
        for (int i = 0; i < 10; ++i) {
            target.shape.fSize = i == 0 ? 1.0f : random.Uniform(0.01f, 1.0f);
            target.shape.fPreDelayMs = i == 0 ? 100.0f : random.Uniform(0.0f, 100.0f);
            target.shape.fDamping = random.Uniform(0.1f, 1.0f);
            target.shape.fWidth = random.Uniform(0.0f, 3.0f);
            target.nChannels = 2 - i % 2;
            {
                const Test::AllocationCounter counter;
                CHECK(reverb.Update(target, false));
                reverb.Reset();
                CHECK(counter.Count() == 0);
            }
            SampledReverb fresh;
            Load(fresh);
            REQUIRE(fresh.Update(target, false));
            CAPTURE(uRate);
            CAPTURE(i);
            CHECK(Same(Run(reverb, input), Run(fresh, input)));
        }
    }
}
