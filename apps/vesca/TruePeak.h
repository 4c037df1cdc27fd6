#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "dsp/vector/MultiRateFir.h"

namespace App {

/// The greatest magnitude that one channel reaches between its samples, by sixteenfold oversampling with a
/// windowed sinc, at every rate (ITU-R BS.1770, annex 2, asks for four times at 48 kHz).
///
/// Error:   what falls between two points is at most 20 log10 cos(pi / 32) = -0.042 dB for a tone at half the
///          rate, and less below; the filter itself is flat within 0.01 dB up to 0.47 of the rate.
/// Method:  the wave can't rise by more than 1 / cos(pi / 8) above the greatest of the points of a fourfold
///          oversampling (a wave of limited band bends no faster than a cosine of its highest frequency), so
///          that most of a stream needs no more than those.
/// Blocks:  any length; the peak does not depend on how the stream is cut.
/// Samples: finite ones are the caller's care.
class TruePeak {
public:
    TruePeak();

    void Add(const float* samples, std::uint32_t uFrames);

    /// Linear, of all that was added: the stream is taken to end in silence.
    float Peak() const;

private:
    static constexpr int kCoarse = 4;
    static constexpr int kFine = 16;
    static constexpr int kTapsPerPoint = 96;
    static constexpr int kChunk = 256;

    /// The greatest magnitude that an oversampler gives for frames.
    float Largest(DSP::MultiRateFir& oversampler, const float* samples, int nFrames);
    void MeasureChunk();

    DSP::MultiRateFir m_coarse;
    DSP::MultiRateFir m_fine;
    float m_fPeak = 0.0f;
    /// The frames before the chunk that a point may reach back to, the chunk, and how much of it is there.
    std::array<float, kTapsPerPoint + kChunk> m_window{};
    int m_nFilled = 0;
    std::vector<float> m_points = std::vector<float>(std::size_t{kFine} * m_window.size());  ///< scratch
};

}  // namespace App
