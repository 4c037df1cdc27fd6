#include "dsp/PartConvTail.h"

#include <algorithm>
#include <utility>

namespace DSP {

namespace {

// Partitions of one step: small enough to spread well, enough to keep the sum of products in registers.
constexpr int kPassPartitions = 4;

}  // namespace

void PartConvTail::SetUp(const PartConvLevel& level, int iLevel, int nChannels, int nGrid,
                         std::shared_ptr<const RightAngleFft> fft) {
    m_nGrid = nGrid;
    m_nChannels = nChannels;
    m_nPasses = (level.nPartitions + kPassPartitions - 1) / kPassPartitions;
    m_nSteps = nChannels * (m_nPasses + 2);
    m_nTransformCost = PartConvLayout::TransformCost(level.nBlock) / 2;
    m_nPassCost = PartConvLayout::ProductCost(level.nBlock) * kPassPartitions;
    m_nTotalCost = nChannels * (2 * m_nTransformCost + m_nPasses * m_nPassCost);
    m_line.SetUp(level, iLevel, nChannels, std::move(fft));
    Reset();
}

void PartConvTail::Reset() noexcept {
    m_line.Reset();
    m_iStep = m_nSteps;
    m_nSpent = 0;
    m_uMoment = 0;
}

void PartConvTail::Run(const PartConvImpulse& impulse, const float* const* inputs, float* const* outputs,
                       std::size_t uPosition, std::size_t uRing) noexcept {
    const std::size_t uGrid = static_cast<std::size_t>(m_nGrid);
    const std::size_t uShares = static_cast<std::size_t>(m_line.Level().nBlock) / uGrid;
    const std::size_t uShare = uPosition / uGrid % uShares;
    if (uShare == 0) {
        m_line.Advance();
        m_iStep = 0;
        m_nSpent = 0;
        m_uMoment = uPosition;
    }
    // The last share's aim is the whole, so the block is always finished in time.
    const std::int64_t nAim =
        m_nTotalCost * static_cast<std::int64_t>(uShare + 1) / static_cast<std::int64_t>(uShares);
    while (m_iStep < m_nSteps && m_nSpent < nAim)
        Step(impulse, inputs, outputs, uRing);
}

void PartConvTail::Step(const PartConvImpulse& impulse, const float* const* inputs, float* const* outputs,
                        std::size_t uRing) noexcept {
    const auto uBlock = static_cast<std::size_t>(m_line.Level().nBlock);
    const int iStep = m_iStep++;
    if (iStep < m_nChannels) {
        const std::size_t uFrom = (m_uMoment + uRing - uBlock) % (uRing / 2);
        m_line.Transform(iStep, inputs[iStep] + uFrom);
        m_nSpent += m_nTransformCost;
        return;
    }
    const int iChannel = (iStep - m_nChannels) / (m_nPasses + 1);
    const int iPass = (iStep - m_nChannels) % (m_nPasses + 1);
    if (iPass == 0) m_line.ClearSum();
    if (iPass < m_nPasses) {
        const int iFrom = iPass * kPassPartitions;
        m_line.Multiply(iChannel, impulse, iFrom,
                        std::min(iFrom + kPassPartitions, m_line.Level().nPartitions));
        m_nSpent += m_nPassCost;
        return;
    }
    // The level begins two blocks into the impulse: output is due one block after its input is complete.
    float* output = outputs[iChannel];
    m_line.InverseAdd(output + (m_uMoment + uBlock) % uRing, output + (m_uMoment + 2 * uBlock) % uRing);
    m_nSpent += m_nTransformCost;
}

}  // namespace DSP
