#pragma once

#include <cmath>

#include "dsp/vector/Elementary.h"

/// Decibels of amplitude: the one place where they are converted. The float forms compute in double and
/// round once. Block forms stand in ElementaryVector.h.
namespace DSP {

/// ln(10) / 20 and its inverse, with the digits that the system's formats and displays have always used:
/// more digits would move every stored gain by a bit.
inline constexpr double kDbToNeper = 0.115129255;
inline constexpr double kNeperToDb = 8.685889;

/// Magnitudes below this read as kSilenceDb.
inline constexpr double kSilence = 1e-20;
inline constexpr double kSilenceDb = -400.0;

/// The factor that dB stand for: exp(0.115129255 dB). A NaN gives a NaN.
inline double DbToLinear(double fDb) noexcept {
    return Exp(fDb * kDbToNeper);
}
inline float DbToLinear(float fDb) noexcept {
    return static_cast<float>(DbToLinear(double{fDb}));
}

/// 8.685889 ln of a magnitude. Everything below 1e-20 reads as -400 dB, negative numbers and NaNs too, so
/// that a meter always has a number to show.
inline double LinearToDb(double fMagnitude) noexcept {
    return fMagnitude >= kSilence ? Log(fMagnitude) * kNeperToDb : kSilenceDb;
}
inline float LinearToDb(float fMagnitude) noexcept {
    return static_cast<float>(LinearToDb(double{fMagnitude}));
}

/// Logarithms for axes and curves, where a zero must stay a number: an argument between -1e-36 and 1e-36
/// has the logarithm -1e35. Below that the logarithm is a NaN.
inline double GuardedLog(double x) noexcept {
    return std::abs(x) < 1e-36 ? -1e35 : Log(x);
}
inline float GuardedLog(float x) noexcept {
    return static_cast<float>(GuardedLog(double{x}));
}
inline double GuardedLog10(double x) noexcept {
    return std::abs(x) < 1e-36 ? -1e35 : Log10(x);
}
inline float GuardedLog10(float x) noexcept {
    return static_cast<float>(GuardedLog10(double{x}));
}

}  // namespace DSP
