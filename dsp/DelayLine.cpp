#include "dsp/DelayLine.h"

#include <algorithm>
#include <array>

namespace DSP {

namespace {

std::size_t RingSize(int nLength) {
    return nLength > 1 ? static_cast<std::size_t>(nLength) - 1 : 0;
}

}  // namespace

void DelayLine::Reserve(int nLength) {
    m_ring.reserve(RingSize(nLength));
}

void DelayLine::SetLength(int nLength) {
    m_ring.assign(RingSize(nLength), 0.0f);
    m_uPosition = 0;
}

void DelayLine::Reset() noexcept {
    std::fill(m_ring.begin(), m_ring.end(), 0.0f);
    m_uPosition = 0;
}

void DelayLine::Process(float* samples, int nFrames) noexcept {
    if (m_ring.empty()) return;
    auto uFrames = static_cast<std::size_t>(nFrames);
    std::array<float, 256> spare;
    if (m_ring.size() <= spare.size() && m_ring.size() <= uFrames) {
        // The block moves back by the line's length; what the line held comes first, what falls off stays in
        // it.
        const std::size_t uDelay = m_ring.size();
        const auto oldest = m_ring.begin() + static_cast<std::ptrdiff_t>(m_uPosition);
        std::copy_n(samples + uFrames - uDelay, uDelay, spare.data());
        std::copy_backward(samples, samples + uFrames - uDelay, samples + uFrames);
        std::copy(m_ring.begin(), oldest, std::copy(oldest, m_ring.end(), samples));
        std::copy_n(spare.data(), uDelay, m_ring.begin());
        m_uPosition = 0;
        return;
    }
    while (uFrames > 0) {
        // Stretches of the block and of the ring change places.
        const std::size_t uRun = std::min({uFrames, m_ring.size() - m_uPosition, spare.size()});
        float* const ring = m_ring.data() + m_uPosition;
        std::copy_n(samples, uRun, spare.data());
        std::copy_n(ring, uRun, samples);
        std::copy_n(spare.data(), uRun, ring);
        m_uPosition += uRun;
        if (m_uPosition == m_ring.size()) m_uPosition = 0;
        samples += uRun;
        uFrames -= uRun;
    }
}

}  // namespace DSP
