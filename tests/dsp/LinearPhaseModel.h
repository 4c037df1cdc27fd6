#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace Test {

inline double BesselI0(double x) {
    double fSum = 1.0, fTerm = 1.0;
    for (int j = 1; j < 60; ++j) {
        fTerm *= x / 2.0 / j;
        fSum += fTerm * fTerm;
    }
    return fSum;
}

/// The linear-phase filter of N / 2 + 1 magnitudes in double: the cosine series of the curve around tap
/// N / 2 - 1, times the Kaiser window; the last of the N taps is 0.
inline std::vector<double> LinearPhaseTaps(const std::vector<float>& magnitudes, double fBeta) {
    const std::size_t uHalf = magnitudes.size() - 1;
    const int nLength = static_cast<int>(2 * uHalf);
    const int nCentre = nLength / 2 - 1;
    std::vector<double> cosines;
    for (int i = 0; i < nLength; ++i)
        cosines.push_back(std::cos(2.0 * std::numbers::pi * i / nLength));
    std::vector<double> taps(static_cast<std::size_t>(nLength));
    for (int i = 0; i < nLength - 1; ++i) {
        const auto uDistance = static_cast<std::size_t>(std::abs(i - nCentre));
        double fSum = double{magnitudes[0]} + double{magnitudes[uHalf]} * (uDistance % 2 == 0 ? 1 : -1);
        for (std::size_t k = 1; k < uHalf; ++k)
            fSum += 2.0 * double{magnitudes[k]} * cosines[k * uDistance % cosines.size()];
        const double x = nCentre == 0 ? 0.0 : static_cast<double>(i - nCentre) / nCentre;
        const double fWindow = BesselI0(fBeta * std::sqrt(std::max(1.0 - x * x, 0.0))) / BesselI0(fBeta);
        taps[static_cast<std::size_t>(i)] = fSum / nLength * fWindow;
    }
    return taps;
}

inline double WorstDifference(const std::vector<float>& taps, const std::vector<double>& expected) {
    double fWorst = taps.size() == expected.size() ? 0.0 : 1e9;
    for (std::size_t i = 0; i < std::min(taps.size(), expected.size()); ++i)
        fWorst = std::max(fWorst, std::abs(double{taps[i]} - expected[i]));
    return fWorst;
}

}  // namespace Test
