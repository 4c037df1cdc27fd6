#pragma once

#include <array>
#include <cstdint>

namespace DSP {

/// The two filters of a reverb's wet sound: where they stand and how sharp they are.
struct ReverbCutoffs {
    float fLowHz = 50.0f;
    float fLowQ = 2.0f;
    float fHighHz = 7000.0f;
    float fHighQ = 2.0f;

    bool operator==(const ReverbCutoffs&) const = default;
};

/// The six taps of one biquad, as the IIR kernels take them: b0, b1, b2, a0, a1, a2, with a0 = 1.
using ReverbTaps = std::array<double, 6>;

/// A second-order high-pass and a second-order low-pass by the bilinear transform (Bristow-Johnson, "Cookbook
/// formulae for audio equalizer biquad filter coefficients"): frequency in Hz, a gain of Q at it. From half
/// the rate on the low-pass is a wire and the high-pass gives silence: that is what they approach. Rate in
/// Hz, above 0. Any thread; nothing allocates.
ReverbTaps ReverbLowCutTaps(std::uint32_t uSampleRate, float fHz, float fQ) noexcept;
ReverbTaps ReverbHighCutTaps(std::uint32_t uSampleRate, float fHz, float fQ) noexcept;

}  // namespace DSP
