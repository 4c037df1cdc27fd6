#pragma once

#include <array>
#include <memory>

#include "dsp/PartConv.h"

namespace DSP::Equalizer {

/// Convolves one or two channels with one prepared impulse, and changes between mono and stereo without any
/// set-up: it holds a convolver for each, and the one that comes to work begins with silence.
///
/// Threads:   one at a time, under the owner's lock. The constructor may run anywhere.
/// Real time: Process, Reset and Swap with an impulse that fits neither allocate nor wait.
/// Blocks, precision, damage: as PartConv.
class CurveConvolver {
public:
    using Impulse = std::shared_ptr<const PartConvImpulse>;

    /// For blocks of nBlock frames. Allocates. The impulse is prepared for the same length.
    CurveConvolver(int nBlock, Impulse impulse);

    int BlockSize() const noexcept { return m_nBlock; }
    bool Fits(const PartConvImpulse& impulse) const noexcept { return Stereo().Fits(impulse); }

    /// Installs an impulse that fits, keeps the history, and returns the impulse before.
    Impulse Swap(Impulse impulse);
    const Impulse& Current() const noexcept { return Stereo().Impulse(); }

    /// In place; a null right is mono.
    void Process(int nFrames, float* left, float* right);

    /// Clears the history.
    void Reset();

private:
    const PartConv& Stereo() const noexcept { return m_convolvers[1]; }

    // Set-up: written at construction and by Swap.
    int m_nBlock;
    // State: Reset clears the history of both.
    std::array<PartConv, 2> m_convolvers;  // for one channel, for two
    std::size_t m_uChannels = 2;           // of the last block
};

}  // namespace DSP::Equalizer
