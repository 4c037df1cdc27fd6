#include "dsp/PartConvLine.h"

#include <algorithm>
#include <array>
#include <bit>

namespace DSP {

namespace {

// Partitions multiplied in one go: enough to keep the sum in registers for long.
constexpr int kPairs = 8;

}  // namespace

PartConvLine::PartConvLine(const PartConvLevel& level, int iLevel, int nChannels)
    : m_level(level),
      m_iLevel(iLevel),
      m_fft(static_cast<int>(std::bit_width(static_cast<unsigned>(level.nBlock))) - 1),
      m_uStride(PartConvImpulse::SpectrumStride(level.nBlock)),
      m_sum(m_fft.SpectrumLength()),
      m_work(m_fft.WorkLength()) {
    const std::size_t uLength = m_uStride * static_cast<std::size_t>(level.nPartitions);
    for (int c = 0; c < nChannels; ++c)
        m_spectra.emplace_back(uLength);
}

void PartConvLine::Reset() noexcept {
    for (AlignedVector<float>& spectra : m_spectra)
        std::fill(spectra.begin(), spectra.end(), 0.0f);
    m_iNewest = 0;
}

float* PartConvLine::Slot(int iChannel, int iSlot) noexcept {
    return m_spectra[static_cast<std::size_t>(iChannel)].data() + m_uStride * static_cast<std::size_t>(iSlot);
}

void PartConvLine::Advance() noexcept {
    m_iNewest = (m_iNewest == 0 ? m_level.nPartitions : m_iNewest) - 1;
}

void PartConvLine::Transform(int iChannel, const float* block) noexcept {
    m_fft.Forward(block, Slot(iChannel, m_iNewest), m_work.data());
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
        m_fft.MultiplyAdd(spectra.data(), partitions.data(), nPairs, m_sum.data());
        iFrom += nPairs;
    }
}

void PartConvLine::InverseAdd(float* low, float* high) noexcept {
    m_fft.InverseAdd(m_sum.data(), low, high, m_work.data());
}

}  // namespace DSP
