#include "dsp/DCOffset.h"

#include <mutex>

namespace DSP {

DCOffset::DCOffset(PluginContext& plugin) : ComponentImpl(plugin, "DCOffset::DCOffset") {
    Bool("DCO: Enable", false, &DCOffset::Enabled, &DCOffset::SetEnabled)
        .InPreset(PresetGroup::Dither)
        .Automatable();
    Bool("DCO: Meter Enable", true, &DCOffset::MeterEnabled, &DCOffset::SetMeterEnabled)
        .InPreset(PresetGroup::Meters);
    FinishTables();
}

void DCOffset::SetEnabled(bool bEnable) {
    if (bEnable == m_bEnable) return;
    MarkDirty();
    m_bEnable = bEnable;
    ActivityChanged();
}

void DCOffset::SetMeterEnabled(bool bEnable) {
    if (bEnable == m_bMeterEnable) return;
    MarkDirty();
    m_bMeterEnable = bEnable;
    ActivityChanged();
}

std::uint32_t DCOffset::ProcessBlock(std::uint32_t uFrames, float* left, float* right) {
    m_filter.Process(static_cast<std::int32_t>(uFrames), left, right, Active() && m_bMeterEnable, m_bEnable);
    return uFrames;
}

void DCOffset::ClearState() {
    const std::lock_guard lock(m_lock);
    m_filter.Reset();
}

void DCOffset::ClearMeter() {
    const std::lock_guard lock(m_lock);
    m_filter.ClearMeter();
}

}  // namespace DSP
