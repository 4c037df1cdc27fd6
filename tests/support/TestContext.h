#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "PluginBase/Component.h"
#include "hvBase/Util/MemorySettingsStore.h"

namespace Test {

/// The plug-in as one component under test sees it: it records what the component asks for.
class TestContext : public PluginContext {
public:
    struct Event {
        ParameterGroup group;
        ParameterPhase phase;
        std::uint32_t uIndex;
        float fValue;  ///< of any group

        friend bool operator==(const Event&, const Event&) = default;
    };

    void AddComponent(Component& component) override { components.push_back(&component); }
    const std::vector<Component*>& Components() const override { return components; }
    void MarkDirty() noexcept override { ++nDirty; }
    void RequestActivityUpdate() override { ++nActivityRequests; }
    void RequestDelayUpdate() override { ++nDelayRequests; }
    void ResetAll() override { ++nResets; }
    void NotifyParameterEvent(ParameterGroup group, ParameterPhase phase, Component&, std::uint32_t uIndex,
                              const float* fValue, const bool* bValue, const std::int32_t* nValue) override {
        events.push_back({group, phase, uIndex,
                          fValue   ? *fValue
                          : bValue ? static_cast<float>(*bValue)
                                   : static_cast<float>(*nValue)});
    }
    void PostToEditor(EditorNotifyCode code) noexcept override { posts.push_back(code); }
    bool HasEditor() const noexcept override { return false; }
    void OnDelayCompensationChanged(bool) override { ++nCompensationChanges; }
    std::uint32_t SampleRate() const noexcept override { return uSampleRate; }
    std::uint32_t InputChannels() const noexcept override { return 2; }
    std::uint32_t OutputChannels() const noexcept override { return 2; }
    bool IsStreaming() const noexcept override { return true; }
    float AltSoloQ() const noexcept override { return 18.0f; }
    Util::SettingsStore& Settings() noexcept override { return settings; }
    std::string DataFolder() override { return strDataFolder; }

    std::vector<Component*> components;
    std::vector<Event> events;
    std::vector<EditorNotifyCode> posts;
    std::atomic<int> nDirty = 0;
    std::atomic<int> nActivityRequests = 0;
    std::atomic<int> nDelayRequests = 0;
    int nResets = 0;
    int nCompensationChanges = 0;
    std::uint32_t uSampleRate = 44100;
    Util::MemorySettingsStore settings;
    std::string strDataFolder;
};

}  // namespace Test
