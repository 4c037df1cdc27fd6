#include "dsp/EqualizerDesign.h"

#include <cmath>
#include <numbers>

#include "dsp/vector/Elementary.h"

namespace DSP::Equalizer {

namespace {

constexpr BiquadTaps kWire = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
constexpr BiquadTaps kSilent = {0.0, 0.0, 0.0, 1.0, 0.0, 0.0};

constexpr float kMinQ = 0.2f;
constexpr float kMaxQ = 12.0f;
constexpr float kMinSlope = 0.1f;
constexpr float kMaxSlope = 1.0f;

BiquadTaps Normalised(double b0, double b1, double b2, double a0, double a1, double a2) noexcept {
    return {b0 / a0, b1 / a0, b2 / a0, 1.0, a1 / a0, a2 / a0};
}

BiquadTaps Bell(const FilterNode& node, double s, double c) noexcept {
    const double A = Pow(10.0, double{node.fGainDb} / 40.0);
    const double fAlpha = s / (2.0 * double{node.fQ});
    return Normalised(1.0 + fAlpha * A, -2.0 * c, 1.0 - fAlpha * A, 1.0 + fAlpha / A, -2.0 * c,
                      1.0 - fAlpha / A);
}

// A high shelf is the low shelf of the mirrored axis: the cosine changes its sign, and so do the odd taps.
BiquadTaps Shelf(const FilterNode& node, double s, double c) noexcept {
    const double fSign = node.shape == Shape::LowShelf ? 1.0 : -1.0;
    const double A = Pow(10.0, double{node.fGainDb} / 20.0);
    const double fSlope = double{ShelfSlope(node.fQ)};
    const double fBeta = std::sqrt((A * A + 1.0) / fSlope - (A - 1.0) * (A - 1.0));
    const double cc = fSign * c;
    return Normalised(A * ((A + 1.0) - (A - 1.0) * cc + fBeta * s),
                      fSign * 2.0 * A * ((A - 1.0) - (A + 1.0) * cc),
                      A * ((A + 1.0) - (A - 1.0) * cc - fBeta * s), (A + 1.0) + (A - 1.0) * cc + fBeta * s,
                      fSign * -2.0 * ((A - 1.0) + (A + 1.0) * cc), (A + 1.0) + (A - 1.0) * cc - fBeta * s);
}

BiquadTaps Pass(const FilterNode& node, double s, double c) noexcept {
    const double fAlpha = s / (2.0 * double{node.fQ});
    const double fSide = node.shape == Shape::LowPass ? 1.0 - c : -(1.0 + c);
    const double fEnd = std::abs(fSide) / 2.0;
    return Normalised(fEnd, fSide, fEnd, 1.0 + fAlpha, -2.0 * c, 1.0 - fAlpha);
}

BiquadTaps Design(const FilterNode& node, double s, double c) noexcept {
    switch (node.shape) {
        case Shape::LowShelf:
        case Shape::HighShelf:
            return Shelf(node, s, c);
        case Shape::LowPass:
        case Shape::HighPass:
            return Pass(node, s, c);
        case Shape::Bell:
            break;
    }
    return Bell(node, s, c);
}

}  // namespace

float ShelfSlope(float fQ) noexcept {
    return (fQ - kMinQ) / (kMaxQ - kMinQ) * (kMaxSlope - kMinSlope) + kMinSlope;
}

BiquadTaps DesignBiquad(const FilterNode& node, std::uint32_t uSampleRate) noexcept {
    if (double{node.fFrequency} > double(uSampleRate) * 0.5) {
        return node.shape == Shape::HighPass ? kSilent : kWire;
    }
    const double w = 2.0 * std::numbers::pi * double{node.fFrequency} / double(uSampleRate);
    const double s = Sin(w);
    const double c = Cos(w);
    const BiquadTaps taps = Design(node, s, c);
    // At half the rate all poles and zeros are at -1 and cancel each other. What an earlier design left in
    // the delay lines would not cancel, and grow without end.
    if (double{node.fFrequency} == double(uSampleRate) * 0.5) return {taps[0], 0.0, 0.0, 1.0, 0.0, 0.0};
    return taps;
}

double BiquadMagnitude(const BiquadTaps& taps, double fOmega) noexcept {
    const double c1 = Cos(fOmega);
    const double s1 = Sin(fOmega);
    const double c2 = Cos(2.0 * fOmega);
    const double s2 = Sin(2.0 * fOmega);
    const auto power = [&](double t0, double t1, double t2) {
        const double fReal = t0 + t1 * c1 + t2 * c2;
        const double fImaginary = t1 * s1 + t2 * s2;
        return fReal * fReal + fImaginary * fImaginary;
    };
    return std::sqrt(power(taps[0], taps[1], taps[2]) / power(taps[3], taps[4], taps[5]));
}

}  // namespace DSP::Equalizer
