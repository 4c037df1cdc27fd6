#include "dsp/CurveConvolver.h"

namespace DSP::Equalizer {

CurveConvolver::CurveConvolver(int nBlock, Impulse impulse) : m_nBlock(nBlock) {
    for (std::size_t i = 0; i < m_convolvers.size(); ++i) {
        const int nChannels = static_cast<int>(i) + 1;
        m_convolvers[i].Configure(nChannels, nChannels, nBlock);
        m_convolvers[i].Swap(impulse);
    }
}

CurveConvolver::Impulse CurveConvolver::Swap(Impulse impulse) {
    m_convolvers[0].Swap(impulse);
    return m_convolvers[1].Swap(std::move(impulse));
}

void CurveConvolver::Process(int nFrames, float* left, float* right) {
    const std::size_t uChannels = right ? 2 : 1;
    PartConv& convolver = m_convolvers[uChannels - 1];
    if (uChannels != m_uChannels) convolver.Reset();
    m_uChannels = uChannels;
    float* const channels[] = {left, right};
    convolver.Process(channels, nFrames, nullptr);
}

void CurveConvolver::Reset() {
    for (PartConv& convolver : m_convolvers)
        convolver.Reset();
}

}  // namespace DSP::Equalizer
