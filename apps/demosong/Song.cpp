#include "apps/demosong/Song.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/vector/Elementary.h"

namespace Demo {

namespace {

constexpr double kBeatsPerMinute = 80.0;
constexpr double kBeat = 60.0 / kBeatsPerMinute;  ///< s
constexpr int kBeats = 16;
constexpr int kBeatsPerChord = 4;
constexpr double kPeak = 0.25;  ///< of the finished song: about -12 dB, as mixes come in

/// White noise from a linear congruential generator (Knuth's MMIX constants): the same on every machine.
class Noise {
public:
    explicit Noise(std::uint64_t uSeed) : m_uState(uSeed) {}

    /// -1 to 1
    double Next() {
        m_uState = m_uState * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<double>(static_cast<std::int32_t>(m_uState >> 32)) / 2147483648.0;
    }

private:
    std::uint64_t m_uState;
};

/// Where a sound stands between left and right, -1 to 1, with the same power everywhere.
struct Pan {
    explicit Pan(double fPosition)
        : fLeft(DSP::Cos((fPosition + 1.0) * std::numbers::pi / 4.0)),
          fRight(DSP::Sin((fPosition + 1.0) * std::numbers::pi / 4.0)) {}

    double fLeft;
    double fRight;
};

double KeyFrequency(int nKey) {
    return 440.0 * DSP::Exp2((nKey - 69) / 12.0);
}

class Mix {
public:
    explicit Mix(double fSeconds)
        : m_left(static_cast<std::size_t>(fSeconds * kSampleRate)), m_right(m_left.size()) {}

    /// Adds a sound: `sample(t)` is its value t seconds after its start.
    template <class Sample>
    void Add(double fStart, double fLength, const Pan& pan, Sample&& sample) {
        const auto uFirst = static_cast<std::size_t>(fStart * kSampleRate);
        const auto uLast = std::min(uFirst + static_cast<std::size_t>(fLength * kSampleRate), m_left.size());
        for (std::size_t i = uFirst; i < uLast; ++i) {
            const double fSample = sample(static_cast<double>(i - uFirst) / kSampleRate);
            m_left[i] += fSample * pan.fLeft;
            m_right[i] += fSample * pan.fRight;
        }
    }

    Recording Finish() const {
        double fPeak = 0.0;
        for (std::size_t i = 0; i < m_left.size(); ++i)
            fPeak = std::max({fPeak, std::abs(m_left[i]), std::abs(m_right[i])});
        Recording recording;
        for (std::size_t i = 0; i < m_left.size(); ++i) {
            recording.left.push_back(static_cast<float>(m_left[i] * kPeak / fPeak));
            recording.right.push_back(static_cast<float>(m_right[i] * kPeak / fPeak));
        }
        return recording;
    }

private:
    std::vector<double> m_left;
    std::vector<double> m_right;
};

/// A held note of a soft organ: a few partials, a slow start, and a detuned twin on the other side.
void PlayPad(Mix& mix, double fStart, double fLength, int nKey, double fSide) {
    for (const double fTwin : {-1.0, 1.0}) {
        const double fFrequency = KeyFrequency(nKey) * DSP::Exp2(fTwin * 4.0 / 1200.0);
        mix.Add(fStart, fLength, Pan(fTwin * fSide), [=](double t) {
            double fSum = 0.0;
            for (int nPartial = 1; nPartial <= 5; ++nPartial) {
                fSum += DSP::Sin(2.0 * std::numbers::pi * fFrequency * nPartial * t) / (nPartial * nPartial);
            }
            const double fFade = std::min({t / 0.15, (fLength - t) / 0.1, 1.0});
            return 0.12 * fFade * fSum;
        });
    }
}

/// A plucked bass string: its upper partials die first.
void PlayBass(Mix& mix, double fStart, int nKey) {
    const double fFrequency = KeyFrequency(nKey);
    mix.Add(fStart, kBeat, Pan(0.0), [=](double t) {
        double fSum = 0.0;
        for (int nPartial = 1; nPartial <= 6; ++nPartial) {
            fSum += DSP::Exp(-2.5 * nPartial * t) *
                    DSP::Sin(2.0 * std::numbers::pi * fFrequency * nPartial * t) / nPartial;
        }
        return 0.55 * std::min(t / 0.004, 1.0) * std::min((kBeat - t) / 0.02, 1.0) * fSum;
    });
}

/// A drum skin whose pitch falls.
void PlayKick(Mix& mix, double fStart) {
    mix.Add(fStart, 0.35, Pan(0.0), [](double t) {
        // The phase is the integral of a frequency that falls from 165 to 45 Hz.
        const double fPhase = 45.0 * t + 120.0 * 0.03 * (1.0 - DSP::Exp(-t / 0.03));
        return 0.95 * DSP::Exp(-t / 0.11) * DSP::Sin(2.0 * std::numbers::pi * fPhase);
    });
}

void PlaySnare(Mix& mix, double fStart, Noise& noise) {
    mix.Add(fStart, 0.25, Pan(0.1), [&](double t) {
        const double fSkin = DSP::Exp(-t / 0.05) * DSP::Sin(2.0 * std::numbers::pi * 190.0 * t);
        return 0.4 * fSkin + 0.45 * DSP::Exp(-t / 0.07) * noise.Next();
    });
}

/// Noise through a difference, which keeps its highs.
void PlayHat(Mix& mix, double fStart, double fSide, Noise& noise) {
    double fBefore = 0.0;
    mix.Add(fStart, 0.08, Pan(fSide), [&](double t) {
        const double fNow = noise.Next();
        const double fHigh = fNow - fBefore;
        fBefore = fNow;
        return 0.1 * DSP::Exp(-t / 0.02) * fHigh;
    });
}

}  // namespace

Recording PlaySong() {
    // A minor, F, C, G: keys counted as on a keyboard, 69 is the A of 440 Hz.
    constexpr int kChords[][3] = {{57, 60, 64}, {53, 57, 60}, {55, 60, 64}, {55, 59, 62}};
    constexpr int kBassKeys[] = {33, 29, 36, 31};
    constexpr double kSides[] = {0.3, 0.6, 0.9};

    Mix mix(kBeats * kBeat);
    Noise noise(20);
    for (int nChord = 0; nChord < kBeats / kBeatsPerChord; ++nChord) {
        const double fStart = nChord * kBeatsPerChord * kBeat;
        for (int nVoice = 0; nVoice < 3; ++nVoice)
            PlayPad(mix, fStart, kBeatsPerChord * kBeat, kChords[nChord][nVoice], kSides[nVoice]);
    }
    for (int nBeat = 0; nBeat < kBeats; ++nBeat) {
        const double fStart = nBeat * kBeat;
        PlayBass(mix, fStart, kBassKeys[nBeat / kBeatsPerChord] + (nBeat % 4 == 3 ? 12 : 0));
        if (nBeat % 2 == 0) {
            PlayKick(mix, fStart);
        } else {
            PlaySnare(mix, fStart, noise);
        }
        PlayHat(mix, fStart, -0.5, noise);
        PlayHat(mix, fStart + kBeat / 2.0, 0.5, noise);
    }
    return mix.Finish();
}

}  // namespace Demo
