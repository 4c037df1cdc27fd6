#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "PluginBase/ComponentImpl.h"
#include "PluginBase/ModuleSet.h"
#include "PluginBase/Preset/PresetFile.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

namespace Test {

/// A component with every kind of parameter, values near zero, and bytes beyond its tables.
class Oddments : public ComponentImpl<Oddments> {
public:
    explicit Oddments(PluginContext& plugin) : ComponentImpl(plugin, "Oddments") {
        Float("ODD: Tiny", "", -1e-6f, 1e-6f, 0, &Oddments::GetTiny, &Oddments::SetTiny)
            .InPreset(PresetGroup::Reverb);
        Bool("ODD: \"On\" & <off>", false, &Oddments::GetOn, &Oddments::SetOn).InPreset(PresetGroup::Reverb);
        Int("ODD: Kept", "", -9, 9, 0, &Oddments::GetKept, &Oddments::SetKept);
        UInt("ODD: Count", "", 0, 4294967295, 0, &Oddments::GetCount, &Oddments::SetCount)
            .InPreset(PresetGroup::Dither);
        FinishTables();
    }
    bool IsActive() const override { return false; }
    std::uint32_t GetExtraByteCount() const override { return static_cast<std::uint32_t>(extra.size()); }
    std::uint32_t GetExtraDataClass() const override { return 4; }
    void WriteExtraBytes(std::vector<std::uint8_t>& bytes, std::size_t uOffset) const override {
        std::copy(extra.begin(), extra.end(), bytes.begin() + static_cast<std::ptrdiff_t>(uOffset));
    }
    void ReadExtraBytes(const std::vector<std::uint8_t>& bytes, std::size_t uOffset) override {
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(uOffset), extra.size(), extra.begin());
    }

    std::vector<std::uint8_t> extra = {0, 0, 0, 0, 0};

private:
    float GetTiny() const { return m_fTiny; }
    void SetTiny(float fTiny) { m_fTiny = std::clamp(fTiny, -1e-6f, 1e-6f); }
    bool GetOn() const { return m_bOn; }
    void SetOn(bool bOn) { m_bOn = bOn; }
    std::int32_t GetKept() const { return m_nKept; }
    void SetKept(std::int32_t nKept) { m_nKept = nKept; }
    std::uint32_t GetCount() const { return m_uCount; }
    void SetCount(std::uint32_t uCount) { m_uCount = uCount; }

    float m_fTiny = 0;
    bool m_bOn = false;
    std::int32_t m_nKept = 0;
    std::uint32_t m_uCount = 0;
};

inline ModuleSet ChainAndOddments(PluginContext& plugin) {
    ModuleSet modules = BuildModules(plugin);
    modules.Add<Oddments>(plugin);
    return modules;
}

/// Sets every parameter somewhere in its range, and the bytes beyond the tables anyhow.
inline void Randomise(TestPlugin& plugin, std::uint64_t uSeed) {
    plugin.Randomise(uSeed);
    Random random(uSeed);
    for (std::uint8_t& uByte : static_cast<Oddments&>(plugin.Find("Oddments")).extra)
        uByte = static_cast<std::uint8_t>(random.Next());
}

/// The index of a component in the list, as a file has it.
inline std::string ComponentId(TestPlugin& plugin, std::string_view name) {
    const auto& components = plugin.Components();
    return std::to_string(std::find(components.begin(), components.end(), &plugin.Find(name)) -
                          components.begin());
}

inline bool BelongsToPresets(const ParameterRef& parameter) {
    return parameter.Info().presetGroup != PresetGroup::None &&
           parameter.Info().storageClass == StorageClass::StateBlock;
}

}  // namespace Test
