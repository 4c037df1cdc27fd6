#include <doctest/doctest.h>

#include <nlohmann/json.hpp>

#include "hvBase/Util/Dir.h"
#include "tests/cli/VescaTest.h"
#include "tests/support/Signals.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"

using Test::Contains;
using Test::Slurp;
using Test::Sound;
using Test::Vesca;

TEST_CASE("render into a folder: each file as if rendered alone, and one that fails keeps no other") {
    const Test::TempFolder folder;
    const std::string strOut = folder.File("masters/");
    std::vector<std::string> arguments = {"render"};
    for (int i = 0; i < 5; ++i) {
        const std::string strName = std::to_string(i) + ".wav";
        Sound<float> sound{44100, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT,
                           Test::Noise(7 + static_cast<std::uint64_t>(i), 30000)};
        Test::WriteSound(folder.File(strName), sound);
        REQUIRE(Vesca({"render", folder.File(strName), folder.File("alone" + strName), "-s", "EQ: Bypass=off",
                       "-s", "EQ: Gain 4=6"})
                    .nExitCode == 0);
        arguments.push_back(folder.File(strName));
    }
    Test::Spill(folder.File("broken.wav"), "no sound");
    arguments.push_back(folder.File("broken.wav"));
    arguments.insert(arguments.end(), {strOut, "--jobs", "3", "-s", "EQ: Bypass=off", "-s", "EQ: Gain 4=6",
                                       "--report", folder.File("report.json")});

    const auto result = Vesca(arguments);
    CHECK(result.nExitCode == 1);
    for (int i = 0; i < 5; ++i) {
        const std::string strName = std::to_string(i) + ".wav";
        CHECK(Slurp(strOut + strName) == Slurp(folder.File("alone" + strName)));
        CHECK(Contains(result.strErrors, strName + " -> "));
    }
    CHECK_FALSE(Util::Dir::FileExists(folder.File("masters/broken.wav")));
    CHECK(Contains(result.strErrors, "1 of 6 files failed"));
    CHECK(Contains(result.strOutput, "RESULT"));
    CHECK(Contains(result.strOutput, "broken.wav"));
    const auto reports = nlohmann::json::parse(Slurp(folder.File("report.json")));
    REQUIRE(reports.size() == 5);
    CHECK(reports[3]["file"] == strOut + "3.wav");
    CHECK(reports[3]["frames_out"] == 30000);
}

TEST_CASE("render into a folder: what has no meaning is refused before any file is touched") {
    const Test::TempFolder folder;
    const Sound<float> sound{44100, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT, Test::Noise(7, 300)};
    for (const char* const name : {"a.wav", "b.wav"})
        Test::WriteSound(folder.File(name), sound);
    const std::string strA = folder.File("a.wav"), strB = folder.File("b.wav"), strOut = folder.File("out/");
    CHECK(Vesca({"render", strA, strB, folder.File("c.wav")}).nExitCode == 2);
    CHECK(Vesca({"render", strA, strA, strOut}).nExitCode == 2);
    CHECK(Vesca({"render", strA, strB, strOut, "-s", "No Such=1"}).nExitCode == 2);
    CHECK(Vesca({"render", strA, strB, strOut, "--save-state", folder.File("s")}).nExitCode == 2);
    CHECK(Vesca({"render", strA, strB, strOut, "--jobs", "0"}).nExitCode == 2);
    CHECK_FALSE(Util::Dir::Exists(folder.File("out")));
    CHECK(Vesca({"render", strA, strOut, "-q"}).nExitCode == 0);
    CHECK(Util::Dir::FileExists(folder.File("out/a.wav")));
}
