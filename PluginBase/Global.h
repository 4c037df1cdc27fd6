#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "PluginBase/ComponentImpl.h"

/// What a code of the module order runs.
enum class ModuleOrderCode : std::uint32_t {
    Equalizer = 0,
    Reverb = 1,
    MultibandDynamics = 2,
    MultibandExciter = 3,
    MultibandImager = 4,
    ChannelOperations = 5,
    Maximizer = 6,
    Spectrum = 7,
    PhaseMeter = 8
};

/// What the chain does with the audio while a preset is being changed.
enum class PresetChangeMode : std::int32_t { Realtime = 0, Bypass = 1, Mute = 2 };

/// The settings of the whole system: preferences of the user, the module order and the bypass. It carries no
/// audio work and is never active.
class Global final : public ComponentImpl<Global> {
public:
    static constexpr std::size_t kModules = 9;
    using ModuleOrder = std::array<std::uint32_t, kModules>;

    /// Float parameter indices that others refer to, and the Bool index of the bypass.
    static constexpr std::uint32_t kBypassIndex = 0;

    explicit Global(PluginContext& plugin);

    bool IsActive() const override { return false; }

    bool Bypass() const { return m_bBypass; }
    bool ProcessAsMono() const { return m_bMono; }
    bool DelayCompensation() const { return m_bDelayCompensation; }
    bool MeterEnable() const { return m_bMeterEnable; }
    PresetChangeMode ChangeMode() const { return static_cast<PresetChangeMode>(m_nPresetChangeMode.Get()); }

    /// The value of "Global: History Depth": an index among its labels.
    std::int32_t HistoryDepth() const { return m_nHistoryDepth; }

    /// Frames between two evaluations of automation: "Global: Automation Zipper Samples" rounded half away
    /// from zero.
    std::uint32_t AutomationStride() const;

    /// The colour that marks an automated control, or none.
    Highlight MarkColour() const { return static_cast<Highlight>(m_nHighlight.Get()); }

    /// Milliseconds between two frames of the editor.
    std::uint32_t TimerPeriod() const { return m_uTimerPeriod; }

    /// The value of the bypass as automation sets it: stores, without the setter's side effects.
    void StoreBypass(bool bBypass) { m_bBypass = bBypass; }

    /// The module order, whole: the nine codes in the order in which they run. Takes the component's lock.
    ModuleOrder FilterGraph();

    /// Replaces the module order. One of another length changes nothing; codes above 8 are clamped.
    void SetFilterGraph(const std::vector<std::uint32_t>& order);

private:
    float Fps() const { return m_fFps; }
    void SetFps(float fFps);
    float Opacity() const { return m_fOpacity; }
    void SetOpacity(float fOpacity);
    float Zipper() const { return m_fZipper; }
    void SetZipper(float fZipper);

    void SetBypass(bool bBypass);
    bool RenderingThread() const { return m_bRenderingThread; }
    void SetRenderingThread(bool bEnable);
    void SetDelayCompensation(bool bEnable);
    void SetMeterEnable(bool bEnable);
    bool Animation() const { return m_bAnimation; }
    void SetAnimation(bool bEnable) { m_bAnimation = bEnable; }
    bool AnimatedFocus() const { return m_bAnimatedFocus; }
    void SetAnimatedFocus(bool bEnable) { m_bAnimatedFocus = bEnable; }
    void SetProcessAsMono(bool bEnable) { m_bMono = bEnable; }
    bool BackgroundGrid() const { return m_bBackgroundGrid; }
    void SetBackgroundGrid(bool bShow);

    void SetHistoryDepth(std::int32_t nDepth);
    std::int32_t AutomationHighlight() const { return m_nHighlight; }
    void SetAutomationHighlight(std::int32_t nHighlight);
    std::int32_t FilterGraphItem(std::uint32_t iItem) const;
    void SetFilterGraphItem(std::uint32_t iItem, std::int32_t nCode);
    std::int32_t PresetChange() const { return m_nPresetChangeMode; }
    void SetPresetChange(std::int32_t nMode);
    std::int32_t BufferSize() const { return m_nBufferSize; }
    void SetBufferSize(std::int32_t nSize);

    // Parameters: written by setters, on any thread.
    Util::Relaxed<float> m_fFps = 30.0f;
    Util::Relaxed<float> m_fOpacity = 100.0f;
    Util::Relaxed<float> m_fZipper = 50.0f;
    Util::Relaxed<bool> m_bBypass = false;
    Util::Relaxed<bool> m_bRenderingThread = false;
    Util::Relaxed<bool> m_bDelayCompensation = false;
    Util::Relaxed<bool> m_bMeterEnable = true;
    Util::Relaxed<bool> m_bAnimation = true;
    Util::Relaxed<bool> m_bAnimatedFocus = true;
    Util::Relaxed<bool> m_bMono = false;
    Util::Relaxed<bool> m_bBackgroundGrid = true;
    Util::Relaxed<std::int32_t> m_nHistoryDepth = 1;
    Util::Relaxed<std::int32_t> m_nHighlight = 4;
    Util::Relaxed<std::int32_t> m_nPresetChangeMode = 1;
    Util::Relaxed<std::int32_t> m_nBufferSize = 6;
    std::array<Util::Relaxed<std::uint32_t>, kModules> m_order;  ///< changed under the component's lock

    Util::Relaxed<std::uint32_t> m_uTimerPeriod = 33;
};

/// Preferences that modules derive something from. Never active.
class GlobalDerived final : public ComponentImpl<GlobalDerived> {
public:
    explicit GlobalDerived(PluginContext& plugin);

    bool IsActive() const override { return false; }

    /// The quality of the audition filters.
    float AltSoloQ() const { return m_fAltSoloQ; }

private:
    void SetAltSoloQ(float fQ);

    Util::Relaxed<float> m_fAltSoloQ = 18.0f;
};
