#pragma once

#include <cstdint>

#include "hvBase/Util/Relaxed.h"

namespace DSP {

/// A first-order high-pass with a fixed pole, y[n] = 0.9999 y[n - 1] + x[n] - x[n - 1], for one or two
/// channels, and a meter of what it takes away. The corner is at 1/62832 of the rate, 0.7 Hz at 44100 Hz; the
/// filter knows no rate.
///
/// The recurrence runs in single precision on samples scaled by 32768, and its order is part of the value.
/// With state a (accumulator), p (previous input, scaled) and y (output):
///
///     a = a - p;  p = 32768 x;  a = a + p;  a = a - y 3.2768f;  y = a / 32768
///
/// Meter:     x - y of each measured sample, and its least and greatest value since Reset or ClearMeter.
/// Blocks:    any length, in place; the output does not depend on how a stream is cut.
/// Threads:   under the owner's lock; the meter may be read on any thread, a value at a time.
/// Real time: Process and Reset neither allocate nor wait.
/// Recovery:  a sample that brings the accumulator beyond kMostOffset, and a NaN, passes as it is and is not
///            measured, and the recurrence of its channel starts anew behind it.
class DCOffsetFilter {
public:
    /// 72 dB above full scale, scaled. What rounding leaves behind of anything below has sunk under -100 dB a
    /// second later, at 44100 Hz.
    static constexpr float kMostOffset = 4096.0f * 32768.0f;

    /// Runs the recurrence; with bMeter it measures, with bReplace the samples become the output. A null
    /// right is mono and leaves the right channel's state alone.
    void Process(std::int32_t nFrames, float* left, float* right, bool bMeter, bool bReplace) noexcept;

    /// Clears the recurrence and the meter.
    void Reset() noexcept;

    // The meter; channel 0 is left, 1 right.
    float Current(std::uint32_t uChannel) const { return m_meters[uChannel].fCurrent; }
    float Minimum(std::uint32_t uChannel) const { return m_meters[uChannel].fMinimum; }
    float Maximum(std::uint32_t uChannel) const { return m_meters[uChannel].fMaximum; }
    void ClearMeter() noexcept;

private:
    struct Recurrence {
        float fAccumulator = 0.0f;
        float fPrevious = 0.0f;
        float fOutput = 0.0f;
    };
    struct Extremes {
        float fCurrent;
        float fMinimum;
        float fMaximum;
    };
    struct Meter {
        Util::Relaxed<float> fCurrent = 0.0f;
        Util::Relaxed<float> fMinimum = 0.0f;
        Util::Relaxed<float> fMaximum = 0.0f;
    };

    template <int nChannels, bool bMeter, bool bReplace>
    void Run(std::int32_t nFrames, float* const* channels) noexcept;
    template <int nChannels>
    void Choose(std::int32_t nFrames, float* const* channels, bool bMeter, bool bReplace) noexcept;

    // State: Reset clears every member of this group.
    Recurrence m_states[2];
    Meter m_meters[2];
};

}  // namespace DSP
