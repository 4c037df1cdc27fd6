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

}  // namespace

TEST_CASE("render: with modules that delay, the output is as long as the input and in line with it") {
    const Test::TempFolder folder;
    const auto sound = NoiseSound(5000);
    WriteSound(folder.File("in.wav"), sound);
    // Each of these is a wire with a delay: dynamics at ratio 1, bands that sum to the input, no limiting.
    std::vector<std::string> command = {"render", folder.File("in.wav"), folder.File("out.wav")};
    for (const char* const setting : {"DYN: Bypass=off", "CrossOver: Type=Digital", "LMAX: Bypass=off"})
        command.insert(command.end(), {"--set", setting});
    command.insert(command.end(), {"--report", "-"});
    const auto result = Vesca(command);
    REQUIRE(result.nExitCode == 0);
    const auto nDelay = nlohmann::json::parse(result.strOutput)["system_delay"].get<std::ptrdiff_t>();
    CHECK(nDelay > 100);
    const auto aligned = ReadSound<float>(folder.File("out.wav"));
    CHECK(aligned.Frames() == 5000);
    CHECK(Test::WorstDifference(aligned.samples, sound.samples) < 1e-5f);

    command.insert(command.end(), {"--no-compensation", "--block", "64,500,1,4096"});
    REQUIRE(Vesca(command).nExitCode == 0);
    const auto delayed = ReadSound<float>(folder.File("out.wav"));
    CHECK(delayed.Frames() == 5000);
    const std::vector<float> tail(delayed.samples.begin() + 2 * nDelay, delayed.samples.end());
    CHECK(Test::WorstDifference(tail, aligned.samples) < 1e-9f);
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
