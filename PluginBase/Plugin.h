#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "PluginBase/PluginContext.h"
#include "PluginBase/Transform.h"
#include "hvBase/Util/MessagePort.h"
#include "hvBase/Util/NamedLock.h"
#include "hvBase/Util/RealTime.h"
#include "hvBase/Util/Relaxed.h"
#include "hvBase/Util/SettingsStore.h"

/// The engine: one whole mastering chain, without a host. A host adapter derives from it, hands it planar
/// float blocks, and answers the few questions that only a host can.
///
/// Life:    construct; SetChannels on the transform; BeginStreaming; Process for every block; Flush on the
///          transform at the end of a compensated stream; EndStreaming; destruct, which stores the user's
///          preferences.
/// Threads: Process on the host's streaming thread. State, presets and streaming on the host's control or the
///          editor's thread. Locks from outer to inner: TransformLock, held for a whole block; Lock, for
///          small flags and the load of a state; a component's; an envelope handler's.
class Plugin : public PluginContext {
public:
    /// The key of the settings store of every host adapter that keeps the user's preferences.
    static const char* const kSettingsKey;

    /// Takes the store that holds the user's preferences and reads them. `buildModules` makes the components
    /// of the chain.
    explicit Plugin(std::unique_ptr<Util::SettingsStore> settings,
                    ModuleFactory buildModules = &BuildModules);

    /// Writes the preferences. A derived class that holds anything a component may call must not be needed
    /// for that: this runs after its own destructor.
    ~Plugin() override;
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    // Audio. ------------------------------------------------------------------------------------------

    /// One block of any length, planar, full scale 1.0; the inputs are scratch. A null right pointer is mono.
    /// Returns the frames written to the outputs, fewer than uFrames while the head of a compensated stream
    /// is being trimmed. In and out may be the same buffers.
    std::uint32_t Process(std::uint32_t uFrames, float* inLeft, float* inRight, float* outLeft,
                          float* outRight) VESCA_NONBLOCKING;

    /// The time of the next block's first frame, in 100 ns units. A host without time stamps gives the
    /// running frame count times 10,000,000 / rate, truncated. Streaming thread.
    void SetBlockStart(std::int64_t nBlockStart) { m_nBlockStart = nBlockStart; }

    /// Starts and stops a stream at a rate in Hz. Control thread; the start waits for background work.
    void BeginStreaming(std::uint32_t uSampleRate);
    void EndStreaming();

    /// Waits for work that setters have sent to other threads. Not on the streaming thread.
    void FinishBackgroundWork();

    Transform& GetTransform() { return *m_transform; }
    const Transform& GetTransform() const { return *m_transform; }

    // State. ------------------------------------------------------------------------------------------

    void CaptureState(std::vector<std::uint8_t>& bytes) const;
    void CaptureDefaultState(std::vector<std::uint8_t>& bytes) const;

    enum class ApplyMode : std::uint32_t { Notify = 0, Silent = 1 };

    /// Sets every value of a block. One that does not fit, by size, magic or version, changes nothing and
    /// gives false. Notify tells the host of each value that differs.
    bool ApplyState(std::span<const std::uint8_t> bytes, ApplyMode mode);

    /// Bytes of a state block.
    std::uint32_t StateSize() const { return m_uStateSize; }

    /// Brackets the change of many parameters at once: in between the audio obeys "Global: Preset Change
    /// Mode", and delay and activity wait for the end.
    void BeginPresetChange();
    void EndPresetChange();
    bool IsPresetChanging() const noexcept { return m_bPresetChanging; }
    /// Whether a preset change has begun since the last call.
    bool TakePresetChangeSeen() { return m_bPresetChangeSeen.Exchange(false); }

    Util::Relaxed<bool>& Dirty() { return m_bDirty; }

    // Preferences. ------------------------------------------------------------------------------------

    void LoadStoredParams();
    void SaveStoredParams();

    /// The folder of the user's data: "InstallPath" of the settings, or the module file's own.
    std::string InstallPath();

    /// Holds the reported delay at a value, or lets it follow the chain again. Kept in the settings.
    void SetFrozenSystemDelay(std::optional<std::uint32_t> frozen);
    std::optional<std::uint32_t> FrozenSystemDelay() const;

    // Diagnostics. ------------------------------------------------------------------------------------

    /// The next blocks, up to 100 in all, are logged.
    void LogBlockSizes() { m_bLogBlocks = true; }
    bool IsLoggingBlockSizes() const { return m_bLogBlocks; }
    /// Frames in and frames out of each logged block. Takes the plug-in's lock.
    struct BlockLog {
        std::vector<std::uint32_t> input;
        std::vector<std::uint32_t> output;
    };
    BlockLog LoggedBlocks();

    // The editor. -------------------------------------------------------------------------------------

    void SetEditorWindow(Util::WindowHandle window) { m_editorWindow = window; }
    /// The editor has handled a refresh; the next may be posted.
    void AcknowledgeRefresh() { m_bNotifyPending = false; }

    // For the transform. ------------------------------------------------------------------------------

    Util::NamedLock& Lock() { return m_lock; }
    Util::NamedLock& TransformLock() { return m_transformLock; }

    /// How the host takes the system delay: 0 and 3 have it trimmed from the output, 2 adds a latency of the
    /// host's own.
    void SetHostKind(std::uint32_t uKind) { m_uHostKind = uKind; }
    bool TrimsDelay() const { return m_uHostKind == 0 || m_uHostKind == 3; }
    bool AddsHostLatency() const { return m_uHostKind == 2; }

    /// Frames that the host itself adds, for host kind 2.
    virtual std::uint32_t HostLatency(bool /*bFrozen*/) { return 0; }
    /// The system delay has been computed anew. Sets no parameter: a setter may be waiting for this.
    virtual void OnSystemDelayUpdated() {}

    // PluginContext -----------------------------------------------------------------------------------

    void AddComponent(Component& component) override;
    const std::vector<Component*>& Components() const override { return m_components; }
    void MarkDirty() noexcept override { m_bDirty = true; }
    void RequestActivityUpdate() override;
    void RequestDelayUpdate() override;
    void ResetAll() override;
    void PostToEditor(EditorNotifyCode code) noexcept override;
    bool HasEditor() const noexcept override { return m_editorWindow != nullptr; }
    void OnDelayCompensationChanged(bool) override {}
    std::uint32_t SampleRate() const noexcept override;
    std::uint32_t InputChannels() const noexcept override;
    std::uint32_t OutputChannels() const noexcept override;
    bool IsStreaming() const noexcept override { return m_bStreaming; }
    float AltSoloQ() const noexcept override;
    Util::SettingsStore& Settings() noexcept override { return *m_settings; }
    /// The install path; none for preferences that end with the object and name no folder.
    std::string DataFolder() override;

protected:
    /// A preset change is about to end.
    virtual void OnPresetChangeEnding() {}

private:
    void LogBlock(std::uint32_t uFrames, std::uint32_t uProduced);

    // Set-up: written at construction, or while nothing streams.
    std::unique_ptr<Util::SettingsStore> m_settings;
    Util::NamedLock m_lock{"Plugin", Util::LockUse::OnAudioThread};
    Util::NamedLock m_transformLock{"Plugin::Transforming", Util::LockUse::OnAudioThread};
    std::vector<Component*> m_components;
    std::uint32_t m_uStateSize;
    std::uint32_t m_uHostKind = 0;
    std::uint32_t m_uEditorMessage;

    // Flags and values that cross threads.
    Util::Relaxed<Util::WindowHandle> m_editorWindow = nullptr;
    Util::Relaxed<bool> m_bNotifyPending = false;
    Util::Relaxed<bool> m_bStreaming = false;
    Util::Relaxed<bool> m_bPresetChanging = false;
    Util::Relaxed<bool> m_bPresetChangeSeen = false;
    Util::Relaxed<bool> m_bDirty = false;
    Util::Relaxed<std::int64_t> m_nFrozenDelay = -1;  ///< negative: not frozen
    Util::Relaxed<std::int64_t> m_nBlockStart = 0;

    // The block log, under the plug-in's lock but for the flag.
    Util::Relaxed<bool> m_bLogBlocks = false;
    BlockLog m_blockLog;

    // Last, because its components use everything above until they are gone.
    std::unique_ptr<Transform> m_transform;
};
