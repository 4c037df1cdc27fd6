#pragma once

namespace DSP {

/// The common interface of the algorithm objects that work on planar float blocks.
///
/// Channels:  pointer arrays hold InputChannels() or OutputChannels() pointers, none of them null.
/// Blocks:    any length, 0 included. One that is longer than MaxFrames() grows the object first, which
///            allocates at that moment, once; what else growing costs, a derived class says. Nothing else on
///            the process path allocates.
/// Threads:   no lock. Configure, Grow, Reset and Process exclude one another, under the owning component's
///            lock.
class AudioProcessor {
public:
    AudioProcessor() = default;
    virtual ~AudioProcessor();

    /// Stores the counts. A derived class builds its buffers here and ends with Reset. Allocates. Counts
    /// below 0 read as 0.
    virtual void Configure(int nInputs, int nOutputs, int nMaxFrames);

    /// Processes a block; with null outputs it is processed in place. The base class only grows where the
    /// block asks for it, and derived classes call it first.
    virtual void Process(float* const* inputs, int nFrames, float* const* outputs);

    /// Clears all history; the configuration stays. Neither allocates nor waits.
    virtual void Reset();

    /// Prepares for longer blocks, at most once a length. The base class configures again with the same
    /// channels; a class with history keeps it: the output goes on as if the object had been made for
    /// the longer block.
    virtual void Grow(int nMaxFrames);

    int InputChannels() const noexcept { return m_nInputs; }
    int OutputChannels() const noexcept { return m_nOutputs; }
    /// The longest block that the object is set up for.
    int MaxFrames() const noexcept { return m_nMaxFrames; }

protected:
    // A derived class may be movable where it says so; nobody copies an object through its base.
    AudioProcessor(const AudioProcessor&) = default;
    AudioProcessor& operator=(const AudioProcessor&) = default;

    // Set-up: written by Configure and Grow only.
    int m_nMaxFrames = 0;
    int m_nInputs = 0;
    int m_nOutputs = 0;
};

}  // namespace DSP
