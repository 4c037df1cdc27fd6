#pragma once

#include <cmath>
#include <numbers>
#include <utility>
#include <vector>

#include "dsp/ReverbFilter.h"

namespace Test {

/// A second-order low or high cut in direct form I. Above half the rate the one gives silence, the other what
/// it got.
inline void Cut(std::vector<double>& x, double fRate, double fHz, double fQ, bool bLowCut) {
    const double w = 2.0 * std::numbers::pi * fHz / fRate, c = std::cos(w), s = std::sin(w) / (2.0 * fQ);
    const double b0 = bLowCut ? (1.0 + c) / 2.0 : (1.0 - c) / 2.0;
    const double b1 = bLowCut ? -2.0 * b0 : 2.0 * b0;
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    for (double& f : x) {
        double y = (b0 * (f + x2) + b1 * x1 + 2.0 * c * y1 - (1.0 - s) * y2) / (1.0 + s);
        if (fHz > fRate / 2.0) y = bLowCut ? 0.0 : f;
        x2 = std::exchange(x1, f);
        y2 = std::exchange(y1, y);
        f = y;
    }
}

/// The two filters of either reverb, in double.
inline void ApplyCutoffs(std::vector<double>& x, double fRate, const DSP::ReverbCutoffs& cutoffs) {
    Cut(x, fRate, double{cutoffs.fLowHz}, double{cutoffs.fLowQ}, true);
    Cut(x, fRate, double{cutoffs.fHighHz}, double{cutoffs.fHighQ}, false);
}

}  // namespace Test
