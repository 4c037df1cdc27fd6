#pragma once

#include <cstdint>
#include <vector>

namespace DSP {

/// Brings one channel of an impulse from one sample rate to another, by the ratio of integers between them
/// and one windowed sinc of 12 taps times the factor up (see ResampleInt; Kaiser window of beta 12). The
/// filter's delay is taken off: sample k stands at the time k / to. The length is int(length * to / from),
/// but at least 1. A constant keeps its height, so that an impulse, which is a sum, gets louder with the
/// rate.
///
/// Quality:   made for rates above 44.1 kHz. Far below it the 12 taps a sample are too short a filter to
///            keep all aliases away, and the impulse gets duller than it need be.
/// Rates:     in Hz; limited to 1 .. 768000.
/// Cost:      set-up: allocates, and takes time with the size of the reduced factors.
std::vector<float> ResampleImpulse(const std::vector<float>& source, std::uint32_t uFrom, std::uint32_t uTo);

}  // namespace DSP
