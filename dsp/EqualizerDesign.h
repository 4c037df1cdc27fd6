#pragma once

#include <array>
#include <cstdint>

#include "dsp/FilterNode.h"

namespace DSP::Equalizer {

/// b0, b1, b2, a0, a1, a2 of one biquad, divided by a0.
using BiquadTaps = std::array<double, 6>;

/// The slope of a shelf for the value of its Q control: 0.1 to 1 in a straight line over 0.2 to 12, in single
/// precision.
float ShelfSlope(float fQ) noexcept;

/// The biquad of a node at a sample rate in Hz, by the formulas of R. Bristow-Johnson's audio EQ cookbook, in
/// double. The shelves deliberately take A = 10^(gain / 20) where the cookbook has gain / 40: the plateau of
/// a shelf is twice its gain in dB. The gain of a pass is not used.
///
/// Above half the sample rate a highpass is silence, every other shape a wire. At half of it, where the
/// formulas' poles and zeros cancel each other, only the gain that is left: a low shelf's plateau, else the
/// same silence or wire.
///
/// Threads: any. Nothing allocates; under a microsecond, so that automation may design in a block.
BiquadTaps DesignBiquad(const FilterNode& node, std::uint32_t uSampleRate) noexcept;

/// |H| of a biquad at an angular frequency in radians per sample.
double BiquadMagnitude(const BiquadTaps& taps, double fOmega) noexcept;

}  // namespace DSP::Equalizer
