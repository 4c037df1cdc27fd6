#pragma once

namespace DSP::Meter {

/// +80 dB: the highest magnitude that meters tell apart. The limit keeps running sums and averages finite,
/// and precise again as soon as the signal is back in its range.
inline constexpr float kMaxMeasured = 1e4f;

/// A sample as meters take it: limited to kMaxMeasured either way; a NaN counts as 0.
inline float Measurable(float fSample) noexcept {
    // The order of the comparisons takes a NaN to the lower limit, and the last line takes it to 0.
    const float fAbove = fSample > -kMaxMeasured ? fSample : -kMaxMeasured;
    const float fWithin = fAbove < kMaxMeasured ? fAbove : kMaxMeasured;
    return fSample == fSample ? fWithin : 0.0f;
}

}  // namespace DSP::Meter
