#pragma once

#include <memory>
#include <vector>

#include "PluginBase/BandSplitter.h"
#include "PluginBase/Component.h"
#include "PluginBase/SnapshotSlots.h"

namespace DSP::Meter {
class AutoNormalize;
class Bit;
class Level;
class Phase;
class Spectrum;
}  // namespace DSP::Meter

/// The components of a chain and the role of each. A role that nobody has is null, and the chain goes on
/// without it.
struct ModuleSet {
    /// In the order of construction, which is the order of every persisted format.
    std::vector<std::unique_ptr<Component>> components;

    Component* gain = nullptr;
    Component* crossOver = nullptr;
    BandSplitter* bands = nullptr;  ///< the same object as crossOver
    Component* equalizer = nullptr;
    Component* matching = nullptr;       ///< how the equalizer matches spectra
    SnapshotSlots* snapshots = nullptr;  ///< the same object as matching
    Component* reverb = nullptr;
    Component* maximizer = nullptr;
    Component* exciter = nullptr;
    Component* dynamics = nullptr;
    Component* imager = nullptr;
    Component* dcOffset = nullptr;
    Component* dither = nullptr;

    // The chain calls the meters by operations of their own, and only while they are active.
    DSP::Meter::Level* level = nullptr;
    DSP::Meter::Spectrum* spectrum = nullptr;
    DSP::Meter::Phase* phase = nullptr;
    DSP::Meter::Bit* bit = nullptr;
    DSP::Meter::AutoNormalize* autoNormalize = nullptr;

    /// Builds a component into the set and returns it.
    template <class T, class... Arguments>
    T* Add(Arguments&&... arguments) {
        auto component = std::make_unique<T>(std::forward<Arguments>(arguments)...);
        T* const result = component.get();
        components.push_back(std::move(component));
        return result;
    }
};

/// Builds the components of a chain, each of which enters itself into the plug-in's list.
using ModuleFactory = ModuleSet (*)(PluginContext&);

/// The chain of the product.
ModuleSet BuildModules(PluginContext& plugin);
