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
    const auto& levels = m_layout.levels;
    m_head.SetUp(levels.front(), 0, m_nInputs, m_transforms.Of(levels.front().nBlock));
    for (std::size_t i = 1; i < levels.size(); ++i) {
        m_tails[i - 1].SetUp(levels[i], static_cast<int>(i), m_nInputs, m_layout.Grid(),
                             m_transforms.Of(levels[i].nBlock));
    }

    const auto uChannels = static_cast<std::size_t>(m_nInputs);
    if (m_inputs.size() < uChannels) m_inputs.resize(uChannels);
    if (m_outputs.size() < uChannels) m_outputs.resize(uChannels);
    m_inputPointers.clear();
    m_outputPointers.clear();
    for (std::size_t c = 0; c < uChannels; ++c) {
        m_inputs[c].resize(Ring() / 2);
        m_outputs[c].resize(Ring());
        m_inputPointers.push_back(m_inputs[c].data());
        m_outputPointers.push_back(m_outputs[c].data());
    }
    Reset();
}

void PartConv::Reserve(int nMaxLength, int nChannels) {
    const PartConvImpulse::Bounds bounds = PartConvImpulse::BoundsFor(m_nBlock, nMaxLength);
    const RightAngleFft& longest = m_transforms.MakeAll();
    m_head.Reserve(bounds.spectra[0], longest, nChannels);
    for (std::size_t i = 0; i < m_tails.size(); ++i)
        m_tails[i].Reserve(bounds.spectra[i + 1], longest, nChannels);
    const auto uChannels = std::max(m_inputs.size(), static_cast<std::size_t>(nChannels));
    m_inputs.resize(uChannels);
    m_outputs.resize(uChannels);
    m_inputPointers.reserve(uChannels);
    m_outputPointers.reserve(uChannels);
    for (std::size_t c = 0; c < uChannels; ++c) {
        m_inputs[c].reserve(2 * std::size_t{PartConvLayout::kMaxBlock});
        m_outputs[c].reserve(4 * std::size_t{PartConvLayout::kMaxBlock});
    }
    // Memory may have moved.
    for (std::size_t c = 0; c < m_inputPointers.size(); ++c) {
        m_inputPointers[c] = m_inputs[c].data();
        m_outputPointers[c] = m_outputs[c].data();
    }
}

void PartConv::Reset() {
    m_head.Reset();
    for (PartConvTail& tail : Tails())
        tail.Reset();
    for (std::size_t c = 0; c < m_inputPointers.size(); ++c) {
        std::fill(m_inputs[c].begin(), m_inputs[c].end(), 0.0f);
        std::fill(m_outputs[c].begin(), m_outputs[c].end(), 0.0f);
    }
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
    m_head.Advance();
    for (int c = 0; c < m_nInputs; ++c) {
        const auto uChannel = static_cast<std::size_t>(c);
        m_head.Transform(c, BlockInput(uChannel));
        m_head.ClearSum();
        m_head.Multiply(c, *m_impulse, 0, m_head.Level().nPartitions);
        m_head.InverseAdd(BlockOutput(uChannel), NextBlockOutput(uChannel));
    }
}

// A piece of a block. The older blocks' share is known at the block's beginning; the block's own share
// within itself is computed tap by tap, because its transform must wait for its end.
void PartConv::ConvolvePiece(int nFrames) noexcept {
    if (m_nFilled == 0) {
        m_head.Advance();
        m_bPieces = true;
        for (int c = 0; c < m_nInputs && m_head.Level().nPartitions > 1; ++c) {
            const auto uChannel = static_cast<std::size_t>(c);
            m_head.ClearSum();
            m_head.Multiply(c, *m_impulse, 1, m_head.Level().nPartitions);
            m_head.InverseAdd(BlockOutput(uChannel), NextBlockOutput(uChannel));
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
    for (int c = 0; c < m_nInputs && m_bPieces; ++c) {
        const auto uChannel = static_cast<std::size_t>(c);
        m_head.Transform(c, BlockInput(uChannel));
        m_head.ClearSum();
        m_head.Multiply(c, *m_impulse, 0, 1);
        m_head.InverseAdd(nullptr, NextBlockOutput(uChannel));
    }
    m_bPieces = false;
    m_nFilled = 0;
    m_uPosition = (m_uPosition + static_cast<std::size_t>(m_layout.Grid())) % Ring();
    for (PartConvTail& tail : Tails())
        tail.Run(*m_impulse, m_inputPointers.data(), m_outputPointers.data(), m_uPosition, Ring());
}

}  // namespace DSP
