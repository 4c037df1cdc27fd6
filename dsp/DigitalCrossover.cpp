#include "dsp/DigitalCrossover.h"

#include <algorithm>
#include <utility>

#include "dsp/vector/Elementwise.h"

namespace DSP {

Crossover::Crossover()
    : m_filters(std::make_shared<const DigitalFilters>(DigitalFilters::Design{}, kMaxBands)) {}

Crossover::~Crossover() = default;

void Crossover::Configure(int nInputs, int /*nOutputs*/, int nMaxFrames) {
    AudioProcessor::Configure(nInputs, nInputs * Bands(), nMaxFrames);
    const int nBlock = std::max(nMaxFrames, 1);
    if (nBlock != m_nBlock || !m_silence) {
        const std::vector<float> zeros(DigitalFilters::kLength);
        const float* const channel = zeros.data();
        m_silence = std::make_shared<const PartConvImpulse>(&channel, DigitalFilters::kLength, 1, nBlock);
    }
    m_nBlock = nBlock;
    SetUp();
}

/// Builds what the filters need at the present channels and block, and resets.
void Crossover::SetUp() {
    m_nOutputs = m_nInputs * Bands();
    m_outputs.resize(static_cast<std::size_t>(m_nInputs));
    m_table.resize(static_cast<std::size_t>(m_nInputs));
    for (std::size_t iBand = 0; iBand < m_convolvers.size(); ++iBand) {
        m_convolvers[iBand].Configure(m_nInputs, m_nInputs, m_nBlock);
        m_convolvers[iBand].Swap(iBand < Convolvers().size() ? m_filters->Impulse(iBand) : m_silence);
    }
    m_delay.SetUp(m_nInputs, m_nInputs, m_nMaxFrames, DigitalFilters::kLatency);
    Reset();
}

std::shared_ptr<const DigitalFilters> Crossover::Install(std::shared_ptr<const DigitalFilters> filters) {
    const bool bSameBands = filters->Bands() == Bands();
    std::swap(m_filters, filters);
    if (bSameBands) {
        // The convolvers give up their own hold of the old impulses here, not on a later call.
        std::size_t iBand = 0;
        for (PartConv& convolver : Convolvers())
            convolver.Swap(m_filters->Impulse(iBand++));
    } else {
        SetUp();
    }
    return filters;
}

void Crossover::Design(const DigitalFilters::Design& design) {
    Install(std::make_shared<const DigitalFilters>(design, m_nBlock));
}

void Crossover::Process(float* const* inputs, int nFrames, float* const* outputs) {
    const auto uBands = static_cast<std::size_t>(Bands());
    for (std::size_t iChannel = 0; iChannel < m_table.size(); ++iChannel)
        std::copy_n(outputs + iChannel * uBands, uBands, m_table[iChannel].begin());
    ProcessBands(inputs, nFrames, m_table.data());
}

void Crossover::ProcessBands(float* const* inputs, int nFrames, const BandPointers* bands) {
    AudioProcessor::Process(inputs, nFrames, nullptr);
    if (Bands() == 1) {
        for (std::size_t iChannel = 0; iChannel < m_table.size(); ++iChannel)
            VectorCopy(inputs[iChannel], bands[iChannel][0], nFrames);
        return;
    }
    std::size_t iBand = 0;
    for (PartConv& convolver : Convolvers()) {
        for (std::size_t iChannel = 0; iChannel < m_outputs.size(); ++iChannel)
            m_outputs[iChannel] = bands[iChannel][iBand];
        ++iBand;
        convolver.Process(inputs, nFrames, m_outputs.data());
    }
    TopBand(inputs, nFrames, bands);
}

void Crossover::TopBand(float* const* inputs, int nFrames, const BandPointers* bands) {
    const std::size_t iTop = Convolvers().size();
    m_delay.Append(inputs, nFrames);
    for (std::size_t iChannel = 0; iChannel < m_outputs.size(); ++iChannel) {
        float* const top = bands[iChannel][iTop];
        VectorCopy(bands[iChannel][0], top, nFrames);
        for (std::size_t iBand = 1; iBand < iTop; ++iBand)
            VectorAdd(bands[iChannel][iBand], top, nFrames);
        // delayed - sum, as a sum of the delayed input and the exact negative.
        VectorScale(-1.0f, top, nFrames);
        VectorAdd(m_delay.Data(static_cast<int>(iChannel)), top, nFrames);
    }
    m_delay.Drop(nFrames);
}

void Crossover::Reset() {
    for (PartConv& convolver : Convolvers())
        convolver.Reset();
    m_delay.Reset();
}

void Crossover::Grow(int nMaxFrames) {
    m_nMaxFrames = std::max(nMaxFrames, m_nMaxFrames);
    for (PartConv& convolver : Convolvers())
        convolver.Grow(m_nMaxFrames);
    m_delay.Grow(m_nMaxFrames);
}

}  // namespace DSP
