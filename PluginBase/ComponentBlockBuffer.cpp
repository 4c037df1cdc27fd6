#include "PluginBase/ComponentBlockBuffer.h"

#include <algorithm>

#include "dsp/vector/Elementwise.h"

void ComponentBlockBuffer::SetBlockSize(std::int32_t nBlockSize, std::uint32_t uInputs,
                                        std::uint32_t uOutputs) {
    const auto uBlockSize = static_cast<std::uint32_t>(std::max(nBlockSize, 0));
    if (uBlockSize == m_uBlockSize && uInputs == m_inputs.size() && uOutputs == m_outputs.size()) return;

    m_uBlockSize = uBlockSize;
    m_inputs.resize(uInputs);
    m_outputs.resize(uOutputs);
    m_bands.resize(uOutputs > 2 ? uOutputs : 0);
    // Memory stays for the next size: automation may switch between two of them on the audio thread.
    m_uGreatest = std::max(m_uGreatest, uBlockSize);
    TakeMemory();
    for (auto& band : m_bands)
        band.assign(uBlockSize, 0.0f);
    m_bReconfigured = m_bInBlock;
    m_bPending = false;
    Refill();
}

void ComponentBlockBuffer::Reserve(std::int32_t nGreatest, std::uint32_t uInputs, std::uint32_t uOutputs) {
    m_uGreatest = static_cast<std::uint32_t>(std::max(nGreatest, 0));
    SetBlockSize(static_cast<std::int32_t>(m_uBlockSize), uInputs, uOutputs);
    TakeMemory();
}

void ComponentBlockBuffer::ReserveBlocks(std::uint32_t uFrames) {
    if (uFrames <= m_uLongestHost) return;
    m_uLongestHost = uFrames;
    TakeMemory();
}

void ComponentBlockBuffer::TakeMemory() {
    if (m_uGreatest == 0) return;
    // An input holds the rest of a block beside the host's; what is on its way through inputs and outputs
    // together is the latency, and a host block more while it is in work.
    const std::size_t uFrames = std::size_t{m_uGreatest} + m_uLongestHost;
    for (auto* const channels : {&m_inputs, &m_outputs}) {
        for (auto& channel : *channels)
            channel.reserve(uFrames);
    }
    for (auto& band : m_bands)
        band.reserve(m_uGreatest);
}

void ComponentBlockBuffer::Refill() {
    m_uRead = 0;
    for (auto& input : m_inputs)
        input.clear();
    for (auto& output : m_outputs)
        output.assign(Latency(), 0.0f);
}

void ComponentBlockBuffer::Clear() {
    if (!m_bInBlock) return Refill();
    for (auto& output : m_outputs)
        std::fill(output.begin(), output.end(), 0.0f);
}

void ComponentBlockBuffer::Begin(std::uint32_t uFrames, float* left, float* right, float* const* bandsLeft,
                                 float* const* bandsRight) {
    m_bInBlock = true;
    m_bReconfigured = m_bTaken = m_bPending = false;
    m_uFinished = 0;
    m_host = Piece{uFrames, left, right, {}, {}, 0};
    for (std::uint32_t i = 0; i < kBands; ++i) {
        m_host.bandsLeft[i] = bandsLeft ? bandsLeft[i] : nullptr;
        m_host.bandsRight[i] = bandsRight ? bandsRight[i] : nullptr;
    }
    ReserveBlocks(uFrames);
    if (m_uBlockSize == 0) return;
    m_nHeld = static_cast<std::int64_t>(m_inputs[0].size());
    m_inputs[0].insert(m_inputs[0].end(), left, left + uFrames);
    // A mono block feeds the right channel silence, so that both channels keep the same phase when the host
    // changes between mono and stereo.
    if (right) {
        m_inputs[1].insert(m_inputs[1].end(), right, right + uFrames);
    } else {
        m_inputs[1].resize(m_inputs[1].size() + uFrames, 0.0f);
    }
}

bool ComponentBlockBuffer::NextBlock(Piece& piece) {
    if (m_uBlockSize == 0) {
        if (m_bTaken || m_bReconfigured) return false;
        m_bTaken = true;
        piece = m_host;
        return true;
    }
    if (m_bReconfigured) return false;
    if (m_bPending) Flush(m_current);
    m_bPending = false;
    if (m_inputs[0].size() - m_uRead < m_uBlockSize) return false;

    m_current = Piece{};
    m_current.uFrames = m_uBlockSize;
    m_current.left = m_inputs[0].data() + m_uRead;
    m_current.right = m_host.right ? m_inputs[1].data() + m_uRead : nullptr;
    m_current.nOffset = std::int64_t{m_uRead} - m_nHeld;
    if (!m_bands.empty()) {
        for (std::uint32_t i = 0; i < kBands; ++i) {
            m_current.bandsLeft[i] = m_bands[i].data();
            m_current.bandsRight[i] = m_host.right ? m_bands[kBands + i].data() : nullptr;
        }
    }
    m_uRead += m_uBlockSize;
    m_bPending = true;
    piece = m_current;
    return true;
}

void ComponentBlockBuffer::Flush(const Piece& piece) {
    const auto append = [&](std::vector<float>& output, const float* samples) {
        if (samples) {
            output.insert(output.end(), samples, samples + piece.uFrames);
        } else {
            output.resize(output.size() + piece.uFrames, 0.0f);
        }
    };
    if (m_bands.empty()) {
        append(m_outputs[0], piece.left);
        append(m_outputs[1], piece.right);
        return;
    }
    for (std::uint32_t i = 0; i < kBands; ++i) {
        append(m_outputs[i], piece.bandsLeft[i]);
        append(m_outputs[kBands + i], piece.bandsRight[i]);
    }
}

float* ComponentBlockBuffer::HostOutput(std::uint32_t uOutput) const {
    if (m_bands.empty()) return uOutput == 0 ? m_host.left : m_host.right;
    return uOutput < kBands ? m_host.bandsLeft[uOutput] : m_host.bandsRight[uOutput - kBands];
}

void ComponentBlockBuffer::PassRest() const {
    // The host's own buffers still hold the input that no piece has finished: only bands need filling.
    const auto pass = [&](const float* input, const std::array<float*, kBands>& bands) {
        for (std::uint32_t i = 0; i < kBands; ++i) {
            if (!bands[i]) continue;
            std::fill(bands[i] + m_uFinished, bands[i] + m_host.uFrames, 0.0f);
            if (i == 0) std::copy(input + m_uFinished, input + m_host.uFrames, bands[i] + m_uFinished);
        }
    };
    pass(m_host.left, m_host.bandsLeft);
    if (m_host.right) pass(m_host.right, m_host.bandsRight);
}

void ComponentBlockBuffer::End() {
    m_bInBlock = false;
    if (m_bReconfigured) {
        PassRest();
        return Refill();
    }
    if (m_uBlockSize == 0) return;
    if (m_bPending) Flush(m_current);
    m_bPending = false;

    for (std::uint32_t i = 0; i < m_outputs.size(); ++i) {
        std::vector<float>& output = m_outputs[i];
        if (float* destination = HostOutput(i)) {
            DSP::VectorCopy(output.data(), destination, static_cast<std::int32_t>(m_host.uFrames));
        }
        output.erase(output.begin(), output.begin() + m_host.uFrames);
    }
    for (auto& input : m_inputs)
        input.erase(input.begin(), input.begin() + m_uRead);
    m_uRead = 0;
    m_host = Piece{};
}
