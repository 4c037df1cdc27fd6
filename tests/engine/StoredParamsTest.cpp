#include <doctest/doctest.h>

#include <algorithm>

#include "PluginBase/Plugin.h"
#include "tests/support/TestPlugin.h"

using Test::TestPlugin;

TEST_CASE("Preferences survive from one instance to the next, and of two the one closed last stands") {
    Util::MemorySettingsStore user;
    {
        TestPlugin first(user);
        first.Set("Global: FPS", 24);
        first.Set("Global: Delay Compensation", 1);
        first.Set("Global: Filter Graph Item 0", 6);
        first.Set("Global: ALT-Solo Q", 33.5);
        first.SetFrozenSystemDelay(1234);
    }
    {
        TestPlugin second(user);
        CHECK(second.Get("Global: FPS") == 24);
        CHECK(second.Get("Global: Delay Compensation") == 1);
        CHECK(second.Get("Global: Filter Graph Item 0") == 6);
        CHECK(second.Get("Global: ALT-Solo Q") == 33.5);
        CHECK(second.FrozenSystemDelay() == 1234);
        CHECK(second.GetTransform().SystemDelay() == 1234);
        CHECK(second.nCompensationChanges == 0);
        second.SetFrozenSystemDelay(std::nullopt);

        auto third = std::make_unique<TestPlugin>(user);
        third->Set("Global: FPS", 50);
        second.Set("Global: FPS", 12);
        third.reset();
    }
    TestPlugin last(user);
    CHECK(last.Get("Global: FPS") == 12);
    CHECK_FALSE(last.FrozenSystemDelay().has_value());
}

TEST_CASE("Only preferences are stored, under names built from component and parameter") {
    Util::MemorySettingsStore user;
    {
        TestPlugin plugin(user);
        plugin.Set("Gain: Input Left", 3);
        plugin.Set("Global: Bypass", 1);
    }
    const auto names = user.EnumerateValues();
    std::vector<std::string> expected;
    TestPlugin plugin;
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        if (parameter.Owner().Name() != "Global" && parameter.Owner().Name() != "GlobalDerived") continue;
        if (parameter.Name() == "Global: Bypass") continue;
        expected.push_back("Params." + parameter.Owner().Name() + "." + parameter.Name());
    }
    CHECK(std::is_permutation(names.begin(), names.end(), expected.begin(), expected.end()));
    CHECK(std::count(names.begin(), names.end(), "Params.Global.Global: FPS") == 1);

    // A Float is four bytes of its bits, everything else a number.
    std::vector<std::uint8_t> bytes;
    REQUIRE(user.GetBytes("Params.Global.Global: FPS", bytes));
    CHECK(bytes == std::vector<std::uint8_t>{0x00, 0x00, 0xF0, 0x41});
    std::uint32_t uNumber = 99;
    REQUIRE(user.GetNumber("Params.Global.Global: Meter Enable", uNumber));
    CHECK(uNumber == 1);
}

TEST_CASE("What a store holds is clamped on its way in, and what it cannot give keeps its default") {
    Util::MemorySettingsStore user;
    const std::uint8_t hundred[] = {0x00, 0x00, 0xC8, 0x42};
    user.SetBytes("Params.Global.Global: FPS", hundred, 4);
    user.SetBytes("Params.Global.Global: Opacity", hundred, 3);
    user.SetNumber("Params.Global.Global: History Depth", 0xFFFFFFFF);
    user.SetNumber("Params.Global.Global: Preset Change Mode", 7);
    user.SetText("Params.Global.Global: Process As Mono", "yes");
    user.SetNumber("FrozenSystemDelay", 0x80000000);
    TestPlugin plugin(user);
    CHECK(plugin.Get("Global: FPS") == 60);
    CHECK(plugin.Get("Global: Opacity") == 100);
    CHECK(plugin.Get("Global: History Depth") == 0);
    CHECK(plugin.Get("Global: Preset Change Mode") == 2);
    CHECK(plugin.Get("Global: Process As Mono") == 0);
    CHECK_FALSE(plugin.FrozenSystemDelay().has_value());
    CHECK_FALSE(plugin.InstallPath().empty());
    user.SetText("InstallPath", "/somewhere/");
    CHECK(plugin.InstallPath() == "/somewhere/");
}
