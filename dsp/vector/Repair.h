#pragma once

#include "dsp/vector/Status.h"

namespace DSP {

/// Magnitudes from here on, 240 dB above full scale, are damage and not sound.
inline constexpr float kDamageLimit = 0x1p40f;

/// Copies samples for an algorithm with a long memory: a NaN, an infinity and any magnitude of
/// kDamageLimit or above becomes +0, everything else is copied bit by bit. Source and destination are one
/// buffer or do not overlap. The statuses are those of every vector operation; any thread; neither
/// allocates nor waits.
VectorStatus VectorRepair(const float* source, float* destination, int nLength) noexcept;

}  // namespace DSP
