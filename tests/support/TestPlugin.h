#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "PluginBase/ParameterRef.h"
#include "PluginBase/Plugin.h"
#include "hvBase/Util/MemorySettingsStore.h"
#include "tests/support/Signals.h"

namespace Test {

/// A memory store on another one's values, so that two plug-ins in turn can share a user.
class SharedSettings : public Util::SettingsStore {
public:
    explicit SharedSettings(Util::MemorySettingsStore& store) : m_store(store) {}

    using SettingsStore::GetText;
    bool SetBytes(const std::string& name, const void* data, std::size_t uLength) override {
        return m_store.SetBytes(name, data, uLength);
    }
    bool SetText(const std::string& name, const std::string& text) override {
        return m_store.SetText(name, text);
    }
    bool SetNumber(const std::string& name, std::uint32_t u) override { return m_store.SetNumber(name, u); }
    bool GetBytes(const std::string& name, std::vector<std::uint8_t>& bytes) override {
        return m_store.GetBytes(name, bytes);
    }
    bool GetText(const std::string& name, std::string& text) override { return m_store.GetText(name, text); }
    bool GetNumber(const std::string& name, std::uint32_t& u) override { return m_store.GetNumber(name, u); }
    bool IsLasting() const override { return false; }
    std::vector<std::string> EnumerateValues() override { return m_store.EnumerateValues(); }

private:
    Util::MemorySettingsStore& m_store;
};

/// The engine with a host that records what it is told, and a way to render whole buffers.
class TestPlugin : public Plugin {
public:
    struct Event {
        ParameterGroup group;
        ParameterPhase phase;
        const Component* component;
        std::uint32_t uIndex;
        float fValue;
    };

    explicit TestPlugin(ModuleFactory buildModules = &BuildModules)
        : Plugin(std::make_unique<Util::MemorySettingsStore>(), buildModules) {}
    explicit TestPlugin(Util::MemorySettingsStore& store, ModuleFactory buildModules = &BuildModules)
        : Plugin(std::make_unique<SharedSettings>(store), buildModules) {}

    void NotifyParameterEvent(ParameterGroup group, ParameterPhase phase, Component& component,
                              std::uint32_t uIndex, const float* fValue, const bool* bValue,
                              const std::int32_t* nValue) override {
        const float f = fValue ? *fValue : bValue ? static_cast<float>(*bValue) : static_cast<float>(*nValue);
        events.push_back({group, phase, &component, uIndex, f});
    }
    void OnDelayCompensationChanged(bool) override { ++nCompensationChanges; }

    Component& Find(std::string_view name) {
        for (Component* component : Components()) {
            if (component->Name() == name) return *component;
        }
        throw std::out_of_range(std::string(name));
    }
    /// The one parameter of that name.
    ParameterRef Parameter(std::string_view name) {
        for (const ParameterRef& parameter : AllParameters(Components())) {
            if (parameter.Name() == name) return parameter;
        }
        throw std::out_of_range(std::string(name));
    }
    void Set(std::string_view name, double fValue) { Parameter(name).Set(fValue); }
    /// Every parameter's value, in list order.
    std::vector<double> Values() {
        std::vector<double> values;
        for (const ParameterRef& parameter : AllParameters(Components()))
            values.push_back(parameter.Get());
        return values;
    }
    /// Sets every parameter somewhere in its range, one in eight to an end.
    void Randomise(std::uint64_t uSeed) {
        Random random(uSeed);
        for (const ParameterRef& parameter : AllParameters(Components())) {
            const std::uint32_t uDraw = random.Between(0, 15);
            const double fShare = uDraw < 2 ? uDraw : double{random.Uniform(0.0f, 1.0f)};
            parameter.Set(parameter.Min() + (parameter.Max() - parameter.Min()) * fShare);
        }
    }
    double Get(std::string_view name) { return Parameter(name).Get(); }

    /// Runs a stream from its start and returns what comes out, cut as given; the last length repeats. A
    /// second channel is rendered if right is given.
    struct Audio {
        std::vector<float> left;
        std::vector<float> right;
    };
    Audio Render(Audio input, const std::vector<std::uint32_t>& blocks) {
        Audio output;
        std::uint64_t uPosition = 0;
        std::size_t uBlock = 0;
        const bool bStereo = !input.right.empty();
        std::vector<float> left, right;
        while (uPosition < input.left.size()) {
            const std::uint32_t uWanted = blocks[std::min(uBlock++, blocks.size() - 1)];
            const auto uFrames =
                static_cast<std::uint32_t>(std::min<std::uint64_t>(uWanted, input.left.size() - uPosition));
            // What the chain does not write is heard.
            left.assign(uFrames, 99.0f);
            right.assign(uFrames, 99.0f);
            SetBlockStart(static_cast<std::int64_t>((uRun + uPosition) * 10'000'000 / SampleRate()));
            const std::uint32_t uProduced = Process(uFrames, input.left.data() + uPosition,
                                                    bStereo ? input.right.data() + uPosition : nullptr,
                                                    left.data(), bStereo ? right.data() : nullptr);
            output.left.insert(output.left.end(), left.begin(), left.begin() + uProduced);
            if (bStereo) output.right.insert(output.right.end(), right.begin(), right.begin() + uProduced);
            uPosition += uFrames;
        }
        uRun += uPosition;
        return output;
    }

    std::vector<Event> events;
    int nCompensationChanges = 0;
    std::uint64_t uRun = 0;  ///< frames rendered so far
};

}  // namespace Test
