#include <utility>

#include "PluginBase/Preset/PresetFile.h"
#include "dsp/Gain.h"
#include "tests/fuzz/FuzzEngine.h"
#include "tests/preset/PresetTest.h"

namespace {

/// Small, so that a file fits into what a fuzzer likes to work with.
ModuleSet TwoModules(PluginContext& plugin) {
    ModuleSet modules;
    modules.gain = modules.Add<DSP::Gain>(plugin);
    modules.Add<Test::Oddments>(plugin);
    return modules;
}

Fuzz::Engine& TheEngine() {
    static Fuzz::Engine engine(&TwoModules);
    return engine;
}

/// Whether the file is taken.
bool TryLoad(Preset::PresetFile& preset, const std::string& strPath) {
    try {
        preset.Load(strPath, true);
        return true;
    } catch (const Preset::Exception::Parse&) {
    } catch (const Preset::Exception::Value&) {
    }
    return false;
}

/// What the preset would write.
Fuzz::Bytes Written(Preset::PresetFile preset) {
    const std::string strPath = TheEngine().folder.File("written.xml");
    preset.Save(strPath);
    return Fuzz::FileBytes(strPath);
}

}  // namespace

bool Fuzz::TryInput(std::span<const std::uint8_t> input) {
    Engine& engine = TheEngine();
    // The last byte of a file has nothing to say in XML, so it chooses how the file is read and written.
    const unsigned uModes = input.empty() ? 0 : input.back();
    engine.plugin.Settings().SetNumber("ReferenceNamePreset", uModes & 1);
    engine.plugin.Settings().SetNumber("VerbosePreset", 1);
    const auto before = engine.Values();
    const std::string strPath = engine.folder.File("input.xml");
    Fuzz::WriteFile(strPath, input);

    Preset::PresetFile preset(engine.plugin, "sound");
    preset.SetAttribute("Comments", "mine");
    if (!TryLoad(preset, strPath)) {
        Demand(engine.Values() == before, "a refused preset changes no value");
        Demand(preset.Attribute("Comments") == "mine" && preset.Path().empty() && preset.Name() == "sound",
               "a refused file leaves the preset as it was");
        return false;
    }
    Demand(engine.Values() == before, "loading a preset changes no value");
    // What a file lacks comes from the sound, extra bytes only at the second reading: the file then has them.
    Bytes written = Written(preset), again;
    const std::string strAgain = engine.folder.File("again.xml");
    for (int nTime = 0; nTime < 2; ++nTime) {
        Fuzz::WriteFile(strAgain, written);
        Preset::PresetFile copy(engine.plugin);
        Demand(TryLoad(copy, strAgain), "what was taken and saved is taken again");
        again = std::exchange(written, Written(copy));
    }
    Demand(written == again, "and is written the same again");
    Demand(preset.Apply(), "a preset that was taken can be applied");
    engine.DemandValuesInRange();
    engine.DemandStateHolds();
    engine.Reset();
    return true;
}

std::vector<Fuzz::Bytes> Fuzz::GoodInputs() {
    Engine& engine = TheEngine();
    std::vector<Bytes> inputs;
    for (std::uint32_t i = 0; i < 3; ++i) {
        engine.plugin.Randomise(i);
        engine.plugin.Settings().SetNumber("VerbosePreset", i > 0);
        Preset::PresetFile preset(engine.plugin);
        preset.SetAttribute("Comments", "\"quiet\" <&> \xC3\xA9\n");
        if (i == 2) preset.EnableGroup(PresetGroup::Dither, false);
        Bytes bytes = Written(preset);
        bytes.push_back(i == 1 ? '\t' : '\n');
        inputs.push_back(bytes);
    }
    engine.Reset();
    return inputs;
}
