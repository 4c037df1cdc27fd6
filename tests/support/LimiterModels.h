#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "tests/support/ModuleRun.h"

/// The limiters, sample by sample and step by step over a whole stream, with nothing carried along that can
/// be computed anew. Arithmetic in double; what the limiters define as single precision is rounded where it
/// is stored. The C library's functions, so that a fault in ours shows.
namespace Test {

using Samples = std::vector<float>;

/// The peaks of the frames: of the samples, or of the five points of a fivefold oversampling as well.
inline std::vector<double> ModelPeaks(const Stereo& x, bool bInterSample) {
    const auto nFrames = static_cast<int>(x.left.size());
    std::vector<double> peaks(x.left.size(), 0.0);
    // 63 taps of a sinc at the fivefold rate under a Kaiser window of beta 5, scaled to the sum 5.
    std::array<double, 63> taps;
    double fTapSum = 0.0;
    for (int i = 0; i < 63; ++i) {
        const double t = (i - 31) / 31.0;
        const double a = (i - 31) * std::numbers::pi / 5.0;
        taps[static_cast<std::size_t>(i)] = (i == 31 ? 1.0 : std::sin(a) / a) *
                                            std::cyl_bessel_i(0.0, 5.0 * std::sqrt(1.0 - t * t)) /
                                            std::cyl_bessel_i(0.0, 5.0);
        fTapSum += taps[static_cast<std::size_t>(i)];
    }
    for (double& tap : taps)
        tap *= 5.0 / fTapSum;
    for (const Samples* channel : {&x.left, &x.right}) {
        if (channel->empty()) continue;
        for (int i = 0; i < nFrames; ++i) {
            double& peak = peaks[static_cast<std::size_t>(i)];
            peak = std::max(peak, double{std::abs((*channel)[static_cast<std::size_t>(i)])});
            for (int k = 5 * i + 29; bInterSample && k <= 5 * i + 33; ++k) {
                double y = 0.0;
                for (int j = 0; j < 63; ++j) {
                    const int n = k - j;
                    if (n < 0 || n % 5 != 0 || n / 5 >= nFrames) continue;
                    y += taps[static_cast<std::size_t>(j)] *
                         double{(*channel)[static_cast<std::size_t>(n / 5)]};
                }
                peak = std::max(peak, std::abs(y));
            }
        }
    }
    return peaks;
}

/// The look-ahead limiter's reduction in dB for each frame of a stream that was silent before and goes on
/// long enough behind what is looked at: the last `look-ahead` frames are not to be trusted.
class LookAheadModel {
public:
    LookAheadModel(int nSampleRate, double fThresholdDb, double fCharacter)
        : m_fs(nSampleRate), m_T(fThresholdDb), m_c(fCharacter) {
        S = m_fs < 17000 ? 8 : m_fs < 25000 ? 16 : m_fs < 50001 ? 32 : m_fs < 130001 ? 64 : 128;
        L = 1 - static_cast<int>(m_fs * -0.016);
    }

    int LookAhead() const { return L; }

    std::vector<double> Reduction(const std::vector<double>& peaks) const {
        return Reduction(peaks, static_cast<int>(peaks.size()), m_c);
    }

    /// The same with another character from the frame uChange of the output on, which is L frames earlier in
    /// the input.
    std::vector<double> Reduction(const std::vector<double>& peaks, int nChange, double fCharacter) const {
        // The stream begins L frames before its first sample, with silence.
        std::vector<float> over(peaks.size() + Index(L), 0.0f);
        for (std::size_t i = 0; i < peaks.size(); ++i) {
            if (peaks[i] > std::exp(m_T * 0.115129255)) {
                over[i + Index(L)] = static_cast<float>(std::log(peaks[i]) * 8.685889 - m_T);
            }
        }
        const auto nAll = static_cast<int>(over.size());
        std::vector<float> first(over.size()), then(over.size());
        const States states = Curve(m_c, over, 0, nChange, {}, first);
        std::copy(first.begin(), first.end(), then.begin());
        // What the frames before the change see ahead of it is still the old character's.
        Curve(m_c, over, nChange, nAll, states, first);
        Curve(fCharacter, over, nChange, nAll, states, then);
        std::vector<double> reduction(peaks.size());
        for (std::size_t i = 0; i < peaks.size(); ++i) {
            const int k = static_cast<int>(i) + L;
            reduction[i] = k < nChange ? Smoothed(m_c, first, k) : Smoothed(fCharacter, then, k);
        }
        return reduction;
    }

private:
    struct States {
        float D = 0.0f, A = 0.0f, R = 0.0f;
    };

    static std::size_t Index(int i) { return static_cast<std::size_t>(i); }
    static double At(const std::vector<float>& x, int i) {
        return i < 0 || Index(i) >= x.size() ? 0.0 : double{x[Index(i)]};
    }
    int Width(double c) const {
        const int W = 2 * S + 1;
        return c >= 0.3 ? W : static_cast<int>(std::pow(c, 1.5) / std::pow(0.3, 1.5) * W + 0.5) | 1;
    }

    States Curve(double c, const std::vector<float>& over, int nFirst, int nLast, States states,
                 std::vector<float>& curve) const {
        const int V = Width(c);
        const double c2 = c > 1.0 ? c + (c - 1.0) : c;
        const double e = std::exp(2.0 * c2);
        const auto d = static_cast<float>(1.0 - (m_fs / 44100.0 * 0.1) / (e * 35.0));
        const double o = c2 > 0.5 ? std::min((c2 - 0.5) * 0.7, 0.9) : 0.0;
        const double u = 44.100002 / m_fs;
        const double f = c < 0.3 ? c * c / 0.09 : 1.0;
        const double v = std::min(c2 > 0.7 ? u + (c2 - 0.7) * (c2 - 0.7) : u, 1.0);
        const int M = static_cast<int>(m_fs * 0.014);
        auto [D, A, R] = states;
        for (int k = nFirst; k < nLast; ++k) {
            double fHeld = 0.0;
            for (int j = k - V / 2; j <= k + V / 2; ++j)
                fHeld = std::max(fHeld, At(over, j));
            curve[Index(k)] = static_cast<float>(fHeld);
            if (V == 1) continue;
            D = static_cast<float>(double{D} * double{d});
            if (D < 1e-10f) D = 0.0f;
            D = std::max(D, static_cast<float>(fHeld));
            if (c <= 0.04) continue;
            double s = 0.0;
            for (int j = k; j < k + M; ++j)
                s += std::abs(At(over, j + 1) - At(over, j));
            const double a = std::min(s * e * 0.018181818 + o, 1.0);
            double z = a * f * u + double{A} * (1.0 - u);
            if (z < 1e-10) z = 0.0;
            A = static_cast<float>(double{A} + (z - double{A}) * (z <= double{A} ? 2.0 : 0.3));
            A = std::clamp(A, 0.0f, 1.0f);
            R = static_cast<float>(double{D} * double{D} * v + (1.0 - v) * double{R});
            if (R < 1e-10f) R = 0.0f;
            curve[Index(k)] = std::max(curve[Index(k)], static_cast<float>(std::sqrt(double{R}) * double{A}));
        }
        return {D, A, R};
    }

    double Smoothed(double c, const std::vector<float>& curve, int k) const {
        double fSum = 0.0, fTaps = 0.0;
        const int W = 2 * S + 1, V = Width(c), nHalf = S;
        for (int i = (W - V) / 2; i < (W + V) / 2; ++i) {
            const double tap = 1.0 - std::cos(std::numbers::pi * (1.0 + 2.0 * (i - nHalf) / double(V)));
            fTaps += tap;
            fSum += tap * At(curve, k - nHalf + i);
        }
        return fSum / fTaps;
    }

    int m_fs;
    double m_T, m_c;
    int S, L;
};

/// The modes with attack and release, by their rings and their window.
struct PeakModel {
    bool bBrickwall = false;
    double fThreshold = 1.0;  ///< linear
    double fMakeUp = 1.0;
    float fPeakDecay = 0.0f;
    float fAttack = 0.0f;
    float fRelease = 0.0f;

    /// Levels, one a frame, belong to the frame itself.
    void Run(Stereo& x, const std::vector<double>& levels) {
        for (std::size_t i = 0; i < x.left.size(); ++i) {
            const double p = i < 63 ? 0.0 : levels[i - 63];
            if (p < double{fFollower}) {
                fFollower = std::max(fFollower * fPeakDecay, static_cast<float>(p));
            } else {
                fFollower = static_cast<float>(p);
            }
            const double fOver = double{fFollower} / fThreshold;
            float fTarget = 1.0f;
            if (fOver >= 1.0) fTarget = static_cast<float>(bBrickwall ? 1.0 / fOver : std::pow(fOver, -0.95));
            if (bBrickwall) {
                for (float& entry : window)
                    entry = std::min(entry, fTarget);
                fTarget = window[uPosition];
                window[uPosition] = 1.0f;
                uPosition = (uPosition + 1) % window.size();
            }
            if (fGain <= fTarget) {
                fGain = fGain * fRelease + (1.0f - fRelease);
            } else {
                fGain = fGain * fAttack + fTarget * (1.0f - fAttack);
            }
            if (bBrickwall) fGain = std::min(fGain, fTarget);
            fLeastGain = std::min(fLeastGain, fGain);
            gains.push_back(fGain);
        }
        for (Samples* channel : {&x.left, &x.right}) {
            const Samples in = *channel;
            for (std::size_t i = 0; i < in.size(); ++i) {
                const double fDelayed = i < 262 ? 0.0 : double{in[i - 262]};
                (*channel)[i] = static_cast<float>(fDelayed * double{gains[i]} * fMakeUp);
            }
        }
    }

    float fFollower = 0.0f;
    float fGain = 1.0f;
    float fLeastGain = 1.0f;
    std::vector<float> gains{};
    std::array<float, 200> window = [] {
        std::array<float, 200> ones;
        ones.fill(1.0f);
        return ones;
    }();
    std::size_t uPosition = 0;
};

/// Bursts of noise, tones, constants and clicks of one sample between quiet stretches: what a limiter
/// dislikes. The first 64 samples are silent.
inline Samples Bursts(std::uint64_t uSeed, std::size_t uLength, float fLoudest) {
    Random random(uSeed);
    Samples x(64, 0.0f);
    while (x.size() < uLength) {
        const std::uint32_t uKind = random.Between(0, 4);
        const std::uint32_t uFrames = uKind == 4 ? 1 : random.Between(1, 1500);
        const float fLevel = fLoudest * random.Uniform(0.0f, 1.0f) * random.Uniform(0.0f, 1.0f);
        const float fStep = random.Uniform(0.001f, 3.0f);
        for (std::uint32_t i = 0; i < uFrames; ++i) {
            const float fNoise = random.Uniform(-1.0f, 1.0f);
            const float fShape = uKind == 0   ? 0.001f * fNoise
                                 : uKind == 1 ? fNoise
                                 : uKind == 2 ? std::sin(fStep * static_cast<float>(i))
                                 : uKind == 3 ? 1.0f
                                              : (fNoise < 0.0f ? -1.0f : 1.0f);
            x.push_back(fLevel * fShape);
        }
    }
    x.resize(uLength);
    return x;
}

inline Stereo StereoBursts(std::uint64_t uSeed, std::size_t uLength, float fLoudest) {
    return {Bursts(uSeed, uLength, fLoudest), Bursts(uSeed + 1000, uLength, fLoudest)};
}

}  // namespace Test
