#include "dsp/LookAheadStreamer.h"

#include <algorithm>

#include "dsp/LookAheadProcessor.h"

namespace DSP {

LookAheadStreamer::LookAheadStreamer(LookAheadProcessor& inner) : m_inner(inner) {}

void LookAheadStreamer::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    AudioProcessor::Configure(nInputs, nOutputs, nMaxFrames);
    m_inner.Configure(nInputs, nOutputs, nMaxFrames);
    m_nLookAhead = m_inner.LookAhead();
    m_nLatency = m_inner.Delay() + m_nLookAhead;
    m_window.SetUp(m_nInputs, m_nOutputs, m_nLookAhead + m_nMaxFrames, 0);
    m_history.SetUp(m_nInputs, m_nOutputs, 0, m_nLookAhead);
    Reset();
}

void LookAheadStreamer::Grow(int nMaxFrames) {
    if (nMaxFrames <= m_nMaxFrames) return;
    m_inner.Grow(nMaxFrames);
    m_window.Grow(m_nLookAhead + nMaxFrames);
    m_nMaxFrames = nMaxFrames;
}

void LookAheadStreamer::Reset() {
    m_inner.Reset();
    m_history.Reset();
}

void LookAheadStreamer::Process(float* const* inputs, int nFrames, float* const* outputs) {
    AudioProcessor::Process(inputs, nFrames, outputs);
    if (nFrames < 1) return;
    if (outputs == nullptr) outputs = inputs;

    m_window.SetFill(0);
    if (m_nLookAhead > 0) m_window.Append(m_history.Pointers(), m_nLookAhead);
    m_window.Append(inputs, nFrames);
    // The newest samples of the window are the history of the next block, however short this one is. The
    // inner object changes only what goes out now, so they are taken first: it may not leave them alone.
    for (int c = 0; c < m_nInputs && m_nLookAhead > 0; ++c)
        std::copy_n(m_window.Data(c) + nFrames, m_nLookAhead, m_history.Data(c));

    m_inner.Process(m_window.Pointers(), nFrames, nullptr);
    for (int c = 0; c < std::min(m_nInputs, m_nOutputs); ++c)
        std::copy_n(m_window.Data(c), nFrames, outputs[c]);
}

}  // namespace DSP
