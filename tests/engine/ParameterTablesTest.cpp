#include <doctest/doctest.h>

#include <limits>
#include <sstream>
#include <string>
#include <string_view>

#include "tests/support/ChainModes.h"

using Test::TestPlugin;

namespace {

/// A component's name, then a line a parameter: what hosts, files and people know of it.
constexpr std::string_view kExpected =
#include "tests/engine/parameters.txt"
    ;

std::string Line(const ParameterRef& parameter) {
    const ParameterInfo& info = parameter.Info();
    std::string strLine = ParameterGroupName(parameter.Group()) + std::string(" ") + info.strName + " | ";
    for (const std::string& strLabel : parameter.EnumerationLabels())
        strLine += strLabel + ", ";
    if (parameter.EnumerationLabels().empty() && parameter.Group() != ParameterGroup::Bool)
        strLine += parameter.Text(parameter.Min()) + " to " + parameter.Text(parameter.Max()) + ", ";
    strLine += "default " + parameter.Text(parameter.Default());
    if (!info.strUnits.empty()) strLine += " " + std::string(info.strUnits);
    strLine += " | " + std::string(PresetGroupName(info.presetGroup));
    strLine += info.bAutomatable ? ", automatable" : "";
    return strLine + ", stored as " + std::to_string(static_cast<int>(info.storageClass)) + ", preset flag " +
           std::to_string(info.uPresetFlag);
}

}  // namespace

// Hosts keep automation by number, states keep values by order, presets and scripts know names and labels.
TEST_CASE(
    "Every module's table has the order, names, ranges, defaults and labels that hosts and files rely on") {
    TestPlugin plugin;
    std::istringstream expected{std::string(kExpected)};
    std::string strExpected;
    std::getline(expected, strExpected);
    const auto next = [&] {
        strExpected.clear();
        std::getline(expected, strExpected);
        return strExpected;
    };
    for (Component* const component : plugin.Components()) {
        CHECK(component->Name() == next());
        for (const ParameterRef& parameter : AllParameters({component})) {
            CHECK("  " + Line(parameter) == next());
            CHECK(parameter.Get() == parameter.Default());
        }
    }
    CHECK(next().empty());
}

TEST_CASE("What a state block holds and what a host may automate are as many as persisted") {
    TestPlugin plugin;
    // Floats, bools and ints of all components.
    std::size_t stored[4] = {}, uAutomatable = 0;
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        if (parameter.Info().storageClass == StorageClass::StateBlock)
            ++stored[static_cast<std::size_t>(parameter.Group())];
        uAutomatable += parameter.Info().bAutomatable;
    }
    CHECK(std::vector<std::size_t>(stored, stored + 4) == std::vector<std::size_t>{124, 65, 39, 0});
    CHECK(plugin.StateSize() == 805);
    CHECK(uAutomatable == 166);
}

TEST_CASE("Setters keep to their ranges, and only a change makes the plug-in dirty") {
    TestPlugin plugin;
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        CAPTURE(parameter.Name());
        // Global settings are the user's and not the sound's, but for the order of the modules. The locks of
        // the gain sliders belong to the view, although a state keeps them.
        const std::string& strName = parameter.Name();
        const bool bOfUser =
            strName.ends_with("Slider Lock") ||
            (strName.starts_with("Global: ") && !strName.starts_with("Global: Filter Graph"));
        const auto sets = [&](double fValue, double fExpected) {
            const bool bChange = parameter.Get() != fExpected;
            plugin.Dirty() = false;
            parameter.Set(fValue);
            CHECK(parameter.Get() == fExpected);
            CHECK(plugin.Dirty() == (bChange && !bOfUser));
        };
        const double fMin = parameter.Min(), fMax = parameter.Max();
        const double fBeyond = parameter.Group() == ParameterGroup::Bool ? 0 : 1e9;
        for (const double fValue : {parameter.Default(), fMin, fMin, fMax, fMax, fMin})
            sets(fValue, fValue);
        sets(fMax + fBeyond, fMax);
        sets(fMin - fBeyond, fMin);
        if (parameter.Group() == ParameterGroup::Float) {
            sets(std::numeric_limits<double>::infinity(), fMax);
            sets(std::numeric_limits<double>::quiet_NaN(), fMax);
            sets(-std::numeric_limits<double>::infinity(), fMin);
        }
        parameter.Set(parameter.Default());
    }
}

TEST_CASE("What runs and how long it takes follows every switch and choice at once, without a new start") {
    TestPlugin plugin;
    Test::ChainMode{{}, {}, Test::SwitchedOn(plugin, {})}.ApplyTo(plugin);
    plugin.BeginStreaming(44100);
    const auto chain = [&] {
        std::vector<std::uint32_t> numbers{plugin.GetTransform().SystemDelay()};
        for (const Component* const component : plugin.Components())
            numbers.push_back(component->Active());
        return numbers;
    };
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        if (!Test::IsOfTheSound(parameter) || parameter.Group() == ParameterGroup::Float) continue;
        const double fBefore = parameter.Get();
        for (double fValue = parameter.Min(); fValue <= parameter.Max(); ++fValue) {
            parameter.Set(fValue);
            plugin.FinishBackgroundWork();
            const auto followed = chain();
            plugin.GetTransform().RequestActivityUpdate();
            CAPTURE(parameter.Name());
            CAPTURE(fValue);
            CHECK(followed == chain());
        }
        parameter.Set(fBefore);
    }
}
