#include "PluginBase/Global.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include "dsp/vector/Rounding.h"
#include "hvBase/Util/Text.h"

namespace {

const std::vector<std::string> kModuleLabels = {"Equalizer",         "Reverb",           "Mutliband Dynamics",
                                                "Multiband Exciter", "Mutliband Imager", "Channel Operations",
                                                "Maximizer",         "Spectrum",         "Phase Meter"};

constexpr auto kFinestStride = static_cast<float>(StageContext::kFinestStride);

}  // namespace

Global::Global(PluginContext& plugin) : ComponentImpl(plugin, "Global") {
    for (std::uint32_t i = 0; i < kModules; ++i)
        m_order[i] = i;

    Float("Global: FPS", "fps", 5, 60, 30, &Global::Fps, &Global::SetFps).Preference();
    Float("Global: Opacity", "%", 20, 100, 100, &Global::Opacity, &Global::SetOpacity).Preference();
    Float("Global: Automation Zipper Samples", "", kFinestStride, 600, 50, &Global::Zipper,
          &Global::SetZipper)
        .Preference();

    Bool("Global: Bypass", false, &Global::Bypass, &Global::SetBypass)
        .StoredIn(StorageClass::Nowhere)
        .Automatable()
        .Labelled("Bypassed\nBYPS\nGBP\nB", "Unbypassed\nUNBPS\nUB\nU");
    Bool("Global: Rendering Thread", false, &Global::RenderingThread, &Global::SetRenderingThread)
        .Preference();
    Bool("Global: Delay Compensation", false, &Global::DelayCompensation, &Global::SetDelayCompensation)
        .Preference();
    Bool("Global: Meter Enable", true, &Global::MeterEnable, &Global::SetMeterEnable).Preference();
    Bool("Global: Animation Enable", true, &Global::Animation, &Global::SetAnimation).Preference();
    Bool("Global: Animated Focus Enable", true, &Global::AnimatedFocus, &Global::SetAnimatedFocus)
        .Preference();
    Bool("Global: Process As Mono", false, &Global::ProcessAsMono, &Global::SetProcessAsMono).Preference();
    Bool("Global: Show Background Grid", true, &Global::BackgroundGrid, &Global::SetBackgroundGrid)
        .Preference();

    Int("Global: History Depth", "", 0, 3, 1, &Global::HistoryDepth, &Global::SetHistoryDepth)
        .Preference()
        .Labelled({"50", "100", "500", "Unlimited"});
    Int("Global: DX Automation Highlight", "", 0, 4, 4, &Global::AutomationHighlight,
        &Global::SetAutomationHighlight)
        .Preference()
        .Labelled({"Red", "Blue", "Green", "Yellow", "None"});
    for (std::uint32_t i = 0; i < kModules; ++i) {
        Int(Util::Format("Global: Filter Graph Item %1", i), "", 0, kModules - 1,
            static_cast<std::int32_t>(i), &Global::FilterGraphItem, &Global::SetFilterGraphItem, i)
            .Preference()
            .Labelled(kModuleLabels);
    }
    Int("Global: Preset Change Mode", "", 0, 2, 1, &Global::PresetChange, &Global::SetPresetChange)
        .Preference()
        .Labelled({"Realtime", "Bypass", "Mute"});
    Int("Global: Global Buffer Size", "", 0, 6, 6, &Global::BufferSize, &Global::SetBufferSize)
        .Preference()
        .Labelled({"32", "64", "128", "256", "512", "1024", "Auto"});
    FinishTables();
}

std::uint32_t Global::AutomationStride() const {
    return static_cast<std::uint32_t>(DSP::RoundHalfAway(double{m_fZipper.Get()}));
}

Global::ModuleOrder Global::FilterGraph() {
    const std::lock_guard lock(m_lock);
    ModuleOrder order;
    std::copy(m_order.begin(), m_order.end(), order.begin());
    return order;
}

void Global::SetFilterGraph(const std::vector<std::uint32_t>& order) {
    if (order.size() != kModules) return;
    const std::lock_guard lock(m_lock);
    if (std::equal(order.begin(), order.end(), m_order.begin())) return;
    MarkDirty();
    for (std::size_t i = 0; i < kModules; ++i) {
        m_order[i] = std::min(order[i], static_cast<std::uint32_t>(kModules - 1));
    }
}

void Global::SetFps(float fFps) {
    fFps = std::clamp(fFps, 5.0f, 60.0f);
    if (fFps == m_fFps) return;
    m_fFps = fFps;
    m_uTimerPeriod = static_cast<std::uint32_t>(DSP::RoundHalfAway(1000.0 / double{fFps}));
    if (!m_bRenderingThread) m_plugin.PostToEditor(EditorNotifyCode::FrameRateChanged);
}

void Global::SetOpacity(float fOpacity) {
    m_fOpacity = std::clamp(fOpacity, 20.0f, 100.0f);
}

void Global::SetZipper(float fZipper) {
    m_fZipper = std::clamp(fZipper, kFinestStride, 600.0f);
}

void Global::SetBypass(bool bBypass) {
    if (m_bBypass.Exchange(bBypass) == bBypass) return;
    if (bBypass) m_plugin.ResetAll();
}

void Global::SetRenderingThread(bool bEnable) {
    if (m_bRenderingThread.Exchange(bEnable) == bEnable) return;
    m_plugin.PostToEditor(EditorNotifyCode::FrameRateChanged);
}

void Global::SetDelayCompensation(bool bEnable) {
    if (m_bDelayCompensation.Exchange(bEnable) == bEnable) return;
    m_plugin.OnDelayCompensationChanged(bEnable);
}

void Global::SetMeterEnable(bool bEnable) {
    if (m_bMeterEnable.Exchange(bEnable) == bEnable) return;
    for (Component* component : m_plugin.Components())
        component->SetMetersEnabled(bEnable);
    ActivityChanged();
}

void Global::SetBackgroundGrid(bool bShow) {
    if (m_bBackgroundGrid.Exchange(bShow) == bShow) return;
    m_plugin.PostToEditor(EditorNotifyCode::BackgroundGridChanged);
}

void Global::SetHistoryDepth(std::int32_t nDepth) {
    m_nHistoryDepth = std::clamp(nDepth, 0, 3);
}

void Global::SetAutomationHighlight(std::int32_t nHighlight) {
    nHighlight = std::clamp(nHighlight, 0, 4);
    if (m_nHighlight.Exchange(nHighlight) == nHighlight) return;
    for (Component* component : m_plugin.Components()) {
        component->SpreadHighlight(static_cast<Highlight>(nHighlight));
    }
}

std::int32_t Global::FilterGraphItem(std::uint32_t iItem) const {
    return static_cast<std::int32_t>(m_order[iItem].Get());
}

void Global::SetFilterGraphItem(std::uint32_t iItem, std::int32_t nCode) {
    const auto uCode =
        static_cast<std::uint32_t>(std::clamp(nCode, 0, static_cast<std::int32_t>(kModules) - 1));
    const std::lock_guard lock(m_lock);
    if (m_order[iItem] == uCode) return;
    MarkDirty();
    m_order[iItem] = uCode;
}

void Global::SetPresetChange(std::int32_t nMode) {
    m_nPresetChangeMode = std::clamp(nMode, 0, 2);
}

void Global::SetBufferSize(std::int32_t nSize) {
    m_nBufferSize = std::clamp(nSize, 0, 6);
    DelayChanged();
}

GlobalDerived::GlobalDerived(PluginContext& plugin) : ComponentImpl(plugin, "GlobalDerived") {
    Float("Global: ALT-Solo Q", "", 1.2f, 100, 18, &GlobalDerived::AltSoloQ, &GlobalDerived::SetAltSoloQ)
        .Preference();
    FinishTables();
}

void GlobalDerived::SetAltSoloQ(float fQ) {
    m_fAltSoloQ = std::clamp(fQ, 1.2f, 100.0f);
}
