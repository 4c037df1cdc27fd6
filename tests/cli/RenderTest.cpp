#include <doctest/doctest.h>

#include <cmath>

#include "tests/cli/VescaTest.h"
#include "tests/support/Signals.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"

using Test::Contains;
using Test::ReadSound;
using Test::Sound;
using Test::Vesca;
using Test::WriteSound;

namespace {

/// What the chain's entry adds to sample i of a channel: its sign turns over every 128 samples, and the right
/// channel has twice the left one's. A mono stream has the left one's.
float Guard(std::size_t i, std::size_t iChannel) {
    const float fSize = iChannel == 0 ? 1e-10f : 2e-10f;
    return (i & 128) == 0 ? fSize : -fSize;
}

float Linear(double fDb) {
    return static_cast<float>(std::exp(fDb * 0.115129255));
}

/// What a chain of gains alone makes of a sound.
std::vector<float> Amplified(const Sound<float>& sound, float fLeft, float fRight) {
    std::vector<float> expected = sound.samples;
    const auto uChannels = static_cast<std::size_t>(sound.nChannels);
    for (std::size_t n = 0; n < expected.size(); ++n) {
        const std::size_t iChannel = n % uChannels;
        expected[n] = (expected[n] + Guard(n / uChannels, iChannel)) * (iChannel == 0 ? fLeft : fRight);
    }
    return expected;
}

Sound<float> NoiseSound(int nChannels, std::size_t uFrames) {
    return {44100, nChannels, SF_FORMAT_WAV | SF_FORMAT_FLOAT,
            Test::Noise(21, uFrames * static_cast<std::size_t>(nChannels))};
}

}  // namespace

TEST_CASE("render: gains are exact to the bit, mono and stereo, at any rate") {
    const Test::TempFolder folder;
    for (const int nChannels : {1, 2}) {
        for (const int nRate : {22050, 44100, 192000}) {
            CAPTURE(nChannels);
            CAPTURE(nRate);
            auto sound = NoiseSound(nChannels, 3000);
            sound.nRate = nRate;
            WriteSound(folder.File("in.wav"), sound);
            const auto result = Vesca({"render", folder.File("in.wav"), folder.File("out.wav"), "-s",
                                       "Input Gain Slider Lock=off", "-s", "Gain: Input Left=-6", "-s",
                                       "Gain: Input Right=3"});
            CHECK(result.nExitCode == 0);
            CHECK(result.strErrors == "");
            CHECK(result.strOutput == "");
            const auto output = ReadSound<float>(folder.File("out.wav"));
            CHECK(output.nRate == nRate);
            CHECK(output.nChannels == nChannels);
            CHECK(output.nFormat == sound.nFormat);
            CHECK(Test::FirstDifference(output.samples, Amplified(sound, Linear(-6), Linear(3))) == -1);
        }
    }
}

TEST_CASE("render: a bypassed chain applies its bypass gain and nothing else, not even a delay") {
    const Test::TempFolder folder;
    const auto sound = NoiseSound(2, 2000);
    WriteSound(folder.File("in.wav"), sound);
    CHECK(Vesca({"render", folder.File("in.wav"), folder.File("out.wav"), "--set", "Global: Bypass=on",
                 "--set", "Bypass Gain=-20", "--set", "Gain: Input Left=5", "--set", "LMAX: Bypass=off"})
              .nExitCode == 0);
    auto expected = sound.samples;
    for (float& fSample : expected)
        fSample *= Linear(-20);
    CHECK(Test::FirstDifference(ReadSound<float>(folder.File("out.wav")).samples, expected) == -1);
}

TEST_CASE("render: the lengths of the blocks leave no trace in the file") {
    const Test::TempFolder folder;
    WriteSound(folder.File("in.wav"), NoiseSound(2, 5000));
    std::string strWhole;
    for (const std::string strBlocks : {"512", "1", "64", "500,1", "1048576", " 7, 130 "}) {
        CAPTURE(strBlocks);
        CHECK(Vesca({"render", folder.File("in.wav"), folder.File("out.wav"), "-b", strBlocks, "-s",
                     "Gain: Output Left=-2.5", "--tail", "0.01"})
                  .nExitCode == 0);
        const std::string strBytes = Test::Slurp(folder.File("out.wav"));
        if (strWhole.empty()) strWhole = strBytes;
        CHECK(strBytes == strWhole);
    }
    CHECK(ReadSound<float>(folder.File("out.wav")).Frames() == 5441);
}

TEST_CASE("render: OUTPUT may be INPUT or of another format, and an empty file stays empty") {
    const Test::TempFolder folder;
    const auto sound = NoiseSound(2, 3000);
    WriteSound(folder.File("song.wav"), sound);
    CHECK(Vesca({"render", folder.File("song.wav"), folder.File("song.wav"), "-s", "Gain: Input Left=-6"})
              .nExitCode == 0);
    CHECK(Test::FirstDifference(ReadSound<float>(folder.File("song.wav")).samples,
                                Amplified(sound, Linear(-6), Linear(-6))) == -1);
    CHECK(folder.Count() == 1);
    CHECK(Vesca({"render", folder.File("song.wav"), folder.File("out.flac"), "-f", "s16"}).nExitCode == 0);
    CHECK(ReadSound<int>(folder.File("out.flac")).nFormat == (SF_FORMAT_FLAC | SF_FORMAT_PCM_16));

    WriteSound(folder.File("empty.wav"), NoiseSound(2, 0));
    CHECK(Vesca({"render", folder.File("empty.wav"), folder.File("empty.wav"), "--report", "-"}).nExitCode ==
          0);
    CHECK(ReadSound<float>(folder.File("empty.wav")).Frames() == 0);
}

TEST_CASE("render: automation of a gain follows its curve stride by stride") {
    const Test::TempFolder folder;
    // A constant, so that the output is the gain; 500 frames a block make strides of 50 throughout.
    WriteSound(folder.File("in.wav"),
               Sound<float>{44100, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT, std::vector<float>(66150, 0.5f)});
    Test::Spill(folder.File("fade.json"), R"([{"parameter": "Gain: Output Left", "segments": [
        {"start": 0, "end": 1, "from": -40, "to": 0, "curve": "linear"}]}])");
    CHECK(Vesca({"render", folder.File("in.wav"), folder.File("out.wav"), "-b", "500", "--automation",
                 folder.File("fade.json")})
              .nExitCode == 0);
    const auto output = ReadSound<float>(folder.File("out.wav")).samples;
    REQUIRE(output.size() == 66150);
    float fWorst = 0.0f;
    for (std::size_t i = 0; i < output.size(); ++i) {
        // A stride has the value at its first frame; the gain takes 32 frames to get there.
        const std::size_t uStride = i / 50 * 50;
        if (i - uStride < 32 && uStride != 0) continue;
        const double fDb = uStride < 44100 ? -40.0 + 40.0 * static_cast<double>(uStride) / 44100.0 : 0.0;
        fWorst = std::max(fWorst, std::abs(output[i] / 0.5f / Linear(fDb) - 1.0f));
    }
    // The block's time is cut to 100 ns, 0.0044 frames: 4e-6 dB; the rest is single precision.
    CHECK(fWorst < 2e-6f);
}
