#pragma once

#include "dsp/AudioProcessor.h"
#include "dsp/DataTail.h"

namespace DSP {

class LookAheadProcessor;

/// Drives an algorithm that wants to see the future: hands it each block together with the samples that
/// follow, by delaying the stream by the look-ahead.
///
/// Delay:     Latency(), the inner's look-ahead plus its own delay; the first samples out are made of zeros.
/// Blocks:    any length. How the stream is cut shows in the output only if the inner lets it show.
/// Growth:    Grow, also by a longer block, keeps the history; the inner's Grow must do so as well.
/// Threads:   as AudioProcessor.
class LookAheadStreamer final : public AudioProcessor {
public:
    /// Holds the inner object's address, not the object: it must outlive this one. Configure comes next.
    explicit LookAheadStreamer(LookAheadProcessor& inner);

    /// Configures the inner object with the same counts, then takes its look-ahead and delay over, and
    /// resets. Outputs beyond the inputs are not written.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;

    /// Null outputs: in place. Outputs may be the inputs; other overlaps are not allowed.
    void Process(float* const* inputs, int nFrames, float* const* outputs) override;

    /// Clears the history and resets the inner object.
    void Reset() override;

    void Grow(int nMaxFrames) override;

    /// In samples, constant from Configure on.
    int Latency() const noexcept { return m_nLatency; }

private:
    // Set-up: written by Configure and Grow only.
    LookAheadProcessor& m_inner;
    int m_nLookAhead = 0;
    int m_nLatency = 0;
    // State: Reset clears it.
    DataTail m_history;  // the last look-ahead samples of the input, oldest first
    // Scratch: means nothing between two calls.
    DataTail m_window;  // look-ahead samples that are old, then the block
};

}  // namespace DSP
