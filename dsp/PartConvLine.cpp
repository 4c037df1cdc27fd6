#include "dsp/PartConvLine.h"

#include <algorithm>
#include <array>
#include <utility>

namespace DSP {

namespace {

// Partitions multiplied in one go: enough to keep the sum in registers for long.
constexpr int kPairs = 8;

}  // namespace

void PartConvLine::SetUp(const PartConvLevel& level, int iLevel, int nChannels,
                         std::shared_ptr<const RightAngleFft> fft) {
    m_level = level;
    m_iLevel = iLevel;
    m_uChannels = static_cast<std::size_t>(nChannels);
    m_fft = std::move(fft);
    m_uStride = PartConvImpulse::SpectrumStride(level.nBlock);
    m_sum.resize(m_fft->SpectrumLength());
    m_work.resize(m_fft->WorkLength());
    // Memory of channels that are not in use stays.
    if (m_spectra.size() < m_uChannels) m_spectra.resize(m_uChannels);
    for (std::size_t c = 0; c < m_uChannels; ++c)
        m_spectra[c].resize(m_uStride * static_cast<std::size_t>(level.nPartitions));
    Reset();
}

void PartConvLine::Reserve(std::size_t uSpectra, const RightAngleFft& longest, int nChannels) {
    m_sum.reserve(longest.SpectrumLength());
    m_work.reserve(longest.WorkLength());
    const auto uChannels = static_cast<std::size_t>(nChannels);
    if (m_spectra.size() < uChannels) m_spectra.resize(uChannels);
    for (AlignedVector<float>& spectra : m_spectra)
        spectra.reserve(uSpectra);
}

void PartConvLine::Reset() noexcept {
    for (std::size_t c = 0; c < m_uChannels; ++c)
        std::fill(m_spectra[c].begin(), m_spectra[c].end(), 0.0f);
    m_iNewest = 0;
}

float* PartConvLine::Slot(int iChannel, int iSlot) noexcept {
    return m_spectra[static_cast<std::size_t>(iChannel)].data() + m_uStride * static_cast<std::size_t>(iSlot);
}

void PartConvLine::Advance() noexcept {
    m_iNewest = (m_iNewest == 0 ? m_level.nPartitions : m_iNewest) - 1;
}

void PartConvLine::Transform(int iChannel, const float* block) noexcept {
    m_fft->Forward(block, Slot(iChannel, m_iNewest), m_work.data());
}

void PartConvLine::ClearSum() noexcept {
    std::fill(m_sum.begin(), m_sum.end(), 0.0f);
}

void PartConvLine::Multiply(int iChannel, const PartConvImpulse& impulse, int iFrom, int iTo) noexcept {
    std::array<const float*, kPairs> spectra{};
    std::array<const float*, kPairs> partitions{};
    while (iFrom < iTo) {
        const int nPairs = std::min(kPairs, iTo - iFrom);
        for (int i = 0; i < nPairs; ++i) {
            const int iSlot = m_iNewest + iFrom + i;
            const auto uPair = static_cast<std::size_t>(i);
            spectra[uPair] =
                Slot(iChannel, iSlot < m_level.nPartitions ? iSlot : iSlot - m_level.nPartitions);
            partitions[uPair] = impulse.Spectrum(iChannel, m_iLevel, iFrom + i);
        }
        m_fft->MultiplyAdd(spectra.data(), partitions.data(), nPairs, m_sum.data());
        iFrom += nPairs;
    }
}

void PartConvLine::InverseAdd(float* low, float* high) noexcept {
    m_fft->InverseAdd(m_sum.data(), low, high, m_work.data());
}

}  // namespace DSP
