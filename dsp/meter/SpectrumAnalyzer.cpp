#include "dsp/meter/SpectrumAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dsp/meter/Measurable.h"
#include "dsp/vector/Elementary.h"
#include "dsp/vector/Elementwise.h"
#include "dsp/vector/Window.h"

namespace DSP::Meter {

namespace {

constexpr int kSmallestOrder = 9;
constexpr std::int32_t kLargestIndex = 4;
constexpr std::int32_t kRealTime = 0;
constexpr std::int32_t kInfinite = 5;
constexpr double kAverageSeconds[] = {0, 1, 3, 5, 10, 0};
constexpr double kDecayDbPerSecond = 120.0;
constexpr float kBlackmanAlpha = -0.16f;
constexpr float kKaiserAlpha = 0.006f;

// Keeps silence from reaching the transform as zeros or denormals.
constexpr float kGuard = 1e-10f;

int Order(const SpectrumSettings& settings) {
    return kSmallestOrder + (settings.type == SpectrumType::Linear ? settings.nWindowSize : kLargestIndex);
}

AlignedVector<float> MakeWindow(std::int32_t nType, std::size_t uLength) {
    AlignedVector<float> window(uLength, 1.0f);
    const auto nLength = static_cast<std::int32_t>(uLength);
    switch (nType) {
        case 0:
            VectorWinHamming(window.data(), nLength);
            break;
        case 1:
            VectorWinBlackman(window.data(), nLength, kBlackmanAlpha);
            break;
        case 2:
            VectorWinBartlett(window.data(), nLength);
            break;
        case 3:
            VectorWinKaiser(window.data(), nLength, kKaiserAlpha);
            break;
        default:
            VectorWinHann(window.data(), nLength);
            break;
    }
    return window;
}

/// Frames that begin within the time of a moving average.
std::uint32_t AverageRows(const SpectrumSettings& settings, std::uint32_t uLength) {
    if (settings.nAverage == kRealTime || settings.nAverage == kInfinite) return 0;
    const double fHop = std::floor(uLength * (1.0 - 0.1 * settings.nOverlap));
    const double fSamples = settings.uSampleRate * kAverageSeconds[settings.nAverage];
    return std::max(static_cast<std::uint32_t>(std::ceil(fSamples / fHop)), 1u);
}

std::vector<float> BinFrequencies(std::uint32_t uSampleRate, std::uint32_t uLength) {
    std::vector<float> frequencies(uLength / 2 + 1);
    for (std::size_t k = 0; k < frequencies.size(); ++k)
        frequencies[k] = static_cast<float>(static_cast<double>(k) * uSampleRate / uLength);
    return frequencies;
}

std::vector<float> BandFrequencies(const std::vector<float>& edges) {
    std::vector<float> frequencies = edges;
    for (std::size_t b = 0; b + 1 < edges.size(); ++b)
        frequencies[b] = (edges[b] + edges[b + 1]) * 0.5f;
    return frequencies;
}

}  // namespace

SpectrumAnalyzer::SpectrumAnalyzer(const SpectrumSettings& settings)
    : m_settings(settings),
      m_fft(Order(settings)),
      m_spectrum(m_fft.SpectrumLength()),
      m_work(m_fft.WorkLength()) {
    m_uLength = static_cast<std::uint32_t>(m_fft.Length());
    m_uOverlap = static_cast<std::uint32_t>(m_uLength * (0.1 * settings.nOverlap));
    m_uRows = AverageRows(settings, m_uLength);
    const double fHopSeconds =
        static_cast<double>(m_uLength - m_uOverlap) / std::max(settings.uSampleRate, 1u);
    m_fDecay = static_cast<float>(Pow(10.0, -0.05 * kDecayDbPerSecond * fHopSeconds));
    m_window = MakeWindow(settings.nWindowType, m_uLength);
    if (IsLinear()) {
        m_frequencies = BinFrequencies(settings.uSampleRate, m_uLength);
    } else {
        const std::vector<float> edges = SpectrumBandEdges(settings.type);
        m_bands = LayOutBands(edges, settings.uSampleRate, static_cast<std::int32_t>(m_uLength));
        m_frequencies = BandFrequencies(edges);
    }
    m_frame.resize(m_uLength);
    m_values.resize(m_frequencies.size());
    m_measured.resize(m_frequencies.size());
    m_sums.resize(m_frequencies.size());
    m_history.resize(m_uRows * m_frequencies.size());
}

void SpectrumAnalyzer::ContinueFrom(const SpectrumAnalyzer& other) noexcept {
    m_uGuardPhase = other.m_uGuardPhase;
    m_bDecayPending = other.m_bDecayPending;
}

void SpectrumAnalyzer::Reset() noexcept {
    std::fill(m_frame.begin(), m_frame.end(), 0.0f);
    m_uFill = 0;
    std::fill(m_values.begin(), m_values.end(), 0.0f);
    std::fill(m_history.begin(), m_history.end(), 0.0f);
    RestartAverage();
    m_bNewData = true;
    m_bDecayPending = false;
    m_uGuardPhase = 0;
}

void SpectrumAnalyzer::RestartAverage() noexcept {
    std::fill(m_sums.begin(), m_sums.end(), 0.0);
    m_uRow = 0;
    m_fAveraged = 0.0;
}

std::uint32_t SpectrumAnalyzer::Take(float* values) noexcept {
    if (!m_bNewData) return 0;
    m_bNewData = false;
    m_bDecayPending = true;
    std::copy(m_values.begin(), m_values.end(), values);
    return static_cast<std::uint32_t>(m_values.size());
}

void SpectrumAnalyzer::Feed(std::uint32_t uFrames, const float* left, const float* right) noexcept {
    while (uFrames != 0) {
        const std::uint32_t uCount = std::min(uFrames, m_uLength - m_uFill);
        const auto nCount = static_cast<std::int32_t>(uCount);
        float* const to = m_frame.data() + m_uFill;
        VectorCopy(left, to, nCount);
        if (right) {
            VectorAdd(right, to, nCount);
            VectorScale(0.5f, to, nCount);
            right += uCount;
        }
        // Minus while the phase's top bit is clear, the reverse of the chain's guard.
        m_uGuardPhase = VectorGuard(to, nCount, -kGuard, m_uGuardPhase);
        left += uCount;
        uFrames -= uCount;
        m_uFill += uCount;
        if (m_uFill == m_uLength) Analyse();
    }
}

void SpectrumAnalyzer::Analyse() noexcept {
    if (m_bDecayPending && m_settings.nAverage == kRealTime)
        VectorScale(m_fDecay, m_values.data(), static_cast<std::int32_t>(m_values.size()));
    m_bDecayPending = false;

    for (std::uint32_t i = 0; i < m_uLength; ++i)
        m_spectrum[i] = Measurable(m_frame[i]) * m_window[i];
    m_fft.Forward(m_spectrum.data(), m_spectrum.data(), m_work.data());
    if (IsLinear()) {
        MeasureBins();
    } else {
        MeasureBands();
    }
    UpdateValues();
    m_bNewData = true;

    VectorMove(m_frame.data() + m_uLength - m_uOverlap, m_frame.data(),
               static_cast<std::int32_t>(m_uOverlap));
    m_uFill = m_uOverlap;
}

void SpectrumAnalyzer::MeasureBins() noexcept {
    const float fScale = 2.0f / static_cast<float>(m_uLength);
    for (std::size_t k = 0; k < m_measured.size(); ++k) {
        const float fReal = m_spectrum[2 * k];
        const float fImaginary = m_spectrum[2 * k + 1];
        m_measured[k] = std::sqrt(fReal * fReal + fImaginary * fImaginary) * fScale;
    }
}

void SpectrumAnalyzer::MeasureBands() noexcept {
    const auto nLast = static_cast<std::int32_t>(m_uLength / 2);
    const double fScale = 4.0 / (static_cast<double>(m_uLength) * m_uLength);
    const auto power = [&](std::int32_t nBin) {
        const double fReal = m_spectrum[2 * static_cast<std::size_t>(nBin)];
        const double fImaginary = m_spectrum[2 * static_cast<std::size_t>(nBin) + 1];
        // The last bin and the one of frequency 0 have no mirror image to share their magnitude with.
        return nBin == 0 || nBin == nLast ? 0.25 * fReal * fReal : fReal * fReal + fImaginary * fImaginary;
    };
    for (std::size_t b = 0; b < m_bands.size(); ++b) {
        const SpectrumBins bins = m_bands[b];
        double fSum = 0.0;
        for (std::int32_t k = bins.nFirst; k < bins.nEnd; ++k)
            fSum += power(k);
        const double fMean = bins.nFirst < bins.nEnd ? fSum / (bins.nEnd - bins.nFirst) : 0.0;
        m_measured[b] = static_cast<float>(std::sqrt(fMean * fScale));
    }
}

/// Takes the frame's values into those that are shown.
void SpectrumAnalyzer::UpdateValues() noexcept {
    const std::size_t uValues = m_values.size();
    switch (m_settings.nAverage) {
        case kRealTime:
            for (std::size_t k = 0; k < uValues; ++k)
                m_values[k] = std::max(m_values[k], m_measured[k]);
            break;
        case kInfinite:
            m_fAveraged += 1.0;
            for (std::size_t k = 0; k < uValues; ++k) {
                m_sums[k] += m_measured[k];
                m_values[k] = static_cast<float>(m_sums[k] / m_fAveraged);
            }
            break;
        default:
            UpdateMovingAverage();
            break;
    }
}

void SpectrumAnalyzer::UpdateMovingAverage() noexcept {
    const std::size_t uValues = m_values.size();
    float* const row = m_history.data() + m_uRow * uValues;
    if (m_fAveraged >= m_uRows) {
        // The oldest frame makes room for this one.
        for (std::size_t k = 0; k < uValues; ++k)
            m_sums[k] -= row[k];
    } else {
        m_fAveraged += 1.0;
    }
    for (std::size_t k = 0; k < uValues; ++k) {
        m_sums[k] += m_measured[k];
        row[k] = m_measured[k];
        m_values[k] = static_cast<float>(m_sums[k] / m_fAveraged);
    }
    m_uRow = m_uRow + 1 == m_uRows ? 0 : m_uRow + 1;
}

}  // namespace DSP::Meter
