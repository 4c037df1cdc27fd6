#include <algorithm>
#include <mutex>
#include <numbers>
#include <vector>

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
    // Copied, since filters get another design once they are no longer in force; room for them is taken
    // before the lock, which the audio waits for.
    std::vector<float> taps(DigitalFilters::kLength);
    bool bDigital;
    bool bHasTaps = false;
    double fSampleRate;
    {
        const std::lock_guard lock(m_lock);
        fSampleRate = m_uSampleRate;
        band = m_analog.Current().GetBand(iBand);
        bDigital = m_bDigital;
        const DigitalFilters& filters = *m_digital->inForce;
        bHasTaps = bDigital && filters.Bands() > 1 && iBand < static_cast<std::uint32_t>(filters.Bands());
        if (bHasTaps) std::copy_n(filters.Taps(iBand).begin(), taps.size(), taps.begin());
    }
    const bool bLowest = iBand == 0;
    if (BandCount() == 1) {
        decibels.fill(0.0f);
    } else if (bHasTaps) {
        FirResponse(taps.data(), DigitalFilters::kLength, DigitalFilters::kLength, fSampleRate, m_frequencies,
                    decibels);
    } else if (bDigital || !band.filterA) {
        decibels.fill(bLowest ? 0.0f : static_cast<float>(kSilenceDb));
    } else {
        for (std::size_t i = 0; i < kResponsePoints; ++i) {
            const double fOmega = 2.0 * std::numbers::pi * double{m_frequencies[i]} / fSampleRate;
            decibels[i] = static_cast<float>(LinearToDb(AnalogMagnitude(band, fOmega)));
        }
    }
}

}  // namespace DSP
