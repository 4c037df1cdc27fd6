#include "dsp/DigitalFilters.h"

#include <algorithm>
#include <numbers>

#include "dsp/vector/Elementary.h"

namespace DSP {

namespace {

constexpr std::size_t kBins = DigitalFilters::kLength / 2 + 1;
constexpr double kLogOfZero = -10.0;  // stands for the logarithm of frequency 0; the first bin lies above 0

/// Where a band's skirts begin and end, in logarithms of Hz.
struct Skirts {
    double fLowerStart;
    double fLowerEnd;
    double fUpperStart;
    double fUpperEnd;
};

class BandLayout {
public:
    explicit BandLayout(const DigitalFilters::Design& design)
        : m_nBands(design.nBands), m_fNyquist(Log(design.fSampleRate / 2.0)) {
        for (std::size_t i = 0; i < m_cutoffs.size(); ++i)
            m_cutoffs[i] = design.cutoffs[i];
        m_fShare = 1.0 - std::min(design.fSteepness, 1.0);
    }

    Skirts Of(int iBand) const {
        const bool bTop = iBand == m_nBands - 1;
        const double fLower = iBand == 0 ? kLogOfZero : LogCutoff(iBand - 1);
        const double fUpper = bTop ? m_fNyquist : LogCutoff(iBand);

        // The logarithmic middles of this band and of its neighbours.
        double fBelow = kLogOfZero;
        double fInside = 0.0;
        double fInsideAbove = m_fNyquist;
        double fAbove = m_fNyquist;
        if (iBand == 1) fBelow = HalfOf(0);
        if (iBand > 1) fBelow = 0.5 * (LogCutoff(iBand - 2) + fLower);
        if (bTop) {
            fInside = 0.5 * (m_fNyquist + fLower);
        } else {
            fInside = fInsideAbove = iBand == 0 ? HalfOf(0) : 0.5 * (fUpper + fLower);
            const double fNext = iBand == m_nBands - 2 ? m_fNyquist : LogCutoff(iBand + 1);
            fAbove = 0.5 * (fUpper + fNext);
        }
        const double fLowerWidth = m_fShare * std::min(fInside - fLower, fLower - fBelow);
        const double fUpperWidth = m_fShare * std::min(fAbove - fUpper, fUpper - fInsideAbove);
        return {fLower - fLowerWidth, fLower + fLowerWidth, fUpper - fUpperWidth, fUpper + fUpperWidth};
    }

private:
    double LogCutoff(int i) const { return Log(m_cutoffs[static_cast<std::size_t>(i)]); }
    /// The lowest band has no middle: half its cutoff stands for it.
    double HalfOf(int i) const { return Log(0.5 * m_cutoffs[static_cast<std::size_t>(i)]); }

    int m_nBands;
    double m_fNyquist;
    double m_fShare;
    std::array<double, DigitalFilters::kMaxBands - 1> m_cutoffs;
};

double TargetMagnitude(const Skirts& skirts, double fLog) {
    const auto cosine = [fLog](double fStart, double fEnd) {
        return Cos(std::numbers::pi * (fLog - fStart) / (fEnd - fStart));
    };
    // The flat middle first: skirts may touch it, and may have no width.
    if (fLog >= skirts.fLowerEnd && fLog <= skirts.fUpperStart) return 1.0;
    if (fLog >= skirts.fLowerStart && fLog <= skirts.fLowerEnd) {
        return 0.5 - 0.5 * cosine(skirts.fLowerStart, skirts.fLowerEnd);
    }
    if (fLog >= skirts.fUpperStart && fLog <= skirts.fUpperEnd) {
        return 0.5 + 0.5 * cosine(skirts.fUpperStart, skirts.fUpperEnd);
    }
    return 0.0;
}

}  // namespace

DigitalFilters::DigitalFilters(const Design& design, int nBlock) {
    Work work;
    Redesign(design, nBlock, work);
}

void DigitalFilters::Prepare(int nBlock, Work& work) {
    for (std::vector<float>& taps : m_taps)
        taps.resize(kLength);
    work.magnitudes.resize(kBins);
    work.transform.resize(work.fir.WorkLength());
    BuildImpulses(nBlock, m_impulses.size(), work.workshop);
}

void DigitalFilters::Redesign(const Design& design, int nBlock, Work& work) {
    m_nBands = std::clamp(design.nBands, 1, static_cast<int>(kMaxBands));
    if (m_nBands < 2) return;
    std::array<double, kBins> logs;
    logs[0] = kLogOfZero;
    for (std::size_t k = 1; k < kBins; ++k) {
        logs[k] = Log(static_cast<double>(k) * design.fSampleRate / kLength);
    }

    Design limited = design;
    limited.nBands = m_nBands;
    const BandLayout layout(limited);
    work.magnitudes.resize(kBins);
    work.transform.resize(work.fir.WorkLength());
    for (int iBand = 0; iBand < m_nBands; ++iBand) {
        const Skirts skirts = layout.Of(iBand);
        std::transform(logs.begin(), logs.end(), work.magnitudes.begin(),
                       [&skirts](double fLog) { return static_cast<float>(TargetMagnitude(skirts, fLog)); });
        std::vector<float>& taps = m_taps[static_cast<std::size_t>(iBand)];
        taps.resize(kLength);
        work.fir.Design(work.magnitudes.data(), taps.data(), work.transform.data());
    }
    BuildImpulses(nBlock, static_cast<std::size_t>(m_nBands) - 1, work.workshop);
}

void DigitalFilters::Adopt(const DigitalFilters& other, Work& work) {
    m_nBands = other.m_nBands;
    for (std::size_t iBand = 0; m_nBands > 1 && iBand < static_cast<std::size_t>(m_nBands); ++iBand)
        m_taps[iBand] = other.m_taps[iBand];
    BuildImpulses(m_nBlock, static_cast<std::size_t>(m_nBands) - 1, work.workshop);
}

/// The impulses of so many bands from the lowest.
void DigitalFilters::BuildImpulses(int nBlock, std::size_t uCount, PartConvImpulse::Workshop& workshop) {
    if (nBlock != m_nBlock) m_impulses = {};
    m_nBlock = nBlock;
    for (std::size_t iBand = 0; iBand < uCount; ++iBand) {
        const float* const taps = m_taps[iBand].data();
        std::shared_ptr<PartConvImpulse>& impulse = m_impulses[iBand];
        if (impulse) {
            impulse->Retap(&taps, workshop);
        } else {
            impulse = std::make_shared<PartConvImpulse>();
            impulse->Set(&taps, kLength, 1, nBlock, workshop);
        }
    }
}

}  // namespace DSP
