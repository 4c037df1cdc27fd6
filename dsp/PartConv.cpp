#include "dsp/PartConv.h"

#include <algorithm>
#include <utility>

#include "dsp/vector/FirScatter.h"
#include "dsp/vector/Repair.h"

namespace DSP {

namespace {

std::shared_ptr<const PartConvImpulse> Wire(int nBlock) {
    const float fOne = 1.0f;
    const float* channel = &fOne;
    return std::make_shared<const PartConvImpulse>(&channel, 1, 1, nBlock);
}

}  // namespace

PartConv::PartConv() : m_impulse(Wire(m_nBlock)) {
    Build();
}

PartConv::~PartConv() = default;

void PartConv::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    nInputs = std::max(nInputs, 0);
    nMaxFrames = std::max(nMaxFrames, 0);
    if (nInputs == m_nInputs && nMaxFrames == m_nBlock) {
        m_nOutputs = std::max(nOutputs, 0);
        return;
    }
    if (nMaxFrames != m_nBlock) m_impulse = std::make_shared<const PartConvImpulse>(*m_impulse, nMaxFrames);
    AudioProcessor::Configure(nInputs, nOutputs, nMaxFrames);
    m_nBlock = m_nMaxFrames;
    Build();
}

void PartConv::SetImpulse(const float* const* channels, int nLength, int nChannels) {
    Swap(std::make_shared<const PartConvImpulse>(channels, nLength, nChannels, m_nBlock));
}

std::shared_ptr<const PartConvImpulse> PartConv::Swap(std::shared_ptr<const PartConvImpulse> impulse) {
    if (impulse == nullptr) return impulse;
    std::swap(m_impulse, impulse);
    if (!Fits(*m_impulse)) Build();
    return impulse;
}

bool PartConv::Fits(const PartConvImpulse& impulse) const noexcept {
    return impulse.Layout() == m_layout;
}

void PartConv::Grow(int nMaxFrames) {
    m_nMaxFrames = std::max(nMaxFrames, m_nMaxFrames);
}

// Builds the state for the impulse's layout.
void PartConv::Build() {
    m_layout = m_impulse->Layout();
    m_head.clear();
    m_tails.clear();
    m_head.emplace_back(m_layout.levels.front(), 0, m_nInputs);
    for (int i = 1; i < static_cast<int>(m_layout.levels.size()); ++i)
        m_tails.emplace_back(m_layout.levels[static_cast<std::size_t>(i)], i, m_nInputs, m_layout.Grid());

    const auto uChannels = static_cast<std::size_t>(m_nInputs);
    m_inputs.assign(uChannels, AlignedVector<float>(Ring() / 2));
    m_outputs.assign(uChannels, AlignedVector<float>(Ring()));
    m_inputPointers.clear();
    m_outputPointers.clear();
    for (std::size_t c = 0; c < uChannels; ++c) {
        m_inputPointers.push_back(m_inputs[c].data());
        m_outputPointers.push_back(m_outputs[c].data());
    }
    Reset();
}

void PartConv::Reset() {
    for (PartConvLine& head : m_head)
        head.Reset();
    for (PartConvTail& tail : m_tails)
        tail.Reset();
    for (AlignedVector<float>& ring : m_inputs)
        std::fill(ring.begin(), ring.end(), 0.0f);
    for (AlignedVector<float>& ring : m_outputs)
        std::fill(ring.begin(), ring.end(), 0.0f);
    m_uPosition = 0;
    m_nFilled = 0;
    m_bPieces = false;
}

float* PartConv::BlockInput(std::size_t uChannel) const noexcept {
    return const_cast<float*>(m_inputPointers[uChannel]) + m_uPosition % (Ring() / 2);
}

float* PartConv::BlockOutput(std::size_t uChannel) const noexcept {
    return m_outputPointers[uChannel] + m_uPosition;
}

float* PartConv::NextBlockOutput(std::size_t uChannel) const noexcept {
    return m_outputPointers[uChannel] + (m_uPosition + static_cast<std::size_t>(m_layout.Grid())) % Ring();
}

void PartConv::Process(float* const* inputs, int nFrames, float* const* outputs) {
    AudioProcessor::Process(inputs, nFrames, outputs);
    if (outputs == nullptr) outputs = inputs;
    const auto uChannels = static_cast<std::size_t>(m_nInputs);
    const auto uOutputs = static_cast<std::size_t>(std::min(m_nInputs, m_nOutputs));
    for (int nDone = 0; nDone < nFrames;) {
        const int nPiece = std::min(nFrames - nDone, m_layout.Grid() - m_nFilled);
        for (std::size_t c = 0; c < uChannels; ++c)
            VectorRepair(inputs[c] + nDone, BlockInput(c) + m_nFilled, nPiece);
        if (nPiece == m_layout.Grid()) {
            ConvolveBlock();
        } else {
            ConvolvePiece(nPiece);
        }
        for (std::size_t c = 0; c < uChannels; ++c) {
            // The place in the ring is taken again, from nothing.
            float* output = BlockOutput(c) + m_nFilled;
            if (c < uOutputs) std::copy_n(output, nPiece, outputs[c] + nDone);
            std::fill_n(output, nPiece, 0.0f);
        }
        nDone += nPiece;
        m_nFilled += nPiece;
        if (m_nFilled == m_layout.Grid()) FinishBlock();
    }
}

// A whole block of the grid: all partitions of the head at once.
void PartConv::ConvolveBlock() noexcept {
    PartConvLine& head = m_head.front();
    head.Advance();
    for (int c = 0; c < m_nInputs; ++c) {
        const auto uChannel = static_cast<std::size_t>(c);
        head.Transform(c, BlockInput(uChannel));
        head.ClearSum();
        head.Multiply(c, *m_impulse, 0, head.Level().nPartitions);
        head.InverseAdd(BlockOutput(uChannel), NextBlockOutput(uChannel));
    }
}

// A piece of a block. The older blocks' share is known at the block's beginning; the block's own share
// within itself is computed tap by tap, because its transform must wait for its end.
void PartConv::ConvolvePiece(int nFrames) noexcept {
    PartConvLine& head = m_head.front();
    if (m_nFilled == 0) {
        head.Advance();
        m_bPieces = true;
        for (int c = 0; c < m_nInputs && head.Level().nPartitions > 1; ++c) {
            const auto uChannel = static_cast<std::size_t>(c);
            head.ClearSum();
            head.Multiply(c, *m_impulse, 1, head.Level().nPartitions);
            head.InverseAdd(BlockOutput(uChannel), NextBlockOutput(uChannel));
        }
    }
    for (int c = 0; c < m_nInputs; ++c) {
        const auto uChannel = static_cast<std::size_t>(c);
        VectorFirScatter(BlockInput(uChannel) + m_nFilled, nFrames, m_impulse->Head(c),
                         BlockOutput(uChannel) + m_nFilled, m_layout.Grid() - m_nFilled);
    }
}

// The block is complete: what a block in pieces still owes its successor, and the tails' share.
void PartConv::FinishBlock() noexcept {
    PartConvLine& head = m_head.front();
    for (int c = 0; c < m_nInputs && m_bPieces; ++c) {
        const auto uChannel = static_cast<std::size_t>(c);
        head.Transform(c, BlockInput(uChannel));
        head.ClearSum();
        head.Multiply(c, *m_impulse, 0, 1);
        head.InverseAdd(nullptr, NextBlockOutput(uChannel));
    }
    m_bPieces = false;
    m_nFilled = 0;
    m_uPosition = (m_uPosition + static_cast<std::size_t>(m_layout.Grid())) % Ring();
    for (PartConvTail& tail : m_tails)
        tail.Run(*m_impulse, m_inputPointers.data(), m_outputPointers.data(), m_uPosition, Ring());
}

}  // namespace DSP
