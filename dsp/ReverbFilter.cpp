#include "dsp/ReverbFilter.h"

#include "dsp/vector/Elementary.h"

namespace DSP {

namespace {

struct Prototype {
    double fCos;
    double a0, a1, a2;
};

Prototype Poles(std::uint32_t uSampleRate, float fHz, float fQ) noexcept {
    const double w = 6.28318530717959 * double{fHz} / static_cast<double>(uSampleRate);
    const double fCos = Cos(w);
    const double fAlpha = Sin(w) / (2.0 * double{fQ});
    return {fCos, 1.0 + fAlpha, -2.0 * fCos, 1.0 - fAlpha};
}

// At half the rate itself the poles and zeros cancel each other. What an earlier design left in the delay
// lines would not cancel, and grow without end.
bool ReachesNyquist(std::uint32_t uSampleRate, float fHz) noexcept {
    return double{fHz} >= static_cast<double>(uSampleRate) / 2.0;
}

ReverbTaps Normalised(double b0, double b1, const Prototype& p) noexcept {
    return {b0 / p.a0, b1 / p.a0, b0 / p.a0, 1.0, p.a1 / p.a0, p.a2 / p.a0};
}

}  // namespace

ReverbTaps ReverbLowCutTaps(std::uint32_t uSampleRate, float fHz, float fQ) noexcept {
    if (ReachesNyquist(uSampleRate, fHz)) return {0.0, 0.0, 0.0, 1.0, 0.0, 0.0};
    const Prototype p = Poles(uSampleRate, fHz, fQ);
    return Normalised((1.0 + p.fCos) / 2.0, -(1.0 + p.fCos), p);
}

ReverbTaps ReverbHighCutTaps(std::uint32_t uSampleRate, float fHz, float fQ) noexcept {
    if (ReachesNyquist(uSampleRate, fHz)) return {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
    const Prototype p = Poles(uSampleRate, fHz, fQ);
    return Normalised((1.0 - p.fCos) / 2.0, 1.0 - p.fCos, p);
}

}  // namespace DSP
