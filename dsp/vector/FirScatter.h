#pragma once

#include "dsp/vector/Status.h"

namespace DSP {

/// Convolution tap by tap, from the side of the input: every input sample adds its share to all outputs
/// that it reaches within the destination.
///
///     destination[n] += sum over j = 0 .. nInputs - 1 of inputs[j] taps[n - j],   n = 0 .. nLength - 1
///
/// The sum is formed in float with j ascending, each product and each sum rounded, beginning with what stands
/// in the destination. So a stretch of input may be cut anywhere, and the outputs have the same bits, if
/// the taps before the first are zeros and everything is finite.
///
/// Buffers:   taps[-(nInputs - 1)] .. taps[nLength - 1] are read; the destination overlaps nothing. nLength
///            is at least nInputs where the inputs' own outputs are wanted.
/// Status:    that of every vector operation, for the smaller of the two counts.
/// Bits:      the same at every processor level.
/// Threads:   any; neither allocates nor waits.
VectorStatus VectorFirScatter(const float* inputs, int nInputs, const float* taps, float* destination,
                              int nLength) noexcept;

}  // namespace DSP
