#include <doctest/doctest.h>

#include <regex>

#include "tests/cli/VescaTest.h"
#include "tests/support/Signals.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"

using Test::Contains;
using Test::Vesca;

namespace {

/// A preset as it is shown, with one blank between two cells.
std::string Shown(const std::string& strPath) {
    const auto result = Vesca({"preset", "show", strPath});
    CHECK(result.nExitCode == 0);
    return std::regex_replace(result.strOutput, std::regex(" +"), " ");
}

}  // namespace

TEST_CASE("A sound kept as a preset renders the same again, and the settings behind it come after it") {
    const Test::TempFolder folder;
    const auto file = [&](const char* name) { return folder.File(name); };
    Test::WriteSound(file("in.wav"),
                     Test::Sound<float>{44100, 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT, Test::Noise(5, 20000)});
    REQUIRE(Vesca({"render", file("in.wav"), file("a.wav"), "-s", "Output Gain Slider Lock=off", "-s",
                   "Gain: Output Left=-7.25", "-s", "EQ: Bypass=off", "-s", "EQ: Gain 2=4.5", "-s",
                   "LMAX: Bypass=off", "-s", "LMAX: Threshold=-6", "--save-preset", file("a.xml"),
                   "--save-state", file("a.state")})
                .nExitCode == 0);
    REQUIRE(
        Vesca({"render", file("in.wav"), file("b.wav"), "-p", file("a.xml"), "--save-state", file("b.state")})
            .nExitCode == 0);
    const bool bSame = Test::Slurp(file("a.wav")) == Test::Slurp(file("b.wav"));
    CHECK(bSame);
    CHECK(Test::Slurp(file("a.state")) == Test::Slurp(file("b.state")));
    // A preset of one group leaves the others to the state; a setting has the last word.
    REQUIRE(Vesca({"preset", "make", file("eq.xml"), "-s", "EQ: Gain 2=-3", "--groups", "EQ"}).nExitCode ==
            0);
    REQUIRE(Vesca({"render", file("in.wav"), file("c.wav"), "--preset", file("eq.xml"), "--state",
                   file("a.state"), "-s", "EQ: Gain 3=1", "--save-preset", file("c.xml")})
                .nExitCode == 0);
    const std::string strShown = Shown(file("c.xml"));
    for (const std::string strLine :
         {"EQ: Gain 2 -3 ", "EQ: Gain 3 1 ", "Gain: Output Left -7.25 ", "LMAX: Threshold -6 "}) {
        CAPTURE(strLine);
        CHECK(Contains(strShown, strLine));
    }
    CHECK(Contains(strShown, "LastModified: "));
    CHECK(Contains(strShown, "LastUsed: "));
}

TEST_CASE("make writes what it is told, the same each time, and refuses what the preset would not carry") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("new folder/Glue.xml");
    const std::vector<std::string> make = {"preset",
                                           "make",
                                           strPath,
                                           "--groups",
                                           "EQ, Dynamics",
                                           "--comment",
                                           "For \"us\" & all",
                                           "--read-only",
                                           "-s",
                                           "DYN: Band 2 Comp Ratio=99"};
    const auto result = Vesca(make);
    CHECK(result.nExitCode == 0);
    CHECK(Contains(result.strErrors, "warning: --set \"DYN: Band 2 Comp Ratio=99\": out of range"));
    const std::string strText = Test::Slurp(strPath);
    CHECK(Contains(strText, "PluginVer=\"3090\" ReadOnly=\"1\" Comments="));
    CHECK_FALSE(Contains(strText, " Name="));
    CHECK_FALSE(Contains(strText, "Last"));
    Vesca(make);
    CHECK(Test::Slurp(strPath) == strText);
    const std::string strShown = Shown(strPath);
    CHECK(strShown.rfind("Name: Glue\nReadOnly: 1\nComments: For \"us\" & all\nGROUP", 0) == 0);
    CHECK(Contains(strShown, "\nDynamics yes DYN: Band 2 Comp Ratio 30 "));
    CHECK(Contains(strShown, "\nGlobal no Gain: Input Left 0 "));
    CHECK(Vesca({"preset", "make", strPath, "--verbose"}).nExitCode == 0);
    CHECK(Contains(Test::Slurp(strPath), "Name=\"Gain: Input Left\""));

    for (const auto& [setting, groups, reason] :
         {std::tuple{"EQ: Gain 1=1", "Reverb", "belongs to EQ"},
          {"Global: FPS=3", "EQ", "do not hold"},
          {"EQ: Gain 1=1", "EQ,Foo", "\"Foo\" is none of Global, Meters,"},
          {"EQ: Gain 1=1", "EQ,", "\"\" is"}}) {
        const auto refused =
            Vesca({"preset", "make", folder.File("no.xml"), "-s", setting, "--groups", groups});
        CHECK(refused.nExitCode == 2);
        CHECK(Contains(refused.strErrors, reason));
    }
    CHECK_FALSE(std::filesystem::exists(folder.File("no.xml")));
}

TEST_CASE("A preset that can't be used is named with the place and the reason, and nothing is rendered") {
    const Test::TempFolder folder;
    const std::string strGood = folder.File("good.xml"), strBad = folder.File("bad.xml");
    REQUIRE(Vesca({"preset", "make", strGood}).nExitCode == 0);
    std::string strText = Test::Slurp(strGood);
    strText.replace(strText.find("ParamID=\"1\""), 11, "ParamID=\"99\"");
    Test::Spill(strBad, strText);
    const auto checked = Vesca({"preset", "check", strGood, strBad, folder.File("none.xml"), strGood});
    CHECK(checked.nExitCode == 1);
    CHECK(checked.strOutput ==
          strGood + ": ok\n" + strBad + " (5, 9): ID parameter out of range.\ncan't read " +
              folder.File("none.xml") + ": No such file or directory\n" + strGood + ": ok\n");
    CHECK(Contains(checked.strErrors, "2 of 4 presets"));
    CHECK(Vesca({"preset", "check", strGood}).nExitCode == 0);
    for (const std::vector<std::string>& command : {std::vector<std::string>{"preset", "show", strBad},
                                                    {"render", "in", folder.File("o.wav"), "-p", strBad}}) {
        const auto result = Vesca(command);
        CHECK(result.nExitCode == 1);
        CHECK(result.strErrors == "vesca: " + strBad + " (5, 9): ID parameter out of range.\n");
    }
    CHECK(Vesca({"preset", "make", folder.File("bad.xml/x.xml")}).nExitCode == 1);
}
