#include "dsp/meter/Phase.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include "dsp/vector/Rounding.h"

namespace DSP::Meter {

namespace {

constexpr float kCellsPerUnit = 31.25f;

// Below this rms a channel's sign says nothing.
constexpr double kQuiet = 0.0001;

}  // namespace

Phase::Phase(PluginContext& plugin)
    : ComponentImpl(plugin, "PhaseMeter"), m_raster(static_cast<std::size_t>(kSide * kSide)) {
    const auto add = [this](const char* strName, SwitchIndex iSwitch) {
        Bool(strName, true, &Phase::Switch, &Phase::SetSwitch, std::uint32_t{iSwitch})
            .InPreset(PresetGroup::Meters);
    };
    add("PhaseMeter Enable Vectorscope", kVectorscope);
    add("Phasemeter Vectorscope History", kVectorscopeHistory);
    add("Phasemeter Enable Correlation Meter", kCorrelation);
    add("Phasemeter Correlation Meter History", kCorrelationHistory);
    m_trace.fill(kCentre);
    FinishTables();
}

void Phase::SetSwitch(std::uint32_t iSwitch, bool bOn) {
    if (bOn == m_switches[iSwitch]) return;
    MarkDirty();
    m_switches[iSwitch] = bOn;
    if (iSwitch == kVectorscope || iSwitch == kCorrelation) ActivityChanged();
}

void Phase::SetColours(std::uint32_t uNormal, std::uint32_t uClipped) noexcept {
    m_uNormalColour = uNormal;
    m_uClippedColour = uClipped;
}

void Phase::ClearState() {
    const std::lock_guard lock(m_lock);
    m_trace.fill(kCentre);
    RestartLap();
    m_nPreviousBin = kNoBin;
}

void Phase::MeasureVectorscope(std::uint32_t uFrames, const float* left, const float* right) noexcept {
    if (!m_switches[kVectorscope]) return;
    const std::lock_guard lock(m_lock);
    const std::uint32_t uNormal = m_uNormalColour;
    const std::uint32_t uClipped = m_uClippedColour;
    std::uint32_t uPosition = m_uTracePosition;
    // A NaN, which equals nothing, is 0; the order of the comparisons keeps the sign of what lies beyond.
    const auto limited = [](float f) { return f > 1.0f ? 1.0f : f < -1.0f ? -1.0f : f == f ? f : 0.0f; };
    for (std::uint32_t i = 0; i < uFrames; ++i) {
        const float fLeft = limited(left[i]);
        const float fRight = limited(right[i]);
        const bool bWithin = fLeft == left[i] && fRight == right[i];
        const std::int32_t nX = RoundSmallHalfAway((fRight - fLeft) * kCellsPerUnit);
        const std::int32_t nY = RoundSmallHalfAway((fRight + fLeft) * kCellsPerUnit);
        const std::int32_t nColumn = std::clamp(nX + kCentre, 0, kSide - 1);
        const std::int32_t nRow = std::clamp(kCentre + 1 - nY, 0, kSide - 1);
        Cell(nRow, nColumn) = bWithin ? uNormal : uClipped;
        m_trace[uPosition] = nColumn;
        m_trace[uPosition + 1] = nRow;
        uPosition = uPosition + 2 == m_trace.size() ? 0 : uPosition + 2;
    }
    m_uTracePosition = uPosition;
}

void Phase::MeasureCorrelation(std::uint32_t uFrames, const float* left, const float* right) noexcept {
    if (!m_switches[kCorrelation]) return;
    const std::lock_guard lock(m_lock);
    while (uFrames != 0) {
        const std::uint32_t uCount = std::min(uFrames, kLap - m_uLapPosition);
        // A sliding window of kLap - 1 frames, looked at only when a lap is full, holds at that moment the
        // lap without its first frame. So nothing has to slide, and no rounding error outlives a lap.
        for (std::uint32_t i = m_uLapPosition == 0 ? 1 : 0; i < uCount; ++i) {
            const double fLeft = left[i];
            const double fRight = right[i];
            m_fLeftSum += fLeft * fLeft;
            m_fRightSum += fRight * fRight;
            m_fProductSum += fRight * fLeft;
        }
        left += uCount;
        right += uCount;
        uFrames -= uCount;
        m_uLapPosition += uCount;
        if (m_uLapPosition < kLap) continue;
        CountLap();
        RestartLap();
    }
}

void Phase::RestartLap() noexcept {
    m_fLeftSum = m_fRightSum = m_fProductSum = 0.0;
    m_uLapPosition = 0;
}

void Phase::CountLap() noexcept {
    if (m_bResetRequest.Exchange(false)) std::fill(m_histogram.begin(), m_histogram.end(), 0u);
    const double fLeft = std::sqrt(m_fLeftSum / kLap);
    const double fRight = std::sqrt(m_fRightSum / kLap);
    if (!std::isfinite(fLeft) || !std::isfinite(fRight)) return;
    double fCorrelation = 1.0;
    if (fLeft > kQuiet && fRight > kQuiet) fCorrelation = m_fProductSum / kLap / (fLeft * fRight);
    const double fBin = (fCorrelation + 1.0) * 0.5 * kBins;
    CountBin(std::clamp(RoundHalfAway(fBin), 0, static_cast<std::int32_t>(kBins) - 1));
}

/// Counts every bin on the way from the previous one to this.
void Phase::CountBin(std::int32_t nBin) noexcept {
    if (m_nPreviousBin != kNoBin) {
        const auto [nLow, nHigh] = std::minmax(nBin, m_nPreviousBin);
        for (std::int32_t n = nLow; n <= nHigh; ++n) {
            auto& count = m_histogram[static_cast<std::size_t>(n)];
            count = count + 1;
        }
    }
    m_nPreviousBin = nBin;
}

std::array<Phase::Point, Phase::kTracePoints> Phase::Trace() const noexcept {
    std::array<Point, kTracePoints> points;
    std::size_t uPosition = m_uTracePosition;
    for (Point& point : points) {
        point = {m_trace[uPosition], m_trace[uPosition + 1]};
        uPosition = uPosition + 2 == m_trace.size() ? 0 : uPosition + 2;
    }
    return points;
}

std::array<std::uint32_t, Phase::kBins> Phase::Histogram() const noexcept {
    std::array<std::uint32_t, kBins> counts;
    std::copy(m_histogram.begin(), m_histogram.end(), counts.begin());
    return counts;
}

}  // namespace DSP::Meter
