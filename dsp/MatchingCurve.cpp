#include "dsp/MatchingCurve.h"

#include <algorithm>
#include <cmath>

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
    explicit LevelTable(const MatchSpectrum& spectrum)
        : m_frequencies(spectrum.frequencies),
          m_levels(std::min(spectrum.frequencies.size(), spectrum.levels.size())) {
        std::transform(spectrum.levels.begin(),
                       spectrum.levels.begin() + static_cast<std::ptrdiff_t>(m_levels.size()),
                       m_levels.begin(), [](float fDb) { return DbToLinear(double{fDb}); });
    }

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
    std::vector<double> m_levels;  // linear
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

void Smooth(std::vector<double>& curve, float fSmoothing, double fBinHz) {
    const double fAmount = double{fSmoothing} * kMaxSmoothing;
    if (fAmount == 0.0) return;
    const double fRise = 1.0 - std::sqrt(fAmount);
    const auto coefficient = [&](std::size_t k) {
        const double fRootKiloHz = std::sqrt(fBinHz * static_cast<double>(k) * 0.001);
        const double fPole = std::clamp(1.0 - (1.0 / fRootKiloHz) * fRise, 0.0, kMaxSmoothing);
        return Pow(fPole, fBinHz / kSmoothingBinHz);
    };
    const std::size_t uLast = curve.size() - 1;
    std::vector<double> poles(curve.size());
    for (std::size_t k = 1; k <= uLast; ++k)
        poles[k] = coefficient(k);
    for (std::size_t k = 1; k <= uLast; ++k)
        curve[k] += (curve[k - 1] - curve[k]) * poles[k];
    for (std::size_t k = uLast; k-- > 0;)
        curve[k] += (curve[k + 1] - curve[k]) * poles[k];
}

}  // namespace

std::vector<float> ComputeMatchingCurve(const MatchSpectrum& source, const MatchSpectrum& target,
                                        float fSmoothing, int nLength, std::uint32_t uSampleRate) {
    const std::size_t uBins = static_cast<std::size_t>(nLength) / 2 + 1;
    const auto isEmpty = [](const MatchSpectrum& spectrum) {
        return spectrum.frequencies.empty() || spectrum.levels.empty();
    };
    if (isEmpty(source) || isEmpty(target)) return std::vector<float>(uBins);

    const double fBinHz = double(uSampleRate) / double(nLength);
    LevelTable sourceTable(source);
    LevelTable targetTable(target);
    std::vector<double> a(uBins);
    std::vector<double> b(uBins);
    for (std::size_t k = 0; k < uBins; ++k) {
        const double fLow = (static_cast<double>(k) - 0.5) * fBinHz;
        const double fHigh = (static_cast<double>(k) + 0.5) * fBinHz;
        a[k] = sourceTable.BandLevel(fLow, fHigh);
        b[k] = targetTable.BandLevel(fLow, fHigh);
    }

    const double fSourceEnergy = Energy(a);
    const double fTargetEnergy = Energy(b);
    if (!std::isfinite(fSourceEnergy) || !std::isfinite(fTargetEnergy)) return std::vector<float>(uBins);
    const double fScale = fSourceEnergy > 0.0 ? fTargetEnergy / fSourceEnergy : kSilentRatio;
    std::vector<double> curve(uBins);
    for (std::size_t k = 0; k < uBins; ++k)
        curve[k] = CorrectionDb(a[k] * fScale, b[k]);
    Smooth(curve, fSmoothing, fBinHz);

    std::vector<float> result(uBins);
    std::transform(curve.begin(), curve.end(), result.begin(),
                   [](double fDb) { return static_cast<float>(fDb); });
    return result;
}

}  // namespace DSP::Equalizer
