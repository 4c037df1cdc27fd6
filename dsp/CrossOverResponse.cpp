#include <mutex>
#include <numbers>

#include "dsp/CrossOver.h"
#include "dsp/vector/Decibel.h"

namespace DSP {

namespace {

double AnalogMagnitude(const CoefficientSet::Band& band, double fOmega) {
    double fMagnitude = band.filterA->Magnitude(fOmega);
    if (band.filterB) fMagnitude *= band.filterB->Magnitude(fOmega);
    return fMagnitude * double{band.fDisplayGain};
}

}  // namespace

void CrossOver::ComputeBandResponse(std::uint32_t iBand, ResponseCurve& decibels) {
    CoefficientSet::Band band;
    std::shared_ptr<const DigitalFilters> filters;
    double fSampleRate;
    {
        const std::lock_guard lock(m_lock);
        fSampleRate = m_uSampleRate;
        band = m_analog.Current().GetBand(iBand);
        if (m_bDigital) filters = m_digital->Filters();
    }
    const bool bLowest = iBand == 0;
    if (BandCount() == 1) {
        decibels.fill(0.0f);
    } else if (filters && iBand < static_cast<std::uint32_t>(filters->Bands()) && filters->Bands() > 1) {
        FirResponse(filters->Taps(iBand).data(), DigitalFilters::kLength, DigitalFilters::kLength,
                    fSampleRate, m_frequencies, decibels);
    } else if (filters || !band.filterA) {
        decibels.fill(bLowest ? 0.0f : static_cast<float>(kSilenceDb));
    } else {
        for (std::size_t i = 0; i < kResponsePoints; ++i) {
            const double fOmega = 2.0 * std::numbers::pi * double{m_frequencies[i]} / fSampleRate;
            decibels[i] = static_cast<float>(LinearToDb(AnalogMagnitude(band, fOmega)));
        }
    }
    // A design may be made in their place as soon as nobody knows them: see MakeFilters.
    const std::lock_guard lock(m_lock);
    filters.reset();
}

}  // namespace DSP
