#include <doctest/doctest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "apps/vesca/Progress.h"
#include "apps/vesca/TextList.h"
#include "tests/cli/VescaTest.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestPlugin.h"

using Json = nlohmann::ordered_json;
using Test::Contains;
using Test::Vesca;

TEST_CASE("vesca: help and version go to standard output, and a wrong command line is exit 2") {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"},
                                                      {"render", "--help"},
                                                      {"params", "-h"},
                                                      {"state", "show", "-h"}}) {
        const auto result = Vesca(arguments);
        CHECK(result.nExitCode == 0);
        CHECK(Contains(result.strOutput, "Usage"));
        CHECK(result.strErrors == "");
    }
    const auto version = Vesca({"--version"});
    CHECK(version.nExitCode == 0);
    CHECK(version.strOutput.rfind("vesca ", 0) == 0);

    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {"master"},
                                                      {"render"},
                                                      {"render", "in.wav"},
                                                      {"params", "--xml"},
                                                      {"state"},
                                                      {"state", "show"}}) {
        const auto result = Vesca(arguments);
        CHECK(result.nExitCode == 2);
        CHECK(result.strOutput == "");
        CHECK(result.strErrors != "");
    }
}

TEST_CASE("params: every parameter stands there once, in list order, with what its table says") {
    Test::TestPlugin plugin;
    const auto parameters = AllParameters(plugin.Components());
    const auto result = Vesca({"params", "--json"});
    REQUIRE(result.nExitCode == 0);
    const Json list = Json::parse(result.strOutput);
    REQUIRE(list.size() == parameters.size());
    std::set<std::string> names;
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        CAPTURE(i);
        CHECK(list[i]["name"] == parameters[i].Name());
        CHECK(list[i]["component"] == parameters[i].Owner().Name());
        CHECK(list[i]["id"] == parameters[i].Index());
        const auto uOwner = list[i]["component_id"].get<std::size_t>();
        REQUIRE(uOwner < plugin.Components().size());
        CHECK(plugin.Components()[uOwner] == &parameters[i].Owner());
        names.insert(list[i]["name"].get<std::string>());
    }
    CHECK(names.size() == list.size());

    const auto find = [&](const char* name) {
        for (const Json& entry : list)
            if (entry["name"] == name) return entry;
        return Json();
    };
    auto gain = find("Gain: Output Right");
    gain.erase("component_id");  // rises when a component gets its place before this one
    CHECK(gain == Json::parse(R"({"component": "Gain", "table": "Float", "id": 4,
                          "name": "Gain: Output Right", "units": "dB", "min": -144.0, "max": 10.0,
                          "default": 0.0, "labels": [], "automatable": true, "storage_class": 0,
                          "preset_group": 0})"));
    CHECK(find("Global: Bypass") ==
          Json::parse(R"({"component": "Global", "component_id": 0, "table": "Bool", "id": 0,
                          "name": "Global: Bypass", "units": "", "min": false, "max": true,
                          "default": false,
                          "labels": ["Bypassed\nBYPS\nGBP\nB", "Unbypassed\nUNBPS\nUB\nU"],
                          "automatable": true, "storage_class": 1, "preset_group": 10})"));
    CHECK(find("Global: Preset Change Mode")["labels"] == Json::array({"Realtime", "Bypass", "Mute"}));
    // The single number nearest to 1.2 is written as a person wrote it.
    CHECK(find("Global: ALT-Solo Q")["min"].dump() == "1.2");

    // As a table it has a line for each, and its columns stand under each other.
    std::istringstream lines(Vesca({"params"}).strOutput);
    std::string strLine;
    std::getline(lines, strLine);
    const std::size_t uColumn = strLine.find("NAME");
    REQUIRE(uColumn != std::string::npos);
    for (const ParameterRef& parameter : parameters) {
        REQUIRE(std::getline(lines, strLine));
        CHECK(strLine.compare(uColumn, parameter.Name().size(), parameter.Name()) == 0);
    }
    CHECK_FALSE(std::getline(lines, strLine));
}

TEST_CASE("state: a state is shown by name, without what does not belong to it") {
    const Test::TempFolder folder;
    Test::TestPlugin plugin;
    plugin.Set("Output Gain Slider Lock", 0);
    plugin.Set("Gain: Output Left", -7.25);
    std::vector<std::uint8_t> bytes;
    plugin.CaptureState(bytes);
    Test::Spill(folder.File("a.state"), std::string(bytes.begin(), bytes.end()));
    const auto shown = Vesca({"state", "show", folder.File("a.state")});
    CHECK(shown.nExitCode == 0);
    CHECK(Contains(shown.strOutput, "magic 0x59c2b04, version 13, " + std::to_string(bytes.size())));
    for (const std::string strName : {"Gain: Output Left", "-7.25", "Output Gain Slider Lock", "off"})
        CHECK(Contains(shown.strOutput, strName));
    CHECK_FALSE(Contains(shown.strOutput, "Global: Bypass"));
}

TEST_CASE("state: a block that does not fit is refused with the file and the reason") {
    const Test::TempFolder folder;
    Test::TestPlugin plugin;
    std::vector<std::uint8_t> bytes;
    plugin.CaptureState(bytes);
    const std::string strGood(bytes.begin(), bytes.end());
    const auto refusal = [&](std::string strBytes) {
        Test::Spill(folder.File("x.state"), strBytes);
        const auto result = Vesca({"state", "show", folder.File("x.state")});
        CHECK(result.nExitCode == 1);
        CHECK(result.strOutput == "");
        CHECK(Contains(result.strErrors, folder.File("x.state")));
        return result.strErrors;
    };
    const auto changed = [&](std::size_t uOffset) {
        std::string strBytes = strGood;
        strBytes[uOffset] = static_cast<char>(strBytes[uOffset] + 1);
        return strBytes;
    };
    CHECK(Contains(refusal(""), "too short"));
    CHECK(Contains(refusal(strGood.substr(0, 11)), "too short"));
    CHECK(Contains(refusal(changed(0)), "not a state block"));
    CHECK(Contains(refusal(changed(4)), "state version 14"));
    CHECK(Contains(refusal(changed(8)), "the header says"));
    CHECK(Contains(refusal(strGood.substr(0, strGood.size() - 1)), "the header says"));
    CHECK(Contains(refusal(changed(8) + "x"), "this engine's parameters take"));
    // The first component stores nothing but the length of its extra bytes.
    CHECK(Contains(refusal(changed(12)), "lengths inside"));
}

TEST_CASE("Text: lists are cut at commas, and tables are as wide as their widest cells") {
    CHECK(App::SplitList(" a , b c,,d") == std::vector<std::string>{"a", "b c", "", "d"});
    CHECK(App::SplitList("") == std::vector<std::string>{""});
    CHECK(App::AlignedTable({{"A", "LONG", "C"}, {"wide", "x", ""}, {"1"}}) == "A     LONG  C\nwide  x\n1\n");
}

TEST_CASE("Progress: the line tells share, time and speed, whatever the total") {
    CHECK(App::ProgressLine(44100, 88200, 44100, 0.5) ==
          "[###############...............]  50 %  00:00  2.0 x real time");
    CHECK(App::ProgressLine(99999, 88200, 44100, 61.0)
              .rfind("[##############################] 100 %  01:01", 0) == 0);
    CHECK(App::ProgressLine(0, 0, 44100, 0.0) ==
          "[..............................]   0 %  00:00  0.0 x real time");
}
