#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "tests/support/TestPlugin.h"

TEST_CASE("The list of components, what a state block holds and what a host may automate are as persisted") {
    Test::TestPlugin plugin;
    std::vector<std::string> names;
    for (const Component* component : plugin.Components())
        names.push_back(component->Name());
    CHECK(names == std::vector<std::string>{
                       "Global", "GlobalDerived", "LevelMeter", "SpectrumState", "Spectrum", "PhaseMeter",
                       "BitMeter", "AutoNormalize", "Gain", "CrossOver", "Equalizer::Parametric", "Snapshot",
                       "Reverb::Reverb", "Maximizer::Maximizer", "Exciter::Exciter", "Squash",
                       "Imager::Imager", "DCOffset::DCOffset", "Dither::Dither"});

    // Floats, bools and ints of each component in turn.
    std::size_t stored[4] = {};
    std::vector<std::string> automatable;
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        if (parameter.Info().storageClass == StorageClass::StateBlock)
            ++stored[static_cast<std::size_t>(parameter.Group())];
        if (parameter.Info().bAutomatable) automatable.push_back(parameter.Name());
    }
    CHECK(std::vector<std::size_t>(stored, stored + 4) == std::vector<std::size_t>{124, 65, 39, 0});
    CHECK(plugin.StateSize() == 805);
    REQUIRE(automatable.size() == 166);
    automatable.resize(7);
    CHECK(automatable == std::vector<std::string>{"Global: Bypass", "Gain: Input Left", "Gain: Input Right",
                                                  "Gain: Output Left", "Gain: Output Right", "Crossover Q",
                                                  "CrossOver: Cutoff 1"});
}

TEST_CASE("A fresh parameter has its default, which lies in its range, and no setter leaves the range") {
    Test::TestPlugin plugin;
    const auto parameters = AllParameters(plugin.Components());
    for (const ParameterRef& parameter : parameters) {
        CAPTURE(parameter.Name());
        CHECK(parameter.Get() == parameter.Default());
        CHECK(parameter.Default() >= parameter.Min());
        CHECK(parameter.Default() <= parameter.Max());
    }
    for (const ParameterRef& parameter : parameters) {
        CAPTURE(parameter.Name());
        parameter.Set(1e9);
        CHECK(parameter.Get() == parameter.Max());
        parameter.Set(-1e9);
        CHECK(parameter.Get() == parameter.Min());
    }
}

TEST_CASE("Global settings are preferences, but for the bypass, which is kept nowhere") {
    Test::TestPlugin plugin;
    for (const ParameterRef& parameter :
         AllParameters({&plugin.Find("Global"), &plugin.Find("GlobalDerived")})) {
        CAPTURE(parameter.Name());
        const bool bBypass = parameter.Name() == "Global: Bypass";
        CHECK(parameter.Info().storageClass == (bBypass ? StorageClass::Nowhere : StorageClass::Settings));
        CHECK(parameter.Info().uPresetFlag == (bBypass ? 0 : 1));
        CHECK(parameter.Info().presetGroup == PresetGroup::None);
    }
}
