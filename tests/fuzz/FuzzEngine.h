#pragma once

#include <algorithm>
#include <cmath>
#include <span>
#include <string>
#include <vector>

#include "tests/fuzz/FuzzTarget.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestPlugin.h"

namespace Fuzz {

inline Bytes FileBytes(const std::string& strPath) {
    const std::string strBytes = Test::Slurp(strPath);
    return Bytes(strBytes.begin(), strBytes.end());
}

inline void WriteFile(const std::string& strPath, std::span<const std::uint8_t> bytes) {
    // A new file: a file system may bring one that is written over to the disk at once.
    std::filesystem::remove(strPath);
    Test::Spill(strPath, std::string(bytes.begin(), bytes.end()));
}

/// A user's settings with a data folder, which components may read while they are made.
struct Settings : Util::MemorySettingsStore {
    explicit Settings(const std::string& strFolder) { SetText("InstallPath", strFolder); }
};

/// One small module, so that a fuzzer's bytes go into records and not into values.
inline ModuleSet OneModule(PluginContext& plugin) {
    ModuleSet modules;
    modules.equalizer = modules.Add<Test::FakeModule>(plugin, "Fake");
    return modules;
}

/// An engine with a data folder of its own, and what has to hold for it whatever it is fed.
class Engine {
public:
    explicit Engine(ModuleFactory buildModules = &BuildModules) : plugin(settings, buildModules) {
        plugin.CaptureDefaultState(m_defaults);
    }

    std::vector<double> Values() { return plugin.Values(); }

    void Reset() { plugin.ApplyState(m_defaults, Plugin::ApplyMode::Silent); }

    void DemandValuesInRange() {
        for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
            const double fValue = parameter.Get();
            Demand(fValue >= parameter.Min() && fValue <= parameter.Max(), parameter.Name().c_str());
        }
    }

    /// The present sound, saved as a state block and loaded, is the same sound.
    void DemandStateHolds() {
        Bytes first, second;
        plugin.CaptureState(first);
        Demand(plugin.ApplyState(first, Plugin::ApplyMode::Silent), "a captured state is taken");
        plugin.CaptureState(second);
        Demand(first == second, "a state captured and applied is captured again as it was");
    }

    Test::TempFolder folder;
    Settings settings{folder.Path()};
    Test::TestPlugin plugin;

private:
    Bytes m_defaults;
};

}  // namespace Fuzz
