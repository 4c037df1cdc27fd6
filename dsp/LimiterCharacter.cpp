#include "dsp/LimiterCharacter.h"

#include <algorithm>
#include <cstddef>
#include <numbers>

#include "dsp/vector/Elementary.h"
#include "dsp/vector/Rounding.h"

namespace DSP {

namespace {

// From here on the smoothing filter has its full width.
constexpr double kFullWidth = 0.3;
// Up to here there is no release beyond the held curve.
constexpr double kNoRelease = 0.04;
constexpr float kMaxCharacter = 1.5f;
constexpr double kActivitySeconds = 0.014;

int HalfWidth(int nSampleRate) {
    if (nSampleRate < 17000) return 8;
    if (nSampleRate < 25000) return 16;
    if (nSampleRate < 50001) return 32;
    if (nSampleRate < 130001) return 64;
    return 128;
}

/// Taps of the filter that c asks for out of at most nMost: odd, so that it has a middle.
int EffectiveWidth(double c, int nMost) {
    if (c >= kFullWidth) return nMost;
    return static_cast<int>(Pow(c, 1.5) / Pow(kFullWidth, 1.5) * nMost + 0.5) | 1;
}

}  // namespace

void LimiterCharacter::SetUp(int nSampleRate) {
    m_nSampleRate = nSampleRate;
    nHalfWidth = HalfWidth(nSampleRate);
    nActivitySpan = static_cast<int>(nSampleRate * kActivitySeconds);
    taps.assign(static_cast<std::size_t>(nHalfWidth) + 1, 0.0f);
    DesignFilter(1);
}

void LimiterCharacter::Set(float fCharacter) {
    const double c = double{std::clamp(fCharacter, 0.0f, kMaxCharacter)};
    const int nWidth = EffectiveWidth(c, 2 * nHalfWidth + 1);
    // Two gates at three fifths and two thirds of the width; below 2 either of them asks for a clipper.
    bDirect = RoundHalfAway(nWidth * 3 / 5.0) < 2 || RoundHalfAway(nWidth * 2 / 3.0) < 2;
    if (nWidth / 2 != nHold) DesignFilter(nWidth);

    // Above 1 the character counts twice.
    const double c2 = c > 1.0 ? c + (c - 1.0) : c;
    const double e = Exp(2.0 * c2);
    const double u = 44.100002 / m_nSampleRate;
    fDecay = static_cast<float>(1.0 - (m_nSampleRate / 44100.0 * 0.1) / (e * 35.0));
    bRelease = c > kNoRelease;
    fSumFactor = static_cast<float>(e * 0.018181818);
    fSumOffset = static_cast<float>(c2 > 0.5 ? std::min((c2 - 0.5) * 0.7, 0.9) : 0.0);
    fTargetFactor = static_cast<float>(c < kFullWidth ? c * c / 0.09 : 1.0);
    fActivityRate = static_cast<float>(u);
    fReleaseShare = static_cast<float>(std::min(c2 > 0.7 ? u + (c2 - 0.7) * (c2 - 0.7) : u, 1.0));
}

/// A raised cosine, 1 + cos(2 pi j / V) for the taps j to either side of the middle, scaled to the sum 1.
void LimiterCharacter::DesignFilter(int nWidth) {
    nHold = nWidth / 2;
    const auto tap = [nWidth](int j) { return 1.0 + Cos(2.0 * std::numbers::pi * j / nWidth); };
    double fSum = tap(0);
    for (int j = 1; j <= nHold; ++j)
        fSum += 2.0 * tap(j);
    for (int j = 0; j <= nHold; ++j)
        taps[static_cast<std::size_t>(j)] = static_cast<float>(tap(j) / fSum);
}

}  // namespace DSP
