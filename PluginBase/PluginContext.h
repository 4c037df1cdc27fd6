#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PluginBase/EditorNotifyCode.h"
#include "PluginBase/Parameter.h"

class Component;

namespace Util {
class SettingsStore;
}

/// What a gesture on a parameter tells the host.
enum class ParameterPhase : std::uint32_t { Begin = 0, Value = 1, End = 2 };

/// The plug-in as its components see it: no host, no other component by its class, only what a component
/// may ask of the whole. `Plugin` implements it; a test can do so in a few lines.
///
/// Threads: any, unless an operation says otherwise.
class PluginContext {
public:
    virtual ~PluginContext() = default;

    /// Enters a component into the list, in the order of the calls, which is the order of every persisted
    /// format. Called once, when the component's tables are complete.
    virtual void AddComponent(Component& component) = 0;
    virtual const std::vector<Component*>& Components() const = 0;

    /// A parameter has changed its value; the history looks for this.
    virtual void MarkDirty() noexcept = 0;

    /// The answer of some component's IsActive, or its latency, may have changed. Acted upon at the next
    /// block's head while audio runs, otherwise at once on this thread. A caller holds no component's lock,
    /// unless it is the audio thread.
    virtual void RequestActivityUpdate() = 0;
    virtual void RequestDelayUpdate() = 0;

    /// Drops the audio history of the whole chain and restarts the trimming of its delay.
    virtual void ResetAll() = 0;

    /// Tells the host of a gesture or a new value. The pointer of the parameter's own group is set.
    virtual void NotifyParameterEvent(ParameterGroup group, ParameterPhase phase, Component& component,
                                      std::uint32_t uIndex, const float* fValue, const bool* bValue,
                                      const std::int32_t* nValue) = 0;

    /// Posts a code to the editor, if there is one. Never waits. A refresh is posted at most once until the
    /// editor has taken it.
    virtual void PostToEditor(EditorNotifyCode code) noexcept = 0;
    virtual bool HasEditor() const noexcept = 0;

    /// Called when the user has switched the compensation of the system delay.
    virtual void OnDelayCompensationChanged(bool bEnabled) = 0;

    virtual std::uint32_t SampleRate() const noexcept = 0;     ///< Hz, the rate in force
    virtual std::uint32_t InputChannels() const noexcept = 0;  ///< 1 or 2, as the host connected them
    virtual std::uint32_t OutputChannels() const noexcept = 0;
    virtual bool IsStreaming() const noexcept = 0;

    /// The quality of the audition filters, a preference of the user.
    virtual float AltSoloQ() const noexcept = 0;

    virtual Util::SettingsStore& Settings() noexcept = 0;

    /// The folder for files that belong to the user and not to a sound. Empty: no such file is kept. Not on
    /// the audio thread.
    virtual std::string DataFolder() = 0;
};
