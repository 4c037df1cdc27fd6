#pragma once

#include <cstddef>
#include <vector>

#include "dsp/AudioProcessor.h"

namespace DSP {

/// Float buffers, one a channel, that keep a tail from one block to the next: the retained samples stand
/// at the front, new ones follow at the fill position.
///
///     tail.Append(inputs, n);               // fill: tail length + n
///     ... reads tail.Data(c)[0 .. fill) ...
///     tail.Drop(n);                         // fill: tail length; the newest samples are the tail
///
/// Capacity:  max frames + tail length samples a channel, at least 1.
/// Growth:    keeps what is in the buffers, if there is a tail length; a buffer without one is scratch, and
///            growing it empties it.
/// Threads:   as AudioProcessor. Nothing but SetUp, Configure, Grow and copying allocates.
class DataTail : public AudioProcessor {
public:
    /// No channels; max frames 0, tail length 0.
    DataTail() = default;
    ~DataTail() override;
    /// Takes the buffers over: pointers to the samples stay valid. The source is then only fit for SetUp,
    /// assignment and destruction.
    DataTail(DataTail&&) noexcept = default;
    DataTail& operator=(DataTail&&) noexcept = default;

    /// Drops the old buffers and builds new ones, cleared. A max frames that would leave the capacity below 1
    /// becomes 1; a negative tail length reads as 0.
    void SetUp(int nChannels, int nOutputs, int nMaxFrames, int nTailLength);

    /// SetUp with the tail length as it is.
    void Configure(int nInputs, int nOutputs, int nMaxFrames) override;

    /// Sets the fill position to the tail length and clears every sample.
    void Reset() override;

    void Grow(int nMaxFrames) override;

    int Channels() const noexcept { return m_nInputs; }
    int TailLength() const noexcept { return m_nTailLength; }
    /// Samples a channel.
    int Capacity() const noexcept { return m_nMaxFrames + m_nTailLength; }

    /// A channel's samples; valid until the next SetUp, Configure or Grow.
    float* Data(int iChannel) noexcept { return m_pointers[static_cast<std::size_t>(iChannel)]; }
    const float* Data(int iChannel) const noexcept { return m_pointers[static_cast<std::size_t>(iChannel)]; }
    float* const* Pointers() const noexcept { return m_pointers.data(); }

    /// Samples in use at the front, the same number in every channel.
    int Fill() const noexcept { return m_nFill; }
    /// 0 .. Capacity(); limited to it. The samples stay.
    void SetFill(int nFill) noexcept;

    /// Copies n samples a channel behind the fill position and advances it. More than there is room for are
    /// not taken.
    void Append(const float* const* inputs, int nFrames) noexcept;
    /// The same with zeros.
    void AppendZeros(int nFrames) noexcept;

    /// Drops the n oldest samples by moving the rest to the front; at most all of them.
    void Drop(int nFrames) noexcept;

private:
    // Set-up: written by SetUp, Configure and Grow only.
    int m_nTailLength = 0;
    std::vector<float*> m_pointers;
    // State: Reset clears it.
    std::vector<float> m_samples;
    int m_nFill = 0;
};

}  // namespace DSP
