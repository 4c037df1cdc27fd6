#include "dsp/KaiserWindow.h"

#include <algorithm>
#include <cmath>

#include "dsp/vector/Window.h"

namespace DSP {

namespace {

constexpr double kMaxBeta = 700.0;

// In double, and rounded once where the taps are single.
template <class Tap>
void Apply(Tap* taps, int nLength, double fBeta) noexcept {
    fBeta = std::clamp(fBeta, 0.0, kMaxBeta);
    const double fMiddle = (nLength - 1) / 2.0;
    const double fPeak = BesselI0(fBeta);
    for (int i = 0, j = nLength - 1; i <= j; ++i, --j) {
        // A single tap stands in the middle.
        const double x = fMiddle > 0.0 ? (i - fMiddle) / fMiddle : 0.0;
        const double w = BesselI0(fBeta * std::sqrt(1.0 - x * x)) / fPeak;
        taps[i] = static_cast<Tap>(double{taps[i]} * w);
        if (i != j) taps[j] = static_cast<Tap>(double{taps[j]} * w);
    }
}

}  // namespace

void ApplyKaiserWindow(float* taps, int nLength, double fBeta) noexcept {
    Apply(taps, nLength, fBeta);
}

void ApplyKaiserWindow(double* taps, int nLength, double fBeta) noexcept {
    Apply(taps, nLength, fBeta);
}

}  // namespace DSP
