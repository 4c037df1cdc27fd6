#pragma once

#include <cstddef>
#include <memory>
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
/// Threads:   under the convolver's owner's lock. Nothing but SetUp and Reserve allocates.
class PartConvLine {
public:
    /// Becomes the line of a level, whose transform is given, and forgets all blocks. Allocates only beyond
    /// what it has had, or what was reserved.
    void SetUp(const PartConvLevel& level, int iLevel, int nChannels,
               std::shared_ptr<const RightAngleFft> fft);

    /// Takes memory for levels up to a longest block and so many floats of spectra a channel.
    void Reserve(std::size_t uSpectra, const RightAngleFft& longest, int nChannels);

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

    // Set-up: written by SetUp only.
    PartConvLevel m_level;
    int m_iLevel = 0;
    std::size_t m_uChannels = 0;
    std::shared_ptr<const RightAngleFft> m_fft;
    std::size_t m_uStride = 0;  // floats from slot to slot
    // State: Reset clears it.
    std::vector<AlignedVector<float>> m_spectra;  // by channel, slot after slot; those in use come first
    int m_iNewest = 0;                            // the slot of the newest block; older ones follow, and wrap
    // Scratch: means nothing between two blocks.
    AlignedVector<float> m_sum;
    AlignedVector<float> m_work;
};

}  // namespace DSP
