#include "dsp/vector/Window.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "dsp/vector/Elementary.h"

namespace DSP {

namespace {

// Calls a window's formula for the first half only, the middle included: the second half is its mirror
// image, which rounding of the angle beyond pi would spoil.
template <class Value>
VectorStatus ApplyWindow(float* destination, std::int32_t nLength, Value&& value) {
    const VectorStatus status = CheckVectorArguments(nLength, {destination});
    if (status != kVectorOk || nLength == 1) return status;
    const auto uLast = static_cast<std::size_t>(nLength) - 1;
    const double m = 0.5 * static_cast<double>(uLast);
    for (std::size_t i = 0; i <= uLast - i; ++i) {
        const auto fWindow = static_cast<float>(value(static_cast<double>(i), m));
        destination[i] *= fWindow;
        if (i != uLast - i) destination[uLast - i] *= fWindow;
    }
    return kVectorOk;
}

constexpr double kPi = std::numbers::pi;

// I0(700) is 1e302, just short of the greatest double.
constexpr double kMaxBeta = 700.0;

}  // namespace

VectorStatus VectorWinHann(float* destination, std::int32_t nLength) noexcept {
    return ApplyWindow(destination, nLength, [](double i, double m) { return 0.5 - 0.5 * Cos(kPi * i / m); });
}

VectorStatus VectorWinHamming(float* destination, std::int32_t nLength) noexcept {
    return ApplyWindow(destination, nLength,
                       [](double i, double m) { return 0.54 - 0.46 * Cos(kPi * i / m); });
}

VectorStatus VectorWinBartlett(float* destination, std::int32_t nLength) noexcept {
    return ApplyWindow(destination, nLength, [](double i, double m) { return 1.0 - std::abs(i - m) / m; });
}

VectorStatus VectorWinBlackman(float* destination, std::int32_t nLength, float fAlpha) noexcept {
    const double alpha = double{fAlpha};
    return ApplyWindow(destination, nLength, [alpha](double i, double m) {
        return (alpha + 1.0) / 2.0 - 0.5 * Cos(kPi * i / m) - alpha / 2.0 * Cos(2.0 * kPi * i / m);
    });
}

VectorStatus VectorWinKaiser(float* destination, std::int32_t nLength, float fAlpha) noexcept {
    // m of the loop below; the length is checked there.
    const double fHalfSpan = 0.5 * (static_cast<double>(nLength) - 1.0);
    const double beta = std::min(std::abs(double{fAlpha}) * fHalfSpan, kMaxBeta);
    const double fPeak = BesselI0(beta);
    return ApplyWindow(destination, nLength, [beta, fPeak](double i, double m) {
        // (m m - (i - m)(i - m)) / (m m) in factors, which loses nothing near the ends.
        return BesselI0(beta * std::sqrt(i * (2.0 * m - i)) / m) / fPeak;
    });
}

double BesselI0(double fX) noexcept {
    // Below this share of the sum a term no longer changes it, and the rest falls faster still.
    constexpr double kNegligible = 1e-19;
    const double fHalf = 0.5 * fX;
    double fTerm = 1.0;
    double fSum = 1.0;
    for (double j = 1.0; fTerm > fSum * kNegligible; j += 1.0) {
        const double fRatio = fHalf / j;
        fTerm *= fRatio * fRatio;
        fSum += fTerm;
    }
    return fSum;
}

}  // namespace DSP
