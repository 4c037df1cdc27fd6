#include "dsp/PartConvImpulse.h"

#include <algorithm>
#include <bit>

#include "dsp/vector/Repair.h"
#include "dsp/vector/RightAngleFft.h"

namespace DSP {

PartConvImpulse::PartConvImpulse(const float* const* channels, int nLength, int nChannels, int nBlock) {
    const bool bEmpty = nLength < 1 || nChannels < 1;
    m_nLength = bEmpty ? 1 : nLength;
    m_layout = PartConvLayout::For(nBlock, m_nLength);
    m_channels.resize(bEmpty ? 1 : static_cast<std::size_t>(nChannels));
    for (std::size_t c = 0; c < m_channels.size(); ++c) {
        m_channels[c].taps.assign(static_cast<std::size_t>(m_nLength), 0.0f);
        if (!bEmpty) VectorRepair(channels[c], m_channels[c].taps.data(), m_nLength);
    }
    Transform();
}

PartConvImpulse::PartConvImpulse(const PartConvImpulse& other, int nBlock)
    : m_nLength(other.m_nLength), m_layout(PartConvLayout::For(nBlock, other.m_nLength)) {
    for (const Channel& channel : other.m_channels)
        m_channels.push_back({channel.taps, {}, {}});
    Transform();
}

const PartConvImpulse::Channel& PartConvImpulse::At(int iChannel) const noexcept {
    return m_channels[std::min(static_cast<std::size_t>(iChannel), m_channels.size() - 1)];
}

const float* PartConvImpulse::Spectrum(int iChannel, int iLevel, int iPartition) const noexcept {
    const auto uLevel = static_cast<std::size_t>(iLevel);
    return At(iChannel).spectra[uLevel].data() +
           SpectrumStride(m_layout.levels[uLevel].nBlock) * static_cast<std::size_t>(iPartition);
}

const float* PartConvImpulse::Head(int iChannel) const noexcept {
    return At(iChannel).head.data() + m_layout.Grid();
}

void PartConvImpulse::Transform() {
    const auto uGrid = static_cast<std::size_t>(m_layout.Grid());
    const auto uTaps = static_cast<std::size_t>(m_nLength);
    for (Channel& channel : m_channels) {
        channel.head.assign(2 * uGrid, 0.0f);
        std::copy_n(channel.taps.begin(), std::min(uTaps, uGrid), channel.head.begin() + m_layout.Grid());
    }
    for (const PartConvLevel& level : m_layout.levels) {
        const auto uBlock = static_cast<std::size_t>(level.nBlock);
        const RightAngleFft fft(static_cast<int>(std::bit_width(static_cast<unsigned>(level.nBlock))) - 1);
        const std::size_t uStride = SpectrumStride(level.nBlock);
        AlignedVector<float> work(fft.WorkLength());
        AlignedVector<float> partition(uBlock);
        for (Channel& channel : m_channels) {
            AlignedVector<float>& spectra =
                channel.spectra.emplace_back(uStride * static_cast<std::size_t>(level.nPartitions));
            auto uFrom = static_cast<std::size_t>(level.nOffset);
            for (std::size_t uAt = 0; uAt < spectra.size(); uAt += uStride, uFrom += uBlock) {
                // The last partition ends with zeros.
                const std::size_t uCount = std::min(uBlock, uTaps - uFrom);
                std::copy_n(channel.taps.data() + uFrom, uCount, partition.data());
                std::fill(partition.data() + uCount, partition.data() + uBlock, 0.0f);
                fft.Forward(partition.data(), spectra.data() + uAt, work.data());
            }
        }
    }
}

}  // namespace DSP
