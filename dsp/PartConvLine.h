#pragma once

#include <cstddef>
#include <vector>

#include "dsp/PartConvImpulse.h"
#include "dsp/vector/AlignedVector.h"
#include "dsp/vector/RightAngleFft.h"

namespace DSP {

/// The streaming side of one level of a partitioned convolver: for each channel the spectra of the last
/// blocks of input, as many as the impulse has partitions there, and one running sum of products.
///
/// A block goes: Advance; then, channel by channel, Transform, ClearSum, Multiply, InverseAdd. Partitions are
/// multiplied in ascending order, in as many calls as the caller likes: the bits are the same.
///
/// Threads:   under the convolver's owner's lock. Nothing but construction allocates.
class PartConvLine {
public:
    PartConvLine(const PartConvLevel& level, int iLevel, int nChannels);

    /// Forgets all blocks.
    void Reset() noexcept;

    const PartConvLevel& Level() const noexcept { return m_level; }

    /// The next block of input comes: the oldest spectrum makes room for it.
    void Advance() noexcept;

    /// Transforms a channel's block of Level().nBlock samples, the newest from now on.
    void Transform(int iChannel, const float* block) noexcept;

    void ClearSum() noexcept;

    /// Adds to the sum: partitions iFrom .. iTo - 1, each with the block that is so many blocks old.
    void Multiply(int iChannel, const PartConvImpulse& impulse, int iFrom, int iTo) noexcept;

    /// Adds the samples that the sum stands for: a block to `low` and the block behind it to `high`. Either
    /// may be null.
    void InverseAdd(float* low, float* high) noexcept;

private:
    float* Slot(int iChannel, int iSlot) noexcept;

    // Set-up: written by construction only.
    PartConvLevel m_level;
    int m_iLevel;
    RightAngleFft m_fft;
    std::size_t m_uStride;  // floats from slot to slot
    // State: Reset clears it.
    std::vector<AlignedVector<float>> m_spectra;  // by channel, slot after slot
    int m_iNewest = 0;                            // the slot of the newest block; older ones follow, and wrap
    // Scratch: means nothing between two blocks.
    AlignedVector<float> m_sum;
    AlignedVector<float> m_work;
};

}  // namespace DSP
