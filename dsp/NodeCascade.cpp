#include "dsp/NodeCascade.h"

#include <cmath>

namespace DSP::Equalizer {

namespace {

constexpr double kWire[] = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
constexpr float kDamage = 16777216.0f;  // 2^24, 144 dB above full scale

}  // namespace

NodeCascade::NodeCascade() {
    m_left.fill(IirCascade(kWire, 1));
    m_right.fill(IirCascade(kWire, 1));
}

void NodeCascade::SetTaps(std::uint32_t iNode, const BiquadTaps& taps) noexcept {
    m_left[iNode].SetTaps(taps.data());
    m_right[iNode].SetTaps(taps.data());
}

void NodeCascade::Reset(std::uint32_t iNode) noexcept {
    m_left[iNode].Reset();
    m_right[iNode].Reset();
}

void NodeCascade::Reset() noexcept {
    for (std::uint32_t i = 0; i < kNodes; ++i)
        Reset(i);
}

void NodeCascade::Process(NodeSet nodes, int nFrames, float* left, float* right) noexcept {
    if (nFrames < 1) return;
    std::array<IirLink, kNodes> links;
    int nLinks = 0;
    for (std::uint32_t i = 0; i < kNodes; ++i) {
        if (!nodes[i]) continue;
        IirLink& link = links[static_cast<std::size_t>(nLinks++)];
        link.left = m_left[i].State();
        link.right = m_right[i].State();
    }
    if (nLinks == 0) return;
    VectorIirProcessSeries(left, right, left, right, nFrames, links.data(), nLinks);

    const auto heal = [nFrames](Channel& channel, const float* samples) {
        // Not "at or above": a NaN must fail the comparison as well.
        if (std::abs(samples[nFrames - 1]) < kDamage) return;
        for (IirCascade& cascade : channel)
            cascade.Reset();
    };
    heal(m_left, left);
    if (right) heal(m_right, right);
}

}  // namespace DSP::Equalizer
