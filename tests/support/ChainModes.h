#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

namespace Test {

/// One way to set a chain up: what differs from a new plug-in's parameters.
struct ChainMode {
    std::string strComponent;
    std::string strName;
    std::vector<std::pair<std::string, double>> settings;

    void ApplyTo(TestPlugin& plugin) const {
        for (const auto& [strParameter, fValue] : settings)
            plugin.Set(strParameter, fValue);
        plugin.FinishBackgroundWork();
    }
    bool Touches(std::string_view strPart) const { return strName.find(strPart) != std::string::npos; }
};

/// Whether a parameter belongs to the sound: the others are preferences of the user.
inline bool IsOfTheSound(const ParameterRef& parameter) {
    return parameter.Info().storageClass == StorageClass::StateBlock;
}

/// The settings that let a component, or all of them for an empty name, take part in the sound.
inline std::vector<std::pair<std::string, double>> SwitchedOn(TestPlugin& plugin,
                                                              const std::string& strComponent) {
    std::vector<std::pair<std::string, double>> settings;
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        const bool bOwn = strComponent.empty() || parameter.Owner().Name() == strComponent;
        // Bands are only split for a module that works on them.
        const bool bNeeded = strComponent == "CrossOver" && parameter.Name() == "DYN: Bypass";
        if (!IsOfTheSound(parameter) || (!bOwn && !bNeeded)) continue;
        if (parameter.Name().ends_with(": Bypass")) settings.emplace_back(parameter.Name(), 0);
        if (parameter.Name() == "DCO: Enable") settings.emplace_back(parameter.Name(), 1);
        if (parameter.Name() == "DTR: Dithering Type") settings.emplace_back(parameter.Name(), 1);
    }
    return settings;
}

/// Every module by itself in every mode: for each value of its first automatable enumeration, which is its
/// kind of sound, each other switch and each other choice at each of its values. Parameters that differ only
/// in the number of their node or band move together.
inline std::vector<ChainMode> AllChainModes() {
    TestPlugin plugin;
    std::vector<ChainMode> modes;
    const auto parameters = AllParameters(plugin.Components());
    const auto stem = [](std::string strName) {
        std::erase_if(strName, [](char c) { return c >= '0' && c <= '9'; });
        return strName;
    };
    for (const Component* component : plugin.Components()) {
        std::vector<ParameterRef> switches;
        for (const ParameterRef& parameter : parameters) {
            if (&parameter.Owner() == component && IsOfTheSound(parameter) &&
                parameter.Group() != ParameterGroup::Float) {
                switches.push_back(parameter);
            }
        }
        if (switches.empty()) continue;
        const auto kind = std::find_if(switches.begin(), switches.end(), [](const ParameterRef& parameter) {
            return parameter.Info().bAutomatable && !parameter.EnumerationLabels().empty() &&
                   parameter.Group() == ParameterGroup::Int;
        });
        const bool bKinds = kind != switches.end();
        for (double fKind = 0; fKind <= (bKinds ? kind->Max() : 0.0); ++fKind) {
            ChainMode base{component->Name(), component->Name(), SwitchedOn(plugin, component->Name())};
            if (bKinds) {
                base.strName = kind->Name() + "=" + kind->Text(fKind);
                base.settings.emplace_back(kind->Name(), fKind);
            }
            modes.push_back(base);
            for (auto parameter = switches.begin(); parameter != switches.end(); ++parameter) {
                const auto same = [&](const ParameterRef& other) {
                    return stem(other.Name()) == stem(parameter->Name());
                };
                const bool bSeen = std::find_if(switches.begin(), parameter, same) != parameter;
                if (parameter == kind || bSeen || parameter->Name().ends_with(": Bypass")) continue;
                for (double fValue = parameter->Min(); fValue <= parameter->Max(); ++fValue) {
                    if (fValue == parameter->Default()) continue;
                    ChainMode mode = base;
                    mode.strName += ", " + parameter->Name() + "=" + parameter->Text(fValue);
                    for (const ParameterRef& other : switches) {
                        if (same(other)) mode.settings.emplace_back(other.Name(), fValue);
                    }
                    modes.push_back(std::move(mode));
                }
            }
        }
    }
    return modes;
}

/// A value of the parameter's range: one of its ends in every other draw, wide ranges by ratio.
inline double DrawValue(Random& random, const ParameterRef& parameter) {
    const double fMin = parameter.Min(), fMax = parameter.Max();
    if (parameter.Group() != ParameterGroup::Float) {
        return fMin + random.Between(0, static_cast<std::uint32_t>(fMax - fMin));
    }
    const std::uint32_t uDraw = random.Between(0, 3);
    if (uDraw < 2) return uDraw == 0 ? fMin : fMax;
    const double fShare = double{random.Uniform(0, 1)};
    return fMin > 0 && fMax > 100 * fMin ? fMin * std::pow(fMax / fMin, fShare)
                                         : fMin + (fMax - fMin) * fShare;
}

/// Draws every float parameter of the sound, or of one component.
inline void DrawFloats(TestPlugin& plugin, std::uint64_t uSeed, const std::string& strComponent = {}) {
    Random random(uSeed);
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        const bool bOwn = strComponent.empty() || parameter.Owner().Name() == strComponent;
        if (bOwn && IsOfTheSound(parameter) && parameter.Group() == ParameterGroup::Float)
            parameter.Set(DrawValue(random, parameter));
    }
    plugin.FinishBackgroundWork();
}

/// What must never leave the chain.
struct Faults {
    std::size_t uNotFinite = 0;
    std::size_t uSubnormal = 0;
    std::ptrdiff_t nFirst = -1;

    bool None() const { return nFirst < 0; }
};
inline Faults FindFaults(const TestPlugin::Audio& audio, std::size_t uFrom = 0) {
    Faults faults;
    for (const std::vector<float>* channel : {&audio.left, &audio.right}) {
        for (std::size_t i = uFrom; i < channel->size(); ++i) {
            const float fSample = (*channel)[i];
            const bool bSubnormal = std::fpclassify(fSample) == FP_SUBNORMAL;
            if (std::isfinite(fSample) && !bSubnormal) continue;
            ++(bSubnormal ? faults.uSubnormal : faults.uNotFinite);
            if (faults.nFirst < 0) faults.nFirst = static_cast<std::ptrdiff_t>(i);
        }
    }
    return faults;
}

}  // namespace Test
