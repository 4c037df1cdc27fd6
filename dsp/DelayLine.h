#pragma once

#include <cstddef>
#include <vector>

namespace DSP {

/// A fixed delay for one channel: a line of length N gives every sample back N - 1 samples later, so a line
/// of length 1 is a wire.
///
/// Units:     lengths in samples, 1 or more; 0 and below read as 1.
/// Threads:   SetLength and Reserve anywhere but never during Process; the rest on the audio thread. No
///            lock of its own: the owning component's lock covers it.
/// Real time: Process and Reset neither allocate nor wait. SetLength allocates only beyond the longest
///            length so far, given or reserved, and then resets.
/// Blocks:    any length, in place; the output does not depend on how a stream is cut.
/// Values:    samples pass bit by bit, NaN and infinity too: what goes in wrong is gone N - 1 samples
///            later.
class DelayLine {
public:
    void Reserve(int nLength);
    void SetLength(int nLength);
    int Length() const noexcept { return static_cast<int>(m_ring.size()) + 1; }
    void Process(float* samples, int nFrames) noexcept;
    void Reset() noexcept;

private:
    // State: Reset clears every member of this group.
    std::vector<float> m_ring;  ///< the last N - 1 samples; the oldest stands at the position
    std::size_t m_uPosition = 0;
};

}  // namespace DSP
