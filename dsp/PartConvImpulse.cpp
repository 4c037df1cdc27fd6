#include "dsp/PartConvImpulse.h"

#include <algorithm>

#include "dsp/vector/Repair.h"

namespace DSP {

PartConvImpulse::PartConvImpulse(const float* const* channels, int nLength, int nChannels, int nBlock) {
    Workshop workshop;
    Set(channels, nLength, nChannels, nBlock, workshop);
}

void PartConvImpulse::Set(const float* const* channels, int nLength, int nChannels, int nBlock,
                          Workshop& workshop) {
    const bool bEmpty = nLength < 1 || nChannels < 1;
    m_nLength = bEmpty ? 1 : nLength;
    m_layout = PartConvLayout::For(nBlock, m_nLength);
    m_channels.resize(bEmpty ? 1 : static_cast<std::size_t>(nChannels));
    for (std::size_t c = 0; c < m_channels.size(); ++c) {
        m_channels[c].taps.assign(static_cast<std::size_t>(m_nLength), 0.0f);
        if (!bEmpty) VectorRepair(channels[c], m_channels[c].taps.data(), m_nLength);
    }
    Transform(workshop);
}

void PartConvImpulse::Reserve(int nMaxLength, int nChannels, int nBlock) {
    const Bounds bounds = BoundsFor(nBlock, nMaxLength);
    m_channels.resize(std::max(m_channels.size(), static_cast<std::size_t>(nChannels)));
    for (Channel& channel : m_channels) {
        channel.taps.reserve(static_cast<std::size_t>(nMaxLength));
        channel.head.reserve(2 * bounds.uGrid);
        for (std::size_t i = 0; i < channel.spectra.size(); ++i)
            channel.spectra[i].reserve(bounds.spectra[i]);
    }
}

PartConvImpulse::Bounds PartConvImpulse::BoundsFor(int nBlock, int nMaxLength) noexcept {
    // Blocks are multiples of the shortest one, so that lengths up to the same multiple have the same layout.
    constexpr int kStep = PartConvLayout::kMinBlock;
    Bounds bounds;
    for (int nLength = kStep; nLength - kStep < nMaxLength; nLength += kStep) {
        const PartConvLayout layout = PartConvLayout::For(nBlock, nLength);
        for (std::size_t i = 0; i < layout.levels.size(); ++i) {
            const PartConvLevel& level = layout.levels[i];
            bounds.spectra[i] = std::max(bounds.spectra[i], SpectrumStride(level.nBlock) *
                                                                static_cast<std::size_t>(level.nPartitions));
        }
        bounds.uGrid = std::max(bounds.uGrid, static_cast<std::size_t>(layout.Grid()));
    }
    return bounds;
}

PartConvImpulse::PartConvImpulse(const PartConvImpulse& other, int nBlock)
    : m_nLength(other.m_nLength), m_layout(PartConvLayout::For(nBlock, other.m_nLength)) {
    for (const Channel& channel : other.m_channels)
        m_channels.push_back({channel.taps, {}, {}});
    Workshop workshop;
    Transform(workshop);
}

void PartConvImpulse::Retap(const float* const* channels, Workshop& workshop) {
    for (std::size_t c = 0; c < m_channels.size(); ++c)
        VectorRepair(channels[c], m_channels[c].taps.data(), m_nLength);
    Transform(workshop);
}

const RightAngleFft& PartConvImpulse::Workshop::Fft(int nBlock) {
    const RightAngleFft& fft = *m_transforms.Of(nBlock);
    m_work.resize(std::max(m_work.size(), fft.WorkLength()));
    m_partition.resize(std::max(m_partition.size(), fft.Length()));
    return fft;
}

void PartConvImpulse::Workshop::Reserve() {
    m_transforms.MakeAll();
    Fft(PartConvLayout::kMaxBlock);
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

void PartConvImpulse::Transform(Workshop& workshop) {
    const auto uGrid = static_cast<std::size_t>(m_layout.Grid());
    const auto uTaps = static_cast<std::size_t>(m_nLength);
    for (Channel& channel : m_channels) {
        channel.head.assign(2 * uGrid, 0.0f);
        std::copy_n(channel.taps.begin(), std::min(uTaps, uGrid), channel.head.begin() + m_layout.Grid());
    }
    for (std::size_t i = 0; i < m_layout.levels.size(); ++i) {
        const PartConvLevel& level = m_layout.levels[i];
        const RightAngleFft& fft = workshop.Fft(level.nBlock);
        float* const partition = workshop.m_partition.data();
        const auto uBlock = static_cast<std::size_t>(level.nBlock);
        const std::size_t uStride = SpectrumStride(level.nBlock);
        for (Channel& channel : m_channels) {
            AlignedVector<float>& spectra = channel.spectra[i];
            spectra.resize(uStride * static_cast<std::size_t>(level.nPartitions));
            auto uFrom = static_cast<std::size_t>(level.nOffset);
            for (std::size_t uAt = 0; uAt < spectra.size(); uAt += uStride, uFrom += uBlock) {
                // The last partition ends with zeros.
                const std::size_t uCount = std::min(uBlock, uTaps - uFrom);
                std::copy_n(channel.taps.data() + uFrom, uCount, partition);
                std::fill(partition + uCount, partition + uBlock, 0.0f);
                fft.Forward(partition, spectra.data() + uAt, workshop.m_work.data());
            }
        }
    }
}

}  // namespace DSP
