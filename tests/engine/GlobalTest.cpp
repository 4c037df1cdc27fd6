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

TEST_CASE("The timer's period and the automation's stride are their settings rounded half away from zero") {
    TestPlugin plugin;
    const Global& global = plugin.GetTransform().GlobalSettings();
    CHECK(global.TimerPeriod() == 33);
    CHECK(global.AutomationStride() == 50);
    plugin.Set("Global: FPS", 16);  // 62.5
    CHECK(global.TimerPeriod() == 63);
    plugin.Set("Global: Automation Zipper Samples", 12.5);
    CHECK(global.AutomationStride() == 13);
}

TEST_CASE("Settings act once for each change: the bypass, the meters, the compensation") {
    TestPlugin plugin(&OneFake);
    auto& fake = static_cast<Test::FakeModule&>(plugin.Find("Fake"));
    fake.nClears = 0;
    plugin.Dirty() = false;
    // Switching bypass on drops the history of all modules, switching it off does not.
    for (const bool bOn : {true, true, false})
        plugin.Set("Global: Bypass", bOn);
    CHECK(fake.nClears == 1);
    CHECK_FALSE(plugin.Dirty());
    for (const bool bOn : {true, true, false})
        plugin.Set("Global: Delay Compensation", bOn);
    CHECK(plugin.nCompensationChanges == 2);
    for (const bool bOn : {false, true}) {
        plugin.Set("Global: Meter Enable", bOn);
        for (const Component* component : plugin.Components())
            CHECK(component->MetersEnabled() == bOn);
    }
}

TEST_CASE("The module order changes item by item and as a whole, and marks the plug-in dirty") {
    TestPlugin plugin;
    Global& global = plugin.GetTransform().GlobalSettings();
    const auto marks = [&](auto&& change) {
        plugin.Dirty() = false;
        change();
        return plugin.Dirty().Get();
    };
    CHECK_FALSE(marks([&] { plugin.Set("Global: Filter Graph Item 3", 3); }));
    CHECK(marks([&] { plugin.Set("Global: Filter Graph Item 3", 8); }));
    CHECK(global.FilterGraph() == Global::ModuleOrder{0, 1, 2, 8, 4, 5, 6, 7, 8});
    CHECK_FALSE(marks([&] { global.SetFilterGraph({8, 7, 6, 5, 4, 3, 2, 1}); }));
    CHECK_FALSE(marks([&] { global.SetFilterGraph({0, 1, 2, 8, 4, 5, 6, 7, 8}); }));
    CHECK(marks([&] { global.SetFilterGraph({8, 7, 6, 5, 4, 3, 2, 1, 99}); }));
    CHECK(global.FilterGraph() == Global::ModuleOrder{8, 7, 6, 5, 4, 3, 2, 1, 8});
}

#ifndef _WIN32
TEST_CASE("Settings of the display post their codes to an editor, and none without one") {
    Util::MessageQueue queue;
    TestPlugin plugin;
    plugin.Set("Global: Show Background Grid", 0);
    plugin.SetEditorWindow(queue.Handle());
    plugin.Set("Global: Show Background Grid", 1);
    plugin.Set("Global: FPS", 20);
    plugin.Set("Global: FPS", 20);
    plugin.Set("Global: Rendering Thread", 1);
    plugin.Set("Global: FPS", 25);  // the rendering thread reads it by itself
    std::vector<std::uint64_t> codes;
    for (Util::MessageQueue::Message message; queue.Take(message);)
        codes.push_back(message.uFirst);
    CHECK(codes == std::vector<std::uint64_t>{12, 11, 11});
}
#endif
