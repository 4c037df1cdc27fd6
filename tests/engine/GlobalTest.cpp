#include "PluginBase/Global.h"

#include <doctest/doctest.h>

#include "tests/support/FakeModules.h"
#include "tests/support/TestPlugin.h"
#ifndef _WIN32
#include "hvBase/Util/MessageQueue.h"
#endif

using Test::TestPlugin;

namespace {

ModuleSet OneFake(PluginContext& plugin) {
    ModuleSet modules;
    modules.equalizer = modules.Add<Test::FakeModule>(plugin, "Fake");
    return modules;
}

}  // namespace

TEST_CASE("A fresh instance has the settings of a first start") {
    TestPlugin plugin;
    CHECK(plugin.GetTransform().GlobalSettings().FilterGraph() ==
          Global::ModuleOrder{0, 1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(plugin.Parameter("Global: Preset Change Mode").Text(plugin.Get("Global: Preset Change Mode")) ==
          "Bypass");
    CHECK(plugin.Parameter("Global: History Depth").Text(plugin.Get("Global: History Depth")) == "100");
    CHECK(plugin.Parameter("Global: Global Buffer Size").Text(plugin.Get("Global: Global Buffer Size")) ==
          "Auto");
    // Every value is the table's default, and the range holds it.
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        CAPTURE(parameter.Name());
        CHECK(parameter.Get() == parameter.Default());
        CHECK(parameter.Default() >= parameter.Min());
        CHECK(parameter.Default() <= parameter.Max());
    }
}

TEST_CASE("Global settings are preferences, but for the bypass, which is kept nowhere") {
    TestPlugin plugin;
    for (const char* name : {"Global", "GlobalDerived"}) {
        for (const ParameterRef& parameter : AllParameters({&plugin.Find(name)})) {
            CAPTURE(parameter.Name());
            const bool bBypass = parameter.Name() == "Global: Bypass";
            CHECK(parameter.Info().storageClass ==
                  (bBypass ? StorageClass::Nowhere : StorageClass::Settings));
            CHECK(parameter.Info().uPresetFlag == (bBypass ? 0 : 1));
            CHECK(parameter.Info().bAutomatable == bBypass);
            CHECK(parameter.Info().presetGroup == PresetGroup::None);
        }
    }
    CHECK(plugin.Find("Global").Count(ParameterGroup::Float) == 3);
    CHECK(plugin.Find("Global").Count(ParameterGroup::Bool) == 8);
    CHECK(plugin.Find("Global").Count(ParameterGroup::Int) == 13);
}

TEST_CASE("Every global setting is clamped to its range") {
    TestPlugin plugin;
    for (const char* name : {"Global", "GlobalDerived"}) {
        for (const ParameterRef& parameter : AllParameters({&plugin.Find(name)})) {
            if (parameter.Group() == ParameterGroup::Bool) continue;
            CAPTURE(parameter.Name());
            parameter.Set(1e9);
            CHECK(parameter.Get() == parameter.Max());
            parameter.Set(-1e9);
            CHECK(parameter.Get() == parameter.Min());
        }
    }
}

TEST_CASE("The timer period follows the frame rate, rounded") {
    TestPlugin plugin;
    const Global& global = plugin.GetTransform().GlobalSettings();
    CHECK(global.TimerPeriod() == 33);
    plugin.Set("Global: FPS", 7);  // 142.857
    CHECK(global.TimerPeriod() == 143);
    plugin.Set("Global: FPS", 16);  // 62.5, away from zero
    CHECK(global.TimerPeriod() == 63);
}

TEST_CASE("The automation stride is the zipper setting rounded half away from zero") {
    TestPlugin plugin;
    const Global& global = plugin.GetTransform().GlobalSettings();
    CHECK(global.AutomationStride() == 50);
    plugin.Set("Global: Automation Zipper Samples", 12.5);
    CHECK(global.AutomationStride() == 13);
    plugin.Set("Global: Automation Zipper Samples", 0);
    CHECK(global.AutomationStride() == 10);
}

TEST_CASE("Switching bypass on drops the history of all modules, switching it off does not") {
    TestPlugin plugin(&OneFake);
    auto& fake = static_cast<Test::FakeModule&>(plugin.Find("Fake"));
    fake.nClears = 0;
    plugin.Dirty() = false;
    plugin.Set("Global: Bypass", 1);
    CHECK(fake.nClears == 1);
    plugin.Set("Global: Bypass", 1);
    plugin.Set("Global: Bypass", 0);
    CHECK(fake.nClears == 1);
    CHECK_FALSE(plugin.Dirty());
}

TEST_CASE("Meter Enable reaches every component") {
    TestPlugin plugin;
    plugin.Set("Global: Meter Enable", 0);
    for (const Component* component : plugin.Components())
        CHECK_FALSE(component->MetersEnabled());
    plugin.Set("Global: Meter Enable", 1);
    for (const Component* component : plugin.Components())
        CHECK(component->MetersEnabled());
}

TEST_CASE("Delay Compensation tells the host once for each change") {
    TestPlugin plugin;
    plugin.Set("Global: Delay Compensation", 1);
    plugin.Set("Global: Delay Compensation", 1);
    plugin.Set("Global: Delay Compensation", 0);
    CHECK(plugin.nCompensationChanges == 2);
}

TEST_CASE("The highlight colours automated parameters, and None takes all marks off") {
    TestPlugin plugin(&OneFake);
    Component& fake = plugin.Find("Fake");
    const EnvelopeSegment segment{0, 100, 0, 0, 0, EnvelopeCurve::Jump};
    fake.Envelopes().AddSegments(ParameterGroup::Float, 0, {&segment, 1});
    plugin.Set("Global: DX Automation Highlight", 1);
    CHECK(fake.FloatInfo(0).GetHighlight() == Highlight::Blue);
    CHECK(fake.BoolInfo(0).GetHighlight() == Highlight::None);
    plugin.Set("Global: DX Automation Highlight", 4);
    CHECK(fake.FloatInfo(0).GetHighlight() == Highlight::None);
    plugin.Set("Global: DX Automation Highlight", 3);
    CHECK(fake.FloatInfo(0).GetHighlight() == Highlight::Yellow);
}

TEST_CASE("The module order changes item by item and as a whole, and marks the plug-in dirty") {
    TestPlugin plugin;
    Global& global = plugin.GetTransform().GlobalSettings();
    plugin.Dirty() = false;
    plugin.Set("Global: Filter Graph Item 3", 3);
    CHECK_FALSE(plugin.Dirty());
    plugin.Set("Global: Filter Graph Item 3", 8);
    CHECK(plugin.Dirty());
    CHECK(global.FilterGraph() == Global::ModuleOrder{0, 1, 2, 8, 4, 5, 6, 7, 8});

    plugin.Dirty() = false;
    global.SetFilterGraph({8, 7, 6, 5, 4, 3, 2, 1});
    global.SetFilterGraph({0, 1, 2, 8, 4, 5, 6, 7, 8});
    CHECK_FALSE(plugin.Dirty());
    global.SetFilterGraph({8, 7, 6, 5, 4, 3, 2, 1, 0});
    CHECK(plugin.Dirty());
    CHECK(plugin.Get("Global: Filter Graph Item 1") == 7);
}

#ifndef _WIN32
TEST_CASE("Settings of the display post their codes to an editor, and none without one") {
    Util::MessageQueue queue;
    TestPlugin plugin;
    plugin.Set("Global: Show Background Grid", 0);
    plugin.SetEditorWindow(queue.Handle());
    const auto codes = [&] {
        std::vector<std::uint64_t> taken;
        for (Util::MessageQueue::Message message; queue.Take(message);)
            taken.push_back(message.uFirst);
        return taken;
    };
    CHECK(codes().empty());
    plugin.Set("Global: Show Background Grid", 1);
    plugin.Set("Global: FPS", 20);
    plugin.Set("Global: FPS", 20);
    plugin.Set("Global: Rendering Thread", 1);
    plugin.Set("Global: FPS", 25);  // the rendering thread reads it by itself
    CHECK(codes() == std::vector<std::uint64_t>{12, 11, 11});
}
#endif
