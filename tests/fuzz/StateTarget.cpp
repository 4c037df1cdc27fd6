#include "PluginBase/StateBlock.h"
#include "tests/fuzz/FuzzEngine.h"

namespace {

Fuzz::Engine& TheEngine() {
    static Fuzz::Engine engine;
    return engine;
}

/// The default block with the input laid over its values from the first one on: it fits, whatever the input.
Fuzz::Bytes OverDefaults(std::span<const std::uint8_t> input) {
    auto& plugin = TheEngine().plugin;
    Fuzz::Bytes block;
    plugin.CaptureDefaultState(block);
    const Fuzz::Bytes defaults = block;
    const std::size_t uLength = std::min(input.size(), block.size() - StateBlock::kHeaderSize);
    std::copy_n(input.begin(), uLength, block.begin() + StateBlock::kHeaderSize);
    // The extra lengths between the values stay.
    const auto sections = StateBlock::Decode(plugin.Components(), defaults);
    for (const auto& section : *sections) {
        const auto uOffset = static_cast<std::ptrdiff_t>(section.uExtraOffset) - 4;
        std::copy_n(defaults.begin() + uOffset, 4, block.begin() + uOffset);
    }
    return block;
}

void DemandSound(Fuzz::Engine& engine) {
    engine.DemandValuesInRange();
    engine.DemandStateHolds();
    auto left = Test::Noise(1, 64), right = Test::Noise(2, 64);
    engine.plugin.Process(64, left.data(), right.data(), left.data(), right.data());
    for (std::size_t i = 0; i < left.size(); ++i)
        Fuzz::Demand(std::isfinite(left[i]) && std::isfinite(right[i]), "the sound is finite");
    engine.Reset();
}

}  // namespace

bool Fuzz::TryInput(std::span<const std::uint8_t> input) {
    Engine& engine = TheEngine();
    const auto before = engine.Values();
    if (engine.plugin.ApplyState(input, Plugin::ApplyMode::Notify)) {
        DemandSound(engine);
        engine.plugin.events.clear();
        return true;
    }
    Demand(engine.Values() == before, "a refused block changes no value");
    Demand(engine.plugin.events.empty(), "the host hears nothing of a refused block");
    Demand(engine.plugin.ApplyState(OverDefaults(input), Plugin::ApplyMode::Silent),
           "a fitting block is taken");
    DemandSound(engine);
    return false;
}

std::vector<Fuzz::Bytes> Fuzz::GoodInputs() {
    Engine& engine = TheEngine();
    std::vector<Bytes> inputs(3);
    engine.plugin.CaptureDefaultState(inputs[0]);
    for (std::size_t i = 1; i < inputs.size(); ++i) {
        engine.plugin.Randomise(i);
        engine.plugin.CaptureState(inputs[i]);
    }
    engine.Reset();
    return inputs;
}
