#include "apps/vesca/ParameterSetting.h"

#include <doctest/doctest.h>

#include "apps/vesca/CommandError.h"
#include "tests/support/TestPlugin.h"

using App::ApplySetting;
using App::ParameterIndex;
using App::ParseValue;

namespace {

std::string UsageErrorOf(const ParameterIndex& parameters, const std::string& strSetting) {
    std::vector<std::string> warnings;
    try {
        ApplySetting(parameters, strSetting, warnings);
    } catch (const App::UsageError& error) {
        return error.Message();
    }
    return "none";
}

bool Contains(const std::string& strText, const std::string& strPiece) {
    return strText.find(strPiece) != std::string::npos;
}

}  // namespace

TEST_CASE("Settings: a value is a label first, then on or off, then a number, and nothing else") {
    Test::TestPlugin plugin;
    const auto bufferSize = plugin.Parameter("Global: Global Buffer Size");
    const auto bypass = plugin.Parameter("Global: Bypass");
    const auto gain = plugin.Parameter("Gain: Input Left");

    // "32" is the label of 0; "3" is no label, so it is the number.
    CHECK(ParseValue(bufferSize, "32") == 0.0);
    CHECK(ParseValue(bufferSize, "1024") == 5.0);
    CHECK(ParseValue(bufferSize, "Auto") == 6.0);
    CHECK(ParseValue(bufferSize, "3") == 3.0);
    for (const std::string strText : {"auto", "Auto ", "3.5", "on", "true", ""}) {
        CAPTURE(strText);
        CHECK_FALSE(ParseValue(bufferSize, strText));
    }
    CHECK(ParseValue(bypass, "on") == 1.0);
    CHECK(ParseValue(bypass, "true") == 1.0);
    CHECK(ParseValue(bypass, "off") == 0.0);
    CHECK(ParseValue(bypass, "false") == 0.0);
    CHECK(ParseValue(bypass, "1") == 1.0);
    // The display's words for this switch are not an enumeration.
    for (const std::string strText : {"Bypassed", "ON", "0.5", "yes"}) {
        CAPTURE(strText);
        CHECK_FALSE(ParseValue(bypass, strText));
    }
    CHECK(ParseValue(gain, "-6.25") == -6.25);
    CHECK(ParseValue(gain, "+3e-1") == 0.3);
    for (const std::string strText : {"on", "nan", "inf", "1e999", "6 dB", " 6", "+-6", "0x10", "6,5"}) {
        CAPTURE(strText);
        CHECK_FALSE(ParseValue(gain, strText));
    }
}

TEST_CASE("Settings: each is applied in turn, and one out of range is clamped with a warning") {
    Test::TestPlugin plugin;
    const ParameterIndex parameters(plugin.Components());
    std::vector<std::string> warnings;
    ApplySetting(parameters, "Input Gain Slider Lock=off", warnings);
    ApplySetting(parameters, "Gain: Input Left=-3", warnings);
    ApplySetting(parameters, "Gain: Input Left=-6.5", warnings);
    CHECK(plugin.Get("Gain: Input Left") == -6.5);
    CHECK(plugin.Get("Gain: Input Right") == 0.0);
    // The nearest single number to this is 10 itself.
    ApplySetting(parameters, "Gain: Input Right=10.0000001", warnings);
    CHECK(warnings.empty());

    ApplySetting(parameters, "Gain: Input Right=10.1", warnings);
    ApplySetting(parameters, "Global: Preset Change Mode=-1", warnings);
    ApplySetting(parameters, "Global: Process As Mono=7", warnings);
    CHECK(plugin.Get("Gain: Input Right") == 10.0);
    CHECK(plugin.Get("Global: Preset Change Mode") == 0.0);
    CHECK(plugin.Get("Global: Process As Mono") == 1.0);
    REQUIRE(warnings.size() == 3);
    CHECK(Contains(warnings[0], "Gain: Input Right=10.1"));
    CHECK(Contains(warnings[0], "-144 to 10 dB"));
    CHECK(Contains(warnings[1], "Realtime"));
}

TEST_CASE("Settings: what has no meaning is a usage error that names it and changes nothing") {
    Test::TestPlugin plugin;
    const ParameterIndex parameters(plugin.Components());
    CHECK(Contains(UsageErrorOf(parameters, "Gain: Input Left"), "NAME=VALUE"));
    CHECK(Contains(UsageErrorOf(parameters, "=3"), "NAME=VALUE"));
    CHECK(Contains(UsageErrorOf(parameters, "Gain: Input Left=loud"), "\"loud\""));
    CHECK(Contains(UsageErrorOf(parameters, "Global: Preset Change Mode=mute"), "\"Mute\""));
    CHECK(Contains(UsageErrorOf(parameters, "gain: input left=3"), "did you mean \"Gain: Input Left\""));
    CHECK(Contains(UsageErrorOf(parameters, "Zzzzzz Qqqqqq=3"), "vesca params"));
    CHECK(plugin.Get("Gain: Input Left") == 0.0);
}

TEST_CASE("Settings: near names come nearest first, whatever their case") {
    Test::TestPlugin plugin;
    const ParameterIndex parameters(plugin.Components());
    const auto near = parameters.Near("Gain: Inptu Left");
    REQUIRE(!near.empty());
    CHECK(near.front() == "Gain: Input Left");
    const auto containing = parameters.Near("bypass");
    CHECK(containing.size() >= 2);  // "Global: Bypass" and "Bypass Gain" at least
    for (const std::string& strName : containing)
        CHECK(Contains(strName, "Bypass"));
    CHECK(parameters.Near("q").empty());
}
