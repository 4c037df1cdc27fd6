#pragma once

#include <array>
#include <bitset>

#include "dsp/EqualizerDesign.h"
#include "dsp/vector/Iir.h"

namespace DSP::Equalizer {

/// Eight biquads in series over one or two channels: the equalizer's analogue sound. Each node filters in 64
/// bits, and its output is rounded to 32 bits before the next one begins.
///
/// Threads:   one at a time, under the owner's lock.
/// Real time: nothing allocates after construction.
/// Blocks:    any length, in place; the output does not depend on how a stream is cut.
/// Delay:     none.
/// NaN:       a NaN or an infinity runs through the whole series, and so does anything that rings on at 144
/// dB
///            above full scale, which no mix reaches: the last sample of a block tells, and then the
///            channel's delay lines are cleared. The sound is clean again from the next block on.
class NodeCascade {
public:
    using NodeSet = std::bitset<kNodes>;

    /// Wires, with clear delay lines.
    NodeCascade();

    /// Gives a node new taps in both channels; the delay lines stay.
    void SetTaps(std::uint32_t iNode, const BiquadTaps& taps) noexcept;

    /// Clears a node's delay lines, or all of them.
    void Reset(std::uint32_t iNode) noexcept;
    void Reset() noexcept;

    /// Runs the nodes of the set in ascending order; the others keep their delay lines as they are. A null
    /// right is mono: the right channel's delay lines stay.
    void Process(NodeSet nodes, int nFrames, float* left, float* right) noexcept;

private:
    using Channel = std::array<IirCascade, kNodes>;

    // Taps: written by SetTaps. State: Reset clears the delay lines.
    Channel m_left;
    Channel m_right;
};

}  // namespace DSP::Equalizer
