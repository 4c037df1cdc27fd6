#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "dsp/PartConvLine.h"

namespace DSP {

/// One level of a partitioned convolver behind the head, whose work is spread over the grid: the block of
/// input that is complete at a moment E is transformed, multiplied and transformed back in small steps at the
/// grid's moments E, E + grid, ... until the next block is complete. Its first output is due then.
///
/// The schedule depends on the position in the stream alone, so neither the order of the additions nor the
/// moment of a step depends on how the stream is cut.
///
/// Rings: a channel's input and output are rings, of 2 and 4 of the longest level's blocks.
class PartConvTail {
public:
    /// As PartConvLine's.
    void SetUp(const PartConvLevel& level, int iLevel, int nChannels, int nGrid,
               std::shared_ptr<const RightAngleFft> fft);
    void Reserve(std::size_t uSpectra, const RightAngleFft& longest, int nChannels) {
        m_line.Reserve(uSpectra, longest, nChannels);
    }

    /// Forgets the input, and the work that is under way.
    void Reset() noexcept;

    /// Does the share of the moment uPosition, a multiple of the grid, below the output ring's length
    /// uRing. The input before it is complete; output is added from it on.
    void Run(const PartConvImpulse& impulse, const float* const* inputs, float* const* outputs,
             std::size_t uPosition, std::size_t uRing) noexcept;

private:
    void Step(const PartConvImpulse& impulse, const float* const* inputs, float* const* outputs,
              std::size_t uRing) noexcept;

    // Set-up: written by SetUp only.
    int m_nGrid = 1;
    int m_nChannels = 0;
    int m_nPasses = 0;  // of the multiplication, a channel
    int m_nSteps = 0;   // of a block: all transforms, then for each channel its passes and its inverse
    std::int64_t m_nTransformCost = 0;
    std::int64_t m_nPassCost = 0;
    std::int64_t m_nTotalCost = 0;
    // State: Reset clears it.
    PartConvLine m_line;
    int m_iStep = 0;            // the next of the block under way
    std::int64_t m_nSpent = 0;  // cost of the steps done
    std::size_t m_uMoment = 0;  // when its input was complete, as a position in the output ring
};

}  // namespace DSP
