#pragma once

#include "dsp/Parametric.h"
#include "dsp/Snapshot.h"
#include "dsp/meter/SpectrumState.h"
#include "hvBase/Util/ByteStream.h"
#include "tests/fuzz/FuzzEngine.h"

namespace Fuzz {

/// The chain's share in snapshots alone.
inline ModuleSet SnapshotModules(PluginContext& plugin) {
    using namespace DSP::Meter;
    ModuleSet modules;
    auto* const state = modules.Add<SpectrumState>(plugin);
    modules.spectrum = modules.Add<Spectrum>(plugin, *state);
    auto* const equalizer = modules.Add<DSP::Equalizer::Parametric>(plugin);
    modules.equalizer = equalizer;
    auto* const snapshot = modules.Add<Snapshot>(plugin, *modules.spectrum, *equalizer);
    modules.matching = snapshot;
    modules.snapshots = snapshot;
    return modules;
}

inline SnapshotSlots& Snapshots(Engine& engine) {
    return *engine.plugin.GetTransform().Snapshots();
}

/// Runs a reader over bytes; false for a refusal.
template <class Reader>
bool Reads(std::span<const std::uint8_t> input, Reader&& reader) {
    Util::ByteStream stream(Bytes(input.begin(), input.end()));
    try {
        reader(stream);
        return true;
    } catch (const Util::Exception::DataStreamIO&) {
    } catch (const DSP::Meter::InvalidSnapshotFile&) {
    }
    return false;
}

template <class Writer, class Value>
Bytes Written(Writer&& writer, const Value& value) {
    Util::ByteStream stream;
    writer(stream, value);
    return stream.TakeBytes();
}

/// The slots as bytes, since a float that is no number equals nothing.
inline Bytes SlotBytes(Engine& engine) {
    DSP::Meter::SnapshotSet slots;
    for (std::uint32_t i = 0; i < slots.size(); ++i)
        slots[i] = Snapshots(engine).Record(i);
    return Written(&DSP::Meter::WriteSnapshotSet, slots);
}

/// The equalizer, whatever spectra it matches, makes finite sound of sound.
inline void DemandMatchedSound(Engine& engine) {
    engine.plugin.Set("EQ: Bypass", 0);
    engine.plugin.Set("EQ: Type", 2);
    engine.plugin.Set("EQ: Matching Amount", 100);
    // Longer than the delay of the shortest filter and its block.
    auto samples = Test::Noise(3, 4096);
    engine.plugin.Process(4096, samples.data(), nullptr, samples.data(), nullptr);
    for (const float fSample : samples)
        Demand(std::isfinite(fSample), "matched sound is finite");
    engine.Reset();
}

}  // namespace Fuzz
