#pragma once

#include <array>

#include "dsp/ResampleInt.h"

namespace DSP {

/// The peak of each frame between the samples: the greatest magnitude over the channels, of the frame's own
/// samples and of the five points around it that a fivefold oversampling gives. With y the oversampled
/// signal, whose filter delays by 31 points, frame i has the points y[5 i + 29 .. 5 i + 33].
///
/// Delay:     kDelay frames: those points are known only when the frames that follow have come.
/// Units:     linear. Finite samples are the caller's care; a NaN is gone after kMemory frames.
/// Blocks:    any length; the peaks do not depend on how the stream is cut.
/// Threads:   no lock; one thread at a time.
/// Real time: only the constructor allocates.
class InterSampleDetector {
public:
    static constexpr int kDelay = 6;
    /// The peaks after a reset are those of a stream that was silent before. Once Prime has seen as many
    /// frames as this, they are those of the stream that it has seen.
    static constexpr int kMemory = 12;

    InterSampleDetector();

    /// Takes frames of the past, without an output. A null right is mono.
    void Prime(const float* left, const float* right, int nFrames);

    /// peaks[i] is the peak of the frame kDelay before frame i. The peaks overlap no channel.
    void Process(const float* left, const float* right, int nFrames, float* peaks);

    void Reset();

private:
    static constexpr int kUp = 5;
    static constexpr int kChunk = 256;
    /// The points of one phase, behind the last one of the chunk before.
    using Phase = std::array<float, kChunk + 1>;

    void ProcessChunk(const float* left, const float* right, int nFrames, float* peaks);

    // Set-up: written at construction only.
    ResampleInt m_oversampler;  // its history is state, and Reset clears it
    // State: Reset clears it. Between two chunks only the newest elements count, which stand in front.
    std::array<std::array<Phase, kUp>, 2> m_phases{};
    std::array<float, kChunk + kDelay> m_framePeaks{};
};

}  // namespace DSP
