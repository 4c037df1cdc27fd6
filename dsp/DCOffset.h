#pragma once

#include <cstdint>

#include "PluginBase/ComponentImpl.h"
#include "dsp/DCOffsetFilter.h"

namespace DSP {

/// The DC filter at the end of the chain, and the meter of what it takes away. It may measure without
/// filtering: the recurrence runs all the same, so that switching the filter on makes no jump.
///
/// Active:    while the filter is on, or its meter and the engine's metering are.
/// Setters:   store one flag.
/// Real time: nothing allocates.
/// Recovery:  see DCOffsetFilter: one bad sample restarts the recurrence of its channel.
class DCOffset final : public ComponentImpl<DCOffset> {
public:
    explicit DCOffset(PluginContext& plugin);

    bool IsActive() const override { return m_bEnable || (m_bMeterEnable && MetersEnabled()); }
    std::uint32_t ProcessBlock(std::uint32_t uFrames, float* left, float* right) override;
    void ClearState() override;

    // For displays, on any thread; channel 0 is left, 1 right. Full scale is 1. ----------------------------

    /// What the filter takes away, or would, of the latest sample, and the extremes since ClearMeter or
    /// ClearState. 0 lies within the extremes.
    float CurrentOffset(std::uint32_t uChannel) const { return m_filter.Current(uChannel); }
    float OffsetMinimum(std::uint32_t uChannel) const { return m_filter.Minimum(uChannel); }
    float OffsetMaximum(std::uint32_t uChannel) const { return m_filter.Maximum(uChannel); }
    /// Takes the lock. The filter goes on undisturbed.
    void ClearMeter();

private:
    bool Enabled() const { return m_bEnable; }
    void SetEnabled(bool bEnable);
    bool MeterEnabled() const { return m_bMeterEnable; }
    void SetMeterEnabled(bool bEnable);

    // Parameters: written by setters, read once at the head of a block.
    Util::Relaxed<bool> m_bEnable = false;
    Util::Relaxed<bool> m_bMeterEnable = true;

    // Under the component's lock.
    DCOffsetFilter m_filter;
};

}  // namespace DSP
