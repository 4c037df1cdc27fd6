#pragma once

#include "dsp/vector/Elementary.h"

namespace DSP {

/// The coefficient c of a one-pole smoother, y = y c + x (1 - c), for a time in ms and a rate in Hz:
/// exp(-1000 / t / (rate * 0.5)), computed in double and rounded to float. A time at or below 0, or a NaN,
/// gives 0: no smoothing. Users take 1 - c from the rounded c, so that a constant input stays exactly
/// constant.
///
/// Half the rate stands where one would expect the rate: the state reaches 1 - 1/e^2 of a step in the time.
inline float OnePoleCoefficient(double fTimeMs, double fSampleRate) noexcept {
    return fTimeMs > 0.0 ? static_cast<float>(Exp(-1000.0 / fTimeMs / (fSampleRate * 0.5))) : 0.0f;
}

}  // namespace DSP
