#include "resources/impulse/Signal.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/vector/Elementary.h"
#include "dsp/vector/Fft.h"

namespace Impulse {

namespace {

constexpr double kPi = std::numbers::pi;

// A real FFT over vectors of double; the transform itself is single.
class Transform {
public:
    explicit Transform(int nOrder) : m_fft(nOrder), m_work(m_fft.WorkLength()) {}
    std::size_t Length() const { return m_fft.Length(); }

    std::vector<float> Forward(const Signal& signal) {
        std::vector<float> spectrum(m_fft.SpectrumLength());
        for (std::size_t i = 0; i < std::min(signal.size(), Length()); ++i)
            spectrum[i] = static_cast<float>(signal[i]);
        m_fft.Forward(spectrum.data(), spectrum.data(), m_work.data());
        return spectrum;
    }
    Signal Inverse(std::vector<float> spectrum) {
        m_fft.Inverse(spectrum.data(), spectrum.data(), m_work.data());
        return {spectrum.begin(), spectrum.begin() + static_cast<std::ptrdiff_t>(Length())};
    }

private:
    DSP::RealFft m_fft;
    std::vector<float> m_work;
};

}  // namespace

Random::Random(std::uint64_t uSeed) : m_uState(uSeed * 0x9e3779b97f4a7c15u + 1) {
    for (int i = 0; i < 16; ++i)
        Uniform();
}

double Random::Uniform() {
    m_uState ^= m_uState << 13;
    m_uState ^= m_uState >> 7;
    m_uState ^= m_uState << 17;
    return static_cast<double>(m_uState >> 11) * 0x1p-53;
}

double Random::Normal() {
    const double fRadius = std::sqrt(-2.0 * DSP::Log(1.0 - Uniform()));
    return fRadius * DSP::Cos(2.0 * kPi * Uniform());
}

double BandShare(std::size_t uBand, double fHz) {
    const double fOctaves = DSP::Log2(std::max(fHz, 1.0) / kBandHz[uBand]);
    if (uBand == 0 && fOctaves < 0.0) return 1.0;
    if (uBand == kBands - 1 && fOctaves > 0.0) return 1.0;
    if (std::abs(fOctaves) >= 1.0) return 0.0;
    const double fCosine = DSP::Cos(0.5 * kPi * fOctaves);
    return fCosine * fCosine;
}

Signal MinimumPhase(const BandValues& amplitudes) {
    Transform transform(10);
    const std::size_t uLength = transform.Length();
    std::vector<float> logMagnitude(uLength + 2);
    for (std::size_t k = 0; k <= uLength / 2; ++k) {
        const double fHz = static_cast<double>(k) * kRate / static_cast<double>(uLength);
        double fLog = 0.0;
        for (std::size_t b = 0; b < kBands; ++b)
            fLog += BandShare(b, fHz) * DSP::Log(amplitudes[b]);
        logMagnitude[2 * k] = static_cast<float>(fLog);
    }
    Signal cepstrum = transform.Inverse(logMagnitude);
    for (std::size_t n = 1; n < uLength / 2; ++n)
        cepstrum[n] *= 2.0;
    std::fill(cepstrum.begin() + static_cast<std::ptrdiff_t>(uLength / 2 + 1), cepstrum.end(), 0.0);

    std::vector<float> spectrum = transform.Forward(cepstrum);
    for (std::size_t k = 0; k <= uLength / 2; ++k) {
        const double fMagnitude = DSP::Exp(double{spectrum[2 * k]});
        const double fAngle = double{spectrum[2 * k + 1]};
        spectrum[2 * k] = static_cast<float>(fMagnitude * DSP::Cos(fAngle));
        spectrum[2 * k + 1] = static_cast<float>(fMagnitude * DSP::Sin(fAngle));
    }
    Signal filter = transform.Inverse(std::move(spectrum));
    filter.resize(kShortFilter);
    // The response has all but died away there; the fade takes the rest without a step.
    for (std::size_t n = kShortFilter / 2; n < kShortFilter; ++n)
        filter[n] *= 1.0 - FadeIn(static_cast<double>(n), kShortFilter / 2.0, kShortFilter);
    return filter;
}

std::array<Signal, kBands> SplitBands(const Signal& signal) {
    int nOrder = 1;
    while ((std::size_t{1} << nOrder) < signal.size())
        ++nOrder;
    Transform transform(nOrder);
    const std::vector<float> spectrum = transform.Forward(signal);
    std::array<Signal, kBands> bands;
    for (std::size_t b = 0; b < kBands; ++b) {
        std::vector<float> share = spectrum;
        for (std::size_t k = 0; k <= transform.Length() / 2; ++k) {
            const double fHz = static_cast<double>(k) * kRate / static_cast<double>(transform.Length());
            const auto fShare = static_cast<float>(BandShare(b, fHz));
            share[2 * k] *= fShare;
            share[2 * k + 1] *= fShare;
        }
        bands[b] = transform.Inverse(std::move(share));
        bands[b].resize(signal.size());
    }
    return bands;
}

void HighPass(Signal& signal, double fHz) {
    // By the bilinear transform, prewarped at the corner.
    const double t = DSP::Tan(kPi * fHz / kRate);
    const double a0 = 1.0 + std::sqrt(2.0) * t + t * t;
    const double a1 = 2.0 * (t * t - 1.0), a2 = 1.0 - std::sqrt(2.0) * t + t * t;
    double s1 = 0.0, s2 = 0.0;
    for (double& fSample : signal) {
        const double x = fSample / a0;
        fSample = x + s1;
        s1 = -2.0 * x + s2 - a1 / a0 * fSample;
        s2 = x - a2 / a0 * fSample;
    }
}

double FadeIn(double fTime, double fFrom, double fTo) {
    const double fSine = DSP::Sin(0.5 * kPi * std::clamp((fTime - fFrom) / (fTo - fFrom), 0.0, 1.0));
    return fSine * fSine;
}

}  // namespace Impulse
