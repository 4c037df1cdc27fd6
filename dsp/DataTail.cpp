#include "dsp/DataTail.h"

#include <algorithm>
#include <utility>

namespace DSP {

DataTail::~DataTail() = default;

void DataTail::SetUp(int nChannels, int nOutputs, int nMaxFrames, int nTailLength) {
    AudioProcessor::Configure(nChannels, nOutputs, nMaxFrames);
    m_nTailLength = std::max(nTailLength, 0);
    if (Capacity() < 1) m_nMaxFrames = 1;

    const auto uCapacity = static_cast<std::size_t>(Capacity());
    m_samples.assign(uCapacity * static_cast<std::size_t>(m_nInputs), 0.0f);
    m_pointers.clear();
    for (std::size_t uAt = 0; uAt < m_samples.size(); uAt += uCapacity)
        m_pointers.push_back(m_samples.data() + uAt);
    DataTail::Reset();
}

void DataTail::Configure(int nInputs, int nOutputs, int nMaxFrames) {
    SetUp(nInputs, nOutputs, nMaxFrames, m_nTailLength);
}

void DataTail::Reset() {
    m_nFill = m_nTailLength;
    std::fill(m_samples.begin(), m_samples.end(), 0.0f);
}

void DataTail::Grow(int nMaxFrames) {
    if (nMaxFrames <= m_nMaxFrames) return;
    if (m_nTailLength == 0) {
        SetUp(m_nInputs, m_nOutputs, nMaxFrames, 0);
        return;
    }
    DataTail longer;
    longer.SetUp(m_nInputs, m_nOutputs, nMaxFrames, m_nTailLength);
    longer.SetFill(0);
    longer.Append(m_pointers.data(), m_nFill);
    *this = std::move(longer);
}

void DataTail::SetFill(int nFill) noexcept {
    m_nFill = std::clamp(nFill, 0, Capacity());
}

void DataTail::Append(const float* const* inputs, int nFrames) noexcept {
    const int nCount = std::clamp(nFrames, 0, Capacity() - m_nFill);
    for (std::size_t c = 0; c < m_pointers.size(); ++c)
        std::copy_n(inputs[c], nCount, m_pointers[c] + m_nFill);
    m_nFill += nCount;
}

void DataTail::AppendZeros(int nFrames) noexcept {
    const int nCount = std::clamp(nFrames, 0, Capacity() - m_nFill);
    for (float* samples : m_pointers)
        std::fill_n(samples + m_nFill, nCount, 0.0f);
    m_nFill += nCount;
}

void DataTail::Drop(int nFrames) noexcept {
    const int nCount = std::clamp(nFrames, 0, m_nFill);
    for (float* samples : m_pointers)
        std::copy(samples + nCount, samples + m_nFill, samples);
    m_nFill -= nCount;
}

}  // namespace DSP
