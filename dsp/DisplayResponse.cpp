#include "dsp/DisplayResponse.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "dsp/vector/Decibel.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/Fft.h"

namespace DSP {

namespace {

constexpr float kLowest = 20.0f;
constexpr float kHighest = 20000.0f;

// In single precision, like everything on the axis.
float AxisLog2(float fFrequency) noexcept {
    return GuardedLog(fFrequency) * 1.4426950408889536f;
}

}  // namespace

ResponseCurve ResponseFrequencies() noexcept {
    const float fLow = AxisLog2(kLowest);
    const float fScale = static_cast<float>(kResponsePoints - 1) / (AxisLog2(kHighest) - fLow);
    ResponseCurve frequencies;
    for (std::size_t i = 0; i < kResponsePoints; ++i) {
        frequencies[i] = Pow(2.0f, (static_cast<float>(i) + fScale * fLow) / fScale);
    }
    return frequencies;
}

double InterpolateMagnitude(const float* magnitudes, int nLength, double fBin) noexcept {
    const double fLast = std::max(nLength / 2 - 1, 0);
    const double fLower = std::clamp(std::floor(fBin), 0.0, fLast);
    const auto j = static_cast<std::size_t>(fLower);
    return (fLower + 1.0 - fBin) * double{magnitudes[j]} + (fBin - fLower) * double{magnitudes[j + 1]};
}

void FirResponse(const float* taps, int nTaps, int nMinLength, double fSampleRate,
                 const ResponseCurve& frequencies, ResponseCurve& decibels) {
    int nOrder = RealFft::kMinOrder;
    while ((1 << nOrder) < std::max(nTaps, nMinLength))
        ++nOrder;
    const RealFft fft(nOrder);
    std::vector<float> spectrum(fft.SpectrumLength());
    std::vector<float> work(fft.WorkLength());
    std::copy(taps, taps + nTaps, spectrum.begin());
    fft.Forward(spectrum.data(), spectrum.data(), work.data());

    const std::size_t uBins = fft.Length() / 2 + 1;
    std::vector<float> magnitudes(uBins);
    for (std::size_t k = 0; k < uBins; ++k) {
        const double fReal = double{spectrum[2 * k]};
        const double fImaginary = double{spectrum[2 * k + 1]};
        magnitudes[k] = static_cast<float>(std::sqrt(fReal * fReal + fImaginary * fImaginary));
    }
    const double fBinsPerHz = static_cast<double>(fft.Length()) / fSampleRate;
    for (std::size_t i = 0; i < kResponsePoints; ++i) {
        const double fBin = double{frequencies[i]} * fBinsPerHz;
        decibels[i] = static_cast<float>(
            LinearToDb(InterpolateMagnitude(magnitudes.data(), static_cast<int>(fft.Length()), fBin)));
    }
}

}  // namespace DSP
