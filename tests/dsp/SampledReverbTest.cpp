#include "dsp/SampledReverb.h"

#include <doctest/doctest.h>

#include <array>
#include <cmath>
#include <limits>

#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

using DSP::RoomTarget;
using DSP::SampledReverb;

namespace {

using Stereo = std::array<std::vector<float>, 2>;

Stereo NoiseImpulse(std::size_t uLength) {
    Stereo impulse{Test::Noise(21, uLength), Test::Noise(22, uLength)};
    for (auto& channel : impulse) {
        for (std::size_t i = 0; i < uLength; ++i)
            channel[i] *= 0.1f * static_cast<float>(uLength - i) / static_cast<float>(uLength);
    }
    return impulse;
}

void Load(SampledReverb& reverb, const Stereo& impulse) {
    const std::array<const float*, 2> pointers{impulse[0].data(), impulse[1].data()};
    reverb.LoadImpulse(pointers.data(), static_cast<int>(impulse[0].size()), 2, 44100.2);
}

Stereo Run(SampledReverb& reverb, Stereo audio, const std::vector<std::uint32_t>& cuts,
           bool bInPlace = true) {
    Stereo output = audio;
    std::size_t uDone = 0;
    for (std::size_t i = 0; uDone < audio[0].size(); ++i) {
        const std::size_t uFrames =
            std::min<std::size_t>(cuts[std::min(i, cuts.size() - 1)], audio[0].size() - uDone);
        std::array<float*, 2> in{audio[0].data() + uDone, audio[1].data() + uDone};
        std::array<float*, 2> out{output[0].data() + uDone, output[1].data() + uDone};
        reverb.Process(bInPlace ? out.data() : in.data(), static_cast<int>(uFrames),
                       bInPlace ? nullptr : out.data());
        uDone += uFrames;
    }
    return output;
}

RoomTarget Target(int nBlock, std::uint32_t uRate = 44100) {
    RoomTarget target;
    target.nBlock = nBlock;
    target.uSampleRate = uRate;
    return target;
}

}  // namespace

TEST_CASE("A sampled reverb is the dry sound plus a convolution with the impulse in force, without delay") {
    SampledReverb reverb;
    Load(reverb, NoiseImpulse(3000));
    for (const std::uint32_t uRate : {44100u, 48000u}) {
        REQUIRE(reverb.Update(Target(256, uRate), false));
        reverb.SetDryGain(0.7f);
        reverb.SetWetGain(0.05f);
        const Stereo input{Test::Noise(1, 5120), Test::Noise(2, 5120)};
        for (const bool bInPlace : {true, false}) {
            reverb.Reset();
            const Stereo output = Run(reverb, input, {256}, bInPlace);
            for (std::size_t c = 0; c < 2; ++c) {
                const float* taps = reverb.Impulse().Taps(static_cast<int>(c));
                double fWorst = 0.0;
                for (std::size_t n = 0; n < input[c].size(); ++n) {
                    double fExpected = 0.0;
                    for (std::size_t k = 0; k <= n && k < static_cast<std::size_t>(reverb.Impulse().Length());
                         ++k)
                        fExpected += double{taps[k]} * double{input[c][n - k]};
                    fExpected = 0.7 * double{input[c][n]} + 0.05 * fExpected;
                    fWorst = std::max(fWorst, std::abs(fExpected - double{output[c][n]}));
                }
                // The convolver's bound, 1e-6 of its output's rms, times the wet gain, plus rounding at 1.
                CHECK(fWorst < 5e-7);
            }
        }
    }
}

TEST_CASE("A sampled reverb's stream may be cut anywhere, and a reset forgets it") {
    SampledReverb reverb;
    Load(reverb, NoiseImpulse(2000));
    reverb.SetWetGain(0.1f);
    REQUIRE(reverb.Update(Target(128), false));
    const Stereo input{Test::Noise(1, 8192), Test::Noise(2, 8192)};
    const Stereo whole = Run(reverb, input, {128});
    for (const auto& cuts : {std::vector<std::uint32_t>{8192}, {128, 384, 1024}}) {
        reverb.Reset();
        CHECK(Run(reverb, input, cuts) == whole);
    }
    for (const auto& cuts : {std::vector<std::uint32_t>{1}, {511, 1, 513}}) {
        reverb.Reset();
        const Stereo output = Run(reverb, input, cuts);
        for (std::size_t c = 0; c < 2; ++c)
            CHECK(Test::WorstDifference(output[c], whole[c]) < 1e-6f);
    }
}

TEST_CASE("An update does only what has changed, and a stop leaves everything") {
    SampledReverb reverb;
    Load(reverb, NoiseImpulse(2000));
    RoomTarget target = Target(512);
    REQUIRE(reverb.Update(target, false));
    CHECK(reverb.Impulse().Length() == 1600);
    {
        const Test::AllocationCounter counter;
        CHECK(reverb.Update(target, true));
        CHECK(counter.Count() == 0);
    }
    target.shape.fSize = 0.5f;
    CHECK_FALSE(reverb.Update(target, true));
    CHECK(reverb.Impulse().Length() == 1600);
    CHECK(reverb.Update(target, false));
    CHECK(reverb.Impulse().Length() == 1000);
    target.nBlock = 128;
    target.nChannels = 1;
    CHECK(reverb.Update(target, false));
    CHECK(reverb.Impulse().Length() == 1000);
    CHECK(reverb.InputChannels() == 1);
    target.uSampleRate = 88200;
    CHECK(reverb.Update(target, false));
    CHECK(reverb.Impulse().Length() == 2000);
    Load(reverb, NoiseImpulse(600));
    CHECK(reverb.Update(target, false));
    CHECK(reverb.Impulse().Length() == 600);
}

TEST_CASE("A change that keeps the length keeps the history") {
    SampledReverb reverb;
    Load(reverb, NoiseImpulse(4000));
    reverb.SetWetGain(1.0f);
    reverb.SetDryGain(0.0f);
    RoomTarget target = Target(128);
    REQUIRE(reverb.Update(target, false));
    Run(reverb, {Test::Noise(1, 128), Test::Noise(2, 128)}, {128});
    const Stereo silence{std::vector<float>(128), std::vector<float>(128)};
    target.shape.fDamping = 0.9f;
    REQUIRE(reverb.Update(target, false));
    CHECK(Run(reverb, silence, {128}) != silence);
    target.shape.fSize = 0.3f;
    REQUIRE(reverb.Update(target, false));
    CHECK(Run(reverb, silence, {128}) == silence);
}

TEST_CASE("A room does not allocate while it runs, and is clean right after damage") {
    SampledReverb reverb;
    Load(reverb, NoiseImpulse(2000));
    REQUIRE(reverb.Update(Target(256), false));
    Stereo input{Test::Noise(1, 2048), Test::Noise(2, 2048)};
    Run(reverb, input, {256});
    reverb.Reset();
    Stereo repaired = input;
    repaired[0][300] = 0.0f;
    const Stereo expected = Run(reverb, repaired, {256});
    reverb.Reset();
    for (const float fDamage : {std::numeric_limits<float>::quiet_NaN(), 1e30f}) {
        input[0][300] = fDamage;
        Stereo output = input;
        {
            const Test::AllocationCounter counter;
            for (std::size_t n = 0; n < 2048; n += 256) {
                const std::array<float*, 2> channels{output[0].data() + n, output[1].data() + n};
                reverb.Process(channels.data(), 256, nullptr);
            }
            reverb.Reset();
            CHECK(counter.Count() == 0);
        }
        output[0][300] = expected[0][300];
        CHECK(Test::FirstDifference(output[0], expected[0]) == -1);
        CHECK(output[1] == expected[1]);
    }
}
