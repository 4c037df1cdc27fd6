#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "PluginBase/ComponentImpl.h"

namespace DSP::Meter {

/// How left and right belong together: a raster of points, the vectorscope, and a histogram of correlations.
///
/// Vectorscope:  each frame sets one cell of a square raster, its width (R - L) and its height (R + L) times
///               31.25 cells away from the middle, in the normal colour, or at the edge in the other if a
///               sample lies beyond full scale. The points of the last 500 frames stand in a ring.
/// Correlation:  every 2205 frames, whatever the rate, the correlation of the last 2204 picks a histogram
///               bin, 0 for -1 to 122 for +1. All bins on the way from the last one count up as well, so
///               that a jump paints a line. A channel below -80 dB correlates fully. The first bin after a
///               start only marks where the second one's way begins.
/// NaN:          in the vectorscope a NaN counts as 0. A correlation over a NaN or an infinity is left out.
/// Threads:      the measuring operations on the audio thread, under the component's lock. Readings on any,
///               without it; they may mix two frames.
/// Real time:    nothing but construction allocates.
/// Blocks:       results do not depend on how a stream is cut.
class Phase final : public ComponentImpl<Phase> {
public:
    static constexpr std::int32_t kSide = 125;
    static constexpr std::int32_t kCentre = 62;
    static constexpr std::uint32_t kTracePoints = 500;
    static constexpr std::uint32_t kBins = 123;

    explicit Phase(PluginContext& plugin);

    /// Each does nothing while its own switch is off.
    void MeasureVectorscope(std::uint32_t uFrames, const float* left, const float* right) noexcept;
    void MeasureCorrelation(std::uint32_t uFrames, const float* left, const float* right) noexcept;

    bool IsActive() const override {
        return MetersEnabled() && (m_switches[kVectorscope] || m_switches[kCorrelation]);
    }

    /// Moves the trace to the centre and begins a new correlation. Raster and histogram stay: they belong to
    /// the displays.
    void ClearState() override;

    // For displays. -------------------------------------------------------------------------------------

    /// The values that frames write into the raster.
    void SetColours(std::uint32_t uNormal, std::uint32_t uClipped) noexcept;

    /// A cell of the raster, by row from the top and column from the left, each below kSide. A display may
    /// write it, to let old points fade.
    Util::Relaxed<std::uint32_t>& Cell(std::int32_t nRow, std::int32_t nColumn) noexcept {
        return m_raster[static_cast<std::size_t>(nRow * kSide + nColumn)];
    }

    struct Point {
        std::int32_t nColumn = kCentre;
        std::int32_t nRow = kCentre;

        friend bool operator==(const Point&, const Point&) = default;
    };

    /// The points of the last frames, the oldest first.
    std::array<Point, kTracePoints> Trace() const noexcept;

    /// How often each correlation was met.
    std::array<std::uint32_t, kBins> Histogram() const noexcept;

    /// Has the histogram emptied before the next correlation counts.
    void RequestHistogramReset() noexcept { m_bResetRequest = true; }

private:
    enum SwitchIndex : std::uint32_t {
        kVectorscope,
        kVectorscopeHistory,
        kCorrelation,
        kCorrelationHistory,
        kSwitches
    };
    static constexpr std::uint32_t kLap = 2205;
    static constexpr std::int32_t kNoBin = -1;

    bool Switch(std::uint32_t iSwitch) const { return m_switches[iSwitch]; }
    void SetSwitch(std::uint32_t iSwitch, bool bOn);
    void CountLap() noexcept;
    void CountBin(std::int32_t nBin) noexcept;
    void RestartLap() noexcept;

    // Parameters: written by setters, read once at the head of a block.
    std::array<Util::Relaxed<bool>, kSwitches> m_switches{true, true, true, true};
    Util::Relaxed<std::uint32_t> m_uNormalColour = 1;
    Util::Relaxed<std::uint32_t> m_uClippedColour = 2;

    // Readings: written under the lock, read by displays without it.
    std::vector<Util::Relaxed<std::uint32_t>> m_raster;
    std::array<Util::Relaxed<std::int32_t>, 2 * kTracePoints> m_trace;  ///< column, row, column, row ...
    Util::Relaxed<std::uint32_t> m_uTracePosition = 0;                  ///< of the oldest point
    std::array<Util::Relaxed<std::uint32_t>, kBins> m_histogram;
    Util::Relaxed<bool> m_bResetRequest = false;

    // State: ClearState clears every member of this group.
    double m_fLeftSum = 0.0;
    double m_fRightSum = 0.0;
    double m_fProductSum = 0.0;
    std::uint32_t m_uLapPosition = 0;
    std::int32_t m_nPreviousBin = kNoBin;
};

}  // namespace DSP::Meter
