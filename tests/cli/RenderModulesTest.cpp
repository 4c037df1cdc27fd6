#include <doctest/doctest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/cli/VescaTest.h"
#include "tests/support/Signals.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestPlugin.h"

using Test::ReadSound;
using Test::Sound;
using Test::Vesca;
using Test::WriteSound;

namespace {

Sound<float> NoiseSound(std::size_t uFrames) {
    Sound<float> sound;
    sound.samples = Test::Noise(31, 2 * uFrames);
    for (float& fSample : sound.samples)
        fSample *= 0.25f;
    return sound;
}

std::uint32_t SystemDelay(const std::string& strReport) {
    return nlohmann::json::parse(strReport)["system_delay"].get<std::uint32_t>();
}

}  // namespace

TEST_CASE("render: with modules that delay, the output is as long as the input and in line with it") {
    const Test::TempFolder folder;
    const auto sound = NoiseSound(20000);
    WriteSound(folder.File("in.wav"), sound);
    // Each of these is a wire with a delay: dynamics at ratio 1, bands that sum to the input, no limiting.
    const std::vector<std::vector<std::string>> chains = {
        {"DYN: Bypass=off", "CrossOver: Type=Digital", "CrossOver: Buffer Size=512"},
        {"LMAX: Bypass=off", "LMAX: Mode=Intelligent"},
        {"DYN: Bypass=off", "CrossOver: Type=Digital", "LMAX: Bypass=off"},
    };
    for (const auto& chain : chains) {
        CAPTURE(chain.front());
        std::vector<std::string> command = {"render", folder.File("in.wav"), folder.File("out.wav"),
                                            "--report", "-"};
        for (const std::string& strSetting : chain) {
            command.push_back("--set");
            command.push_back(strSetting);
        }
        const auto result = Vesca(command);
        REQUIRE(result.nExitCode == 0);
        const std::uint32_t uDelay = SystemDelay(result.strOutput);
        CHECK(uDelay > 0);
        const auto aligned = ReadSound<float>(folder.File("out.wav"));
        CHECK(aligned.Frames() == 20000);
        CHECK(Test::WorstDifference(aligned.samples, sound.samples) < 1e-5f);

        command.push_back("--no-compensation");
        REQUIRE(Vesca(command).nExitCode == 0);
        const auto delayed = ReadSound<float>(folder.File("out.wav"));
        CHECK(delayed.Frames() == 20000);
        const std::vector<float> tail(delayed.samples.begin() + 2 * static_cast<std::ptrdiff_t>(uDelay),
                                      delayed.samples.end());
        CHECK(Test::WorstDifference(tail, aligned.samples) < 1e-9f);

        // Cut into other blocks: the same samples, but for what the process calls' own length may change.
        command.pop_back();
        command.insert(command.end(), {"--block", "64,500,1,4096"});
        REQUIRE(Vesca(command).nExitCode == 0);
        CHECK(Test::FirstDifference(ReadSound<float>(folder.File("out.wav")).samples, aligned.samples) == -1);
    }
}

TEST_CASE("render: an input shorter than the delay still gives its whole self") {
    const Test::TempFolder folder;
    const auto sound = NoiseSound(100);
    WriteSound(folder.File("in.wav"), sound);
    REQUIRE(Vesca({"render", folder.File("in.wav"), folder.File("out.wav"), "--set", "DYN: Bypass=off",
                   "--set", "CrossOver: Type=Digital"})
                .nExitCode == 0);
    const auto output = ReadSound<float>(folder.File("out.wav"));
    CHECK(output.Frames() == 100);
    CHECK(Test::WorstDifference(output.samples, sound.samples) < 1e-5f);
}

TEST_CASE("render: --set reaches every parameter of every module, at both ends of its range") {
    const Test::TempFolder folder;
    WriteSound(folder.File("in.wav"), NoiseSound(2000));
    Test::TestPlugin plugin;
    for (const bool bMax : {false, true}) {
        std::vector<std::string> command = {"render", folder.File("in.wav"), folder.File("out.wav"),
                                            "--save-state", folder.File("end.state")};
        for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
            if (parameter.Info().storageClass != StorageClass::StateBlock) continue;
            command.push_back("--set");
            command.push_back(parameter.Name() + "=" +
                              parameter.Text(bMax ? parameter.Max() : parameter.Min()));
        }
        const auto result = Vesca(command);
        CHECK(result.nExitCode == 0);
        CHECK(result.strErrors == "");
        for (const float fSample : ReadSound<float>(folder.File("out.wav")).samples)
            REQUIRE(std::isfinite(fSample));
    }
}
