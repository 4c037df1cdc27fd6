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
    constexpr auto kNone = std::nullopt;
    const struct {
        const char* parameter;
        std::optional<double> value;
        std::vector<const char*> texts;
    } rows[] = {
        // "32" is the label of 0; "3" is no label, so it is the number.
        {"Global: Global Buffer Size", 0.0, {"32"}},
        {"Global: Global Buffer Size", 5.0, {"1024"}},
        {"Global: Global Buffer Size", 6.0, {"Auto"}},
        {"Global: Global Buffer Size", 3.0, {"3"}},
        {"Global: Global Buffer Size", kNone, {"auto", "Auto ", "3.5", "on", "true", ""}},
        {"Global: Bypass", 1.0, {"on", "true", "1"}},
        {"Global: Bypass", 0.0, {"off", "false"}},
        // The display's words for this switch are not an enumeration.
        {"Global: Bypass", kNone, {"Bypassed", "ON", "0.5", "yes"}},
        {"Gain: Input Left", -6.25, {"-6.25"}},
        {"Gain: Input Left", 0.3, {"+3e-1"}},
        {"Gain: Input Left", kNone, {"on", "nan", "inf", "1e999", "6 dB", " 6", "+-6", "0x10", "6,5"}},
    };
    for (const auto& row : rows) {
        for (const char* const text : row.texts) {
            CAPTURE(row.parameter);
            CAPTURE(text);
            CHECK(ParseValue(plugin.Parameter(row.parameter), text) == row.value);
        }
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
