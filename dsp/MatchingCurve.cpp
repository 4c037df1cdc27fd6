#include "dsp/MatchingCurve.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"

namespace DSP::Equalizer {

namespace {

constexpr double kSilentRatio = 1e6;  // for something over nothing
constexpr double kLimitDb = 30.0;
constexpr double kMaxSmoothing = 0.99;
constexpr double kSmoothingBinHz = 43.066406;  // 1024 points at 44100 Hz

// Reads a spectrum band by band, from low to high.
class LevelTable {
public:
    explicit LevelTable(const MatchTable& table) : m_frequencies(table.frequencies), m_levels(table.levels) {}

    // The level of the band between two edges. Bands come in ascending order and do not overlap.
    double BandLevel(double fLow, double fHigh) {
        const std::size_t uFirst = LastUpTo(fLow);
        const std::size_t uLast = LastUpTo(fHigh);
        if (uLast > uFirst) {
            double fSum = 0.0;
            for (std::size_t i = uFirst; i <= uLast; ++i)
                fSum += m_levels[i] * m_levels[i];
            return std::sqrt(fSum / static_cast<double>(uLast - uFirst + 1));
        }
        if (m_levels.size() == 1) return m_levels[0];
        return Interpolated(std::min(uFirst, m_levels.size() - 2), (fLow + fHigh) / 2.0);
    }

private:
    // The last of the leading frequencies that are not above an edge; the first entry if there is none.
    std::size_t LastUpTo(double fEdge) {
        while (m_uPassed + 1 < m_levels.size() && double{m_frequencies[m_uPassed + 1]} <= fEdge &&
               double{m_frequencies[m_uPassed]} <= fEdge)
            ++m_uPassed;
        return m_uPassed;
    }

    double Interpolated(std::size_t i, double fCentre) const {
        const double fLow = double{m_frequencies[i]};
        const double fHigh = double{m_frequencies[i + 1]};
        // A table whose frequencies do not rise is not refused: what it gives here is its frequency, a number
        // like any other to the limits that follow.
        if (fLow >= fHigh) return fHigh;
        return ((fCentre - fLow) * m_levels[i + 1] + (fHigh - fCentre) * m_levels[i]) / (fHigh - fLow);
    }

    const std::vector<float>& m_frequencies;
    const std::vector<double>& m_levels;
    std::size_t m_uPassed = 0;
};

double Energy(const std::vector<double>& levels) {
    double fSum = 0.0;
    for (const double fLevel : levels)
        fSum += fLevel * fLevel;
    return std::sqrt(fSum);
}

double CorrectionDb(double fSource, double fTarget) {
    double fRatio = fTarget / fSource;
    if (fSource <= 0.0) fRatio = fTarget > 0.0 ? kSilentRatio : 1.0;
    return std::clamp(LinearToDb(fRatio), -kLimitDb, kLimitDb);
}

void Smooth(std::vector<double>& curve, float fSmoothing, double fBinHz, std::vector<double>& poles) {
    const double fAmount = double{fSmoothing} * kMaxSmoothing;
    if (fAmount == 0.0) return;
    const double fRise = 1.0 - std::sqrt(fAmount);
    const auto coefficient = [&](std::size_t k) {
        const double fRootKiloHz = std::sqrt(fBinHz * static_cast<double>(k) * 0.001);
        const double fPole = std::clamp(1.0 - (1.0 / fRootKiloHz) * fRise, 0.0, kMaxSmoothing);
        return Pow(fPole, fBinHz / kSmoothingBinHz);
    };
    const std::size_t uLast = curve.size() - 1;
    for (std::size_t k = 1; k <= uLast; ++k)
        poles[k] = coefficient(k);
    for (std::size_t k = 1; k <= uLast; ++k)
        curve[k] += (curve[k - 1] - curve[k]) * poles[k];
    for (std::size_t k = uLast; k-- > 0;)
        curve[k] += (curve[k + 1] - curve[k]) * poles[k];
}

}  // namespace

MatchTable::MatchTable(MatchSpectrum spectrum)
    : frequencies(std::move(spectrum.frequencies)),
      levels(std::min(frequencies.size(), spectrum.levels.size())) {
    std::transform(spectrum.levels.begin(),
                   spectrum.levels.begin() + static_cast<std::ptrdiff_t>(levels.size()), levels.begin(),
                   [](float fDb) { return DbToLinear(double{fDb}); });
}

void ComputeMatchingCurve(const MatchTable& source, const MatchTable& target, float fSmoothing, int nLength,
                          std::uint32_t uSampleRate, MatchingWork& work, std::vector<float>& curve) {
    const std::size_t uBins = static_cast<std::size_t>(nLength) / 2 + 1;
    for (auto* const room : {&work.source, &work.target, &work.curve, &work.poles})
        room->resize(uBins);
    curve.assign(uBins, 0.0f);
    if (source.levels.empty() || target.levels.empty()) return;

    const double fBinHz = double(uSampleRate) / double(nLength);
    LevelTable sourceTable(source);
    LevelTable targetTable(target);
    for (std::size_t k = 0; k < uBins; ++k) {
        const double fLow = (static_cast<double>(k) - 0.5) * fBinHz;
        const double fHigh = (static_cast<double>(k) + 0.5) * fBinHz;
        work.source[k] = sourceTable.BandLevel(fLow, fHigh);
        work.target[k] = targetTable.BandLevel(fLow, fHigh);
    }

    const double fSourceEnergy = Energy(work.source);
    const double fTargetEnergy = Energy(work.target);
    if (!std::isfinite(fSourceEnergy) || !std::isfinite(fTargetEnergy)) return;
    const double fScale = fSourceEnergy > 0.0 ? fTargetEnergy / fSourceEnergy : kSilentRatio;
    for (std::size_t k = 0; k < uBins; ++k)
        work.curve[k] = CorrectionDb(work.source[k] * fScale, work.target[k]);
    Smooth(work.curve, fSmoothing, fBinHz, work.poles);
    std::transform(work.curve.begin(), work.curve.end(), curve.begin(),
                   [](double fDb) { return static_cast<float>(fDb); });
}

}  // namespace DSP::Equalizer
