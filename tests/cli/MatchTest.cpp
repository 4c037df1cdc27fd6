#include <doctest/doctest.h>

#include <cmath>
#include <cstring>

#include "dsp/vector/Fft.h"
#include "tests/cli/VescaTest.h"
#include "tests/support/Signals.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"

using Test::Contains;
using Test::Vesca;

namespace {

/// Stereo noise through a one-pole low-pass with the given pole, mixed with what is left of it.
Test::Sound<float> Coloured(std::uint64_t uSeed, float fPole, float fDry, float fGain, int nRate = 44100) {
    Test::Sound<float> sound;
    sound.nRate = nRate;
    sound.samples = Test::Noise(uSeed, 2 * 6 * static_cast<std::size_t>(nRate));
    float held[2] = {};
    for (std::size_t i = 0; i < sound.samples.size(); ++i) {
        float& fHeld = held[i % 2];
        fHeld += (sound.samples[i] - fHeld) * (1.0f - fPole);
        sound.samples[i] = fGain * (fHeld + fDry * sound.samples[i]);
    }
    return sound;
}

/// Long-term levels of a file's left channel in dB for each third of an octave from 50 Hz to 16 kHz.
std::vector<double> ThirdOctaves(const std::string& strPath) {
    const auto sound = Test::ReadSound<float>(strPath);
    const std::vector<float> left = sound.Channel(0);
    const DSP::RealFft fft(14);
    const std::size_t uLength = fft.Length();
    std::vector<float> spectrum(fft.SpectrumLength()), work(fft.WorkLength());
    std::vector<double> power(uLength / 2 + 1);
    for (std::size_t uStart = 0; uStart + uLength <= left.size(); uStart += uLength / 2) {
        for (std::size_t n = 0; n < uLength; ++n) {
            const double fSine =
                std::sin(3.14159265358979 * static_cast<double>(n) / static_cast<double>(uLength));
            spectrum[n] = left[uStart + n] * static_cast<float>(fSine * fSine);
        }
        fft.Forward(spectrum.data(), spectrum.data(), work.data());
        for (std::size_t k = 0; k < power.size(); ++k)
            power[k] +=
                double{spectrum[2 * k]} * spectrum[2 * k] + double{spectrum[2 * k + 1]} * spectrum[2 * k + 1];
    }
    std::vector<double> levels;
    for (int b = -13; b <= 12; ++b) {
        const auto bin = [&](double fThird) {
            return static_cast<std::size_t>(1000.0 * std::exp2(fThird / 3.0) * static_cast<double>(uLength) /
                                            sound.nRate);
        };
        double fSum = 0.0;
        for (std::size_t k = bin(b - 0.5); k < bin(b + 0.5); ++k)
            fSum += power[k];
        levels.push_back(10.0 * std::log10(fSum));
    }
    return levels;
}

/// The rms difference of two spectra in dB, once both are equally loud.
double Distance(const std::string& strA, const std::string& strB) {
    std::vector<double> difference = ThirdOctaves(strA);
    const std::vector<double> other = ThirdOctaves(strB);
    double fMean = 0.0;
    for (std::size_t i = 0; i < difference.size(); ++i)
        fMean += (difference[i] -= other[i]) / static_cast<double>(difference.size());
    double fSum = 0.0;
    for (const double fDb : difference)
        fSum += (fDb - fMean) * (fDb - fMean);
    return std::sqrt(fSum / static_cast<double>(difference.size()));
}

}  // namespace

TEST_CASE("render --reference takes the set amount of the distance to the reference's spectrum away") {
    const Test::TempFolder folder;
    Test::WriteSound(folder.File("dull.wav"), Coloured(1, 0.95f, 0.02f, 0.1f));
    Test::WriteSound(folder.File("bright.wav"), Coloured(2, 0.6f, 0.5f, 0.6f));
    const double fBefore = Distance(folder.File("dull.wav"), folder.File("bright.wav"));
    CHECK(fBefore > 6.0);
    const auto fall = [&](const std::vector<std::string>& options) {
        std::vector<std::string> command = {
            "render",           folder.File("dull.wav"),   folder.File("out.wav"),
            "--reference",      folder.File("bright.wav"), "--set",
            "EQ: FFT Size=4096"};
        command.insert(command.end(), options.begin(), options.end());
        const auto result = Vesca(command);
        CHECK((result.nExitCode == 0 && result.strErrors == ""));
        return 1.0 - Distance(folder.File("out.wav"), folder.File("bright.wav")) / fBefore;
    };
    // The correction is linear in the amount, and the captured averages are the very signal's own.
    const struct {
        std::vector<std::string> options;
        double fAmount;
    } cases[] = {{{}, 0.10},
                 {{"--match-amount", "25"}, 0.25},
                 {{"--match-amount", "50", "--match-smoothing", "0"}, 0.50},
                 {{"--match-amount", "75"}, 0.75}};
    for (const auto& c : cases) {
        CAPTURE(c.fAmount);
        const double fFall = fall(c.options);
        CHECK(fFall >= c.fAmount);
        CHECK(fFall < c.fAmount + 0.01);
    }
    CHECK(fall({"--match-amount", "100"}) > 0.93);
    // A setting has the last word.
    CHECK(std::abs(fall({"--set", "EQ: Bypass=on"})) < 1e-6);
}

TEST_CASE("snapshot capture writes each type, and render --match of two files is render --reference") {
    const Test::TempFolder folder;
    Test::WriteSound(folder.File("dull mix.wav"), Coloured(3, 0.9f, 0.1f, 0.1f));
    Test::WriteSound(folder.File("bright.wav"), Coloured(4, 0.6f, 0.5f, 0.6f));
    const auto capture = [&](const std::string& strAudio, const std::string& strFile,
                             std::vector<std::string> options) {
        options.insert(options.begin(), {"snapshot", "capture", folder.File(strAudio), folder.File(strFile)});
        CHECK(Vesca(options).nExitCode == 0);
        return Test::Slurp(folder.File(strFile));
    };
    for (const auto& [strType, nPoints] :
         {std::pair{"linear", 2049}, {"third-octave", 33}, {"critical", 27}}) {
        const std::string strBytes = capture("dull mix.wav", "typed", {"--type", strType});
        const std::string strHead("\x32\x41\x62\x32\1\0\0\0\x8\0\0\0dull mix", 20);
        REQUIRE(strBytes.size() == 24 + 8 * static_cast<std::size_t>(nPoints));
        CHECK(strBytes.substr(0, 20) == strHead);
        std::vector<float> values(2 * static_cast<std::size_t>(nPoints));
        std::memcpy(values.data(), strBytes.data() + 24, strBytes.size() - 24);
        CHECK(values[0] == 0.0f);
        CHECK(values[10] > values[9]);
    }
    const std::vector<std::string> amount = {"--match-amount", "80"};
    const auto render = [&](const std::string& strOut, std::vector<std::string> match) {
        match.insert(match.begin(), {"render", folder.File("dull mix.wav"), folder.File(strOut)});
        match.insert(match.end(), amount.begin(), amount.end());
        CHECK(Vesca(match).nExitCode == 0);
        return Test::ReadSound<float>(folder.File(strOut)).samples;
    };
    capture("dull mix.wav", "s.snapshot", {});
    capture("bright.wav", "t.snapshot", {});
    const auto matched = render("a.wav", {"--match", folder.File("s.snapshot"), folder.File("t.snapshot")});
    const auto referenced = render("b.wav", {"--reference", folder.File("bright.wav")});
    CHECK(Test::FirstDifference(matched, referenced) == -1);
    CHECK(Test::FirstDifference(matched, Test::ReadSound<float>(folder.File("dull mix.wav")).samples) != -1);
}

TEST_CASE("A reference of a lower rate leaves alone what lies above it") {
    const Test::TempFolder folder;
    Test::WriteSound(folder.File("dull.wav"), Coloured(5, 0.95f, 0.02f, 0.1f));
    Test::WriteSound(folder.File("bright.wav"), Coloured(6, 0.5f, 0.5f, 0.6f, 22050));
    REQUIRE(Vesca({"render", folder.File("dull.wav"), folder.File("out.wav"), "--reference",
                   folder.File("bright.wav"), "--match-amount", "100", "--match-smoothing", "0", "--set",
                   "EQ: FFT Size=4096"})
                .nExitCode == 0);
    const auto before = ThirdOctaves(folder.File("dull.wav"));
    const auto after = ThirdOctaves(folder.File("out.wav"));
    // The bands around 12.5 and 16 kHz; the one around 5 kHz rises.
    for (const std::size_t i : {before.size() - 2, before.size() - 1})
        CHECK(std::abs(after[i] - before[i]) < 0.1);
    CHECK(after[before.size() - 6] - before[before.size() - 6] > 2.0);
}

TEST_CASE("snapshot and matching options: each failure has its exit code and says what is wrong") {
    const Test::TempFolder folder;
    Test::WriteSound(folder.File("in.wav"), Coloured(7, 0.5f, 0.5f, 0.5f));
    Test::WriteSound(folder.File("short.wav"), Test::Sound<float>{.samples = std::vector<float>(200)});
    Test::Spill(folder.File("no.snapshot"), "no snapshot at all");
    REQUIRE(Vesca({"snapshot", "capture", folder.File("in.wav"), folder.File("a.snapshot")}).nExitCode == 0);
    const std::string strIn = folder.File("in.wav"), strOut = folder.File("out.wav");
    const std::string strGood = folder.File("a.snapshot");
    const struct {
        int nExitCode;
        std::vector<std::string> arguments;
        std::string strMessage;
    } cases[] = {
        {1, {"render", strIn, strOut, "--match", strGood, folder.File("no.snapshot")}, "no.snapshot: not a"},
        {1, {"render", strIn, strOut, "--match", folder.File("gone"), strGood}, "gone: File not found"},
        {1, {"render", strIn, strOut, "--reference", folder.File("gone.wav")}, "gone.wav: No such file"},
        {1, {"render", strIn, strOut, "--reference", folder.File("short.wav")}, "short.wav: it is shorter"},
        {1, {"snapshot", "capture", strIn, folder.File("no/a.snapshot")}, "no/a.snapshot"},
        {2, {"snapshot", "capture", strIn, strOut, "--type", "bark"}, "bark"},
        {2, {"render", strIn, strOut, "--match", strGood}, "--match"},
        {2, {"render", strIn, strOut, "--match", strGood, strGood, "--reference", strIn}, "--reference"},
        {2, {"render", strIn, strOut, "--match-amount", "5"}, "--match-amount: only with"},
        {2, {"render", strIn, strOut, "--match-smoothing", "1"}, "--match-smoothing: only with"},
        {2, {"render", strIn, strOut, "--match", strGood, strGood, "--match-amount", "x"}, "\"x\" is not"},
        {0, {"render", strIn, strOut, "--match", strGood, strGood, "--match-amount", "150"}, "100 is used"},
    };
    for (const auto& c : cases) {
        CAPTURE(c.strMessage);
        const auto result = Vesca(c.arguments);
        CHECK(result.nExitCode == c.nExitCode);
        CAPTURE(result.strErrors);
        CHECK(Contains(result.strErrors, c.strMessage));
        CHECK((Test::Slurp(strOut) == "") == (c.nExitCode != 0));
    }
}
