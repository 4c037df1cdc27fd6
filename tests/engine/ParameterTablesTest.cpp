#include <doctest/doctest.h>

#include <map>
#include <sstream>

#include "tests/support/ChainModes.h"

using Test::TestPlugin;

namespace {

/// What hosts, files and people know of a parameter, in one line.
std::string Line(const ParameterRef& parameter) {
    const ParameterInfo& info = parameter.Info();
    std::ostringstream line;
    line << ParameterGroupName(parameter.Group()) << ' ' << info.strName << '|' << info.strUnits;
    for (const double fValue : {parameter.Min(), parameter.Max(), parameter.Default()})
        line << '|' << parameter.Text(fValue);
    for (const std::string& strLabel : parameter.EnumerationLabels())
        line << '|' << strLabel;
    line << '|' << PresetGroupName(info.presetGroup) << '|' << info.bAutomatable << '|'
         << static_cast<int>(info.storageClass) << '\n';
    return line.str();
}

/// The 64-bit FNV-1a of Fowler, Noll and Vo.
std::string Digest(const std::string& strText) {
    std::uint64_t uHash = 0xcbf29ce484222325u;
    for (const char c : strText)
        uHash = (uHash ^ static_cast<std::uint8_t>(c)) * 0x100000001b3u;
    std::ostringstream text;
    text << std::hex << uHash;
    return text.str();
}

}  // namespace

// Hosts keep automation by number, states keep values by order, presets and scripts know names and labels.
// Whoever changes a table on purpose renews its digest with what a failure shows.

TEST_CASE(
    "Every module's table has the order, names, ranges, defaults and labels that hosts and files rely on") {
    const std::map<std::string, std::string> expected{
        {"Global", "a80725320bb341e0"},
        {"GlobalDerived", "e94285fef1aa35f5"},
        {"LevelMeter", "f0e59b56bdced39"},
        {"SpectrumState", "e9dd9c2ffd40030d"},
        {"Spectrum", "6734348b14f4dc6"},
        {"PhaseMeter", "594c5aee691f2de7"},
        {"BitMeter", "518c02eb376d99ca"},
        {"AutoNormalize", "cbf29ce484222325"},
        {"Gain", "659289dd875544ca"},
        {"CrossOver", "8f82ae2279073dbe"},
        {"Equalizer::Parametric", "cb8b20a92731745"},
        {"Snapshot", "9d34db2d9dc7ee83"},
        {"Reverb::Reverb", "b90c82dfb6743de5"},
        {"Maximizer::Maximizer", "c4359b522eba42fd"},
        {"Exciter::Exciter", "7495956b163358f3"},
        {"Squash", "b11daff74ffac790"},
        {"Imager::Imager", "f57195099cf5fdd8"},
        {"DCOffset::DCOffset", "67c54de79ce6d799"},
        {"Dither::Dither", "e7a8f98031286b5d"},
    };
    TestPlugin plugin;
    for (Component* const component : plugin.Components()) {
        std::string strTable;
        for (const ParameterRef& parameter : AllParameters({component})) {
            strTable += Line(parameter);
            CAPTURE(parameter.Name());
            CHECK(parameter.Get() == parameter.Default());
        }
        INFO(component->Name(), " has the table\n", strTable);
        const auto found = expected.find(component->Name());
        CHECK(Digest(strTable) == (found == expected.end() ? "" : found->second));
    }
}

TEST_CASE("Setters keep to their ranges, and only a change makes the plug-in dirty") {
    TestPlugin plugin;
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        if (!Test::IsOfTheSound(parameter)) continue;
        CAPTURE(parameter.Name());
        const auto sets = [&](double fValue, double fExpected) {
            const bool bChange = parameter.Get() != fExpected;
            plugin.Dirty() = false;
            parameter.Set(fValue);
            CHECK(parameter.Get() == fExpected);
            // The locks of the gain sliders belong to the view, although a state keeps them.
            CHECK(plugin.Dirty() == (bChange && !parameter.Name().ends_with("Slider Lock")));
        };
        const double fMin = parameter.Min(), fMax = parameter.Max();
        const double fBeyond = parameter.Group() == ParameterGroup::Bool ? 0 : 1e9;
        for (const double fValue : {parameter.Default(), fMin, fMin, fMax, fMax, fMin})
            sets(fValue, fValue);
        sets(fMax + fBeyond, fMax);
        sets(fMin - fBeyond, fMin);
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
