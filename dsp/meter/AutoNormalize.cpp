#include "dsp/meter/AutoNormalize.h"

#include <algorithm>
#include <cmath>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementwise.h"

namespace DSP::Meter {

namespace {

void Include(HeldMaximum& peak, std::uint32_t uFrames, const float* samples) noexcept {
    float fLow = 0.0f;
    float fHigh = 0.0f;
    VectorMin(samples, static_cast<std::int32_t>(uFrames), &fLow);
    VectorMax(samples, static_cast<std::int32_t>(uFrames), &fHigh);
    for (const float fMagnitude : {std::abs(fLow), fHigh}) {
        if (std::isfinite(fMagnitude)) peak.Include(fMagnitude);
    }
}

}  // namespace

void AutoNormalize::MeasureInput(std::uint32_t uFrames, const float* left, const float* right) noexcept {
    Include(m_inputPeak, uFrames, left);
    if (right) Include(m_inputPeak, uFrames, right);
}

void AutoNormalize::MeasureOutput(std::uint32_t uFrames, const float* left, const float* right) noexcept {
    Include(m_outputPeak, uFrames, left);
    if (right) Include(m_outputPeak, uFrames, right);
}

void AutoNormalize::SetEnabled(bool bEnable) {
    if (m_bEnabled.Exchange(bEnable) != bEnable) ActivityChanged();
}

void AutoNormalize::Clear() noexcept {
    m_inputPeak.Clear();
    m_outputPeak.Clear();
}

std::optional<float> AutoNormalize::GainDb(Source source, float fTarget, Unit unit) const noexcept {
    const float fPeak = source == Source::Input ? InputPeak() : OutputPeak();
    const double fLinear = unit == Unit::Percent ? fTarget / 100.0 : DbToLinear(double{fTarget});
    if (!(fPeak > 0.0f) || std::isnan(fLinear)) return std::nullopt;
    const auto fGainDb = static_cast<float>(LinearToDb(fLinear / fPeak));
    return std::clamp(fGainDb, Gain::kMinDb, Gain::kMaxDb);
}

bool AutoNormalize::Apply(Gain& gain, Source source, float fTarget, Unit unit) const {
    const std::optional<float> gainDb = GainDb(source, fTarget, unit);
    if (!gainDb) return false;
    const std::uint32_t uLeft = source == Source::Input ? Gain::kInputLeftIndex : Gain::kOutputLeftIndex;
    gain.SetFloat(uLeft, *gainDb);
    gain.SetFloat(uLeft + 1, *gainDb);
    return true;
}

}  // namespace DSP::Meter
