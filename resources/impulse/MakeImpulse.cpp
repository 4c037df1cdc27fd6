// make_impulse OUTPUT.pcm
//
// Makes the reverb's impulse: 77184 stereo frames of signed 16-bit little-endian PCM at 44100 Hz. The
// same bytes on every machine.
//
//   1. Reflections: image sources in a shoebox with walls that treat each octave in their own way, heard by
//      two microphones. Sparse at first, denser with the square of time; gone by 110 ms. See Room.h.
//   2. Tail: normal noise, another one for each channel, so that left and right have nothing in common. Each
//      octave decays with its own time, and starts as loud as the reflections of that hall are by then: the
//      two share one formula of energy, so that nothing has to be matched by ear.
//   3. Both together lose what lies below 30 Hz, fade out over the last 0.3 s, so that the end is below one
//      step of the word, and are brought to a peak of 0.9.
//
// Noise has no period and the reflections stand off their lattice, so nothing loops, flutters or rings.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "dsp/vector/Elementary.h"
#include "dsp/vector/Rounding.h"
#include "resources/impulse/Room.h"

namespace {

using Impulse::Signal;

constexpr double kPeak = 0.9 * 32767.0;
constexpr double kLowestHz = 30.0;
constexpr double kFadeSeconds = 0.3;
constexpr double kSixtyDb = 6.907755278982137;  // ln 1000

double Seconds(std::size_t uFrame) {
    return static_cast<double>(uFrame) / Impulse::kRate;
}

Signal MakeTail(std::uint64_t uSeed, double fFirst) {
    Impulse::Random random(uSeed);
    const double fDeviation = std::sqrt(Impulse::DiffuseVariance());
    Signal noise(Impulse::kFrames);
    for (double& fSample : noise)
        fSample = fDeviation * random.Normal();
    const auto bands = Impulse::SplitBands(noise);

    Signal tail(Impulse::kFrames);
    for (std::size_t b = 0; b < Impulse::kBands; ++b) {
        // The decay as a factor a frame: an exponential by itself would be a call for every sample.
        const double fStep = DSP::Exp(-kSixtyDb / (Impulse::kDecay[b] * Impulse::kRate));
        double fLevel = DSP::Exp(-kSixtyDb * fFirst / Impulse::kDecay[b]);
        for (std::size_t i = 0; i < tail.size(); ++i) {
            tail[i] += fLevel * bands[b][i];
            fLevel *= fStep;
        }
    }
    for (std::size_t i = 0; i < tail.size(); ++i) {
        // The square root, here and for the reflections: both fades are about energy.
        tail[i] *= std::sqrt(Impulse::FadeIn(Seconds(i), Impulse::kTailFrom, Impulse::kEarlyTo));
    }
    return tail;
}

void Finish(Signal& channel) {
    Impulse::HighPass(channel, kLowestHz);
    const double fEnd = Seconds(channel.size() - 1);
    for (std::size_t i = 0; i < channel.size(); ++i)
        channel[i] *= 1.0 - Impulse::FadeIn(Seconds(i), fEnd - kFadeSeconds, fEnd);
}

double Peak(const Signal& signal) {
    double fPeak = 0.0;
    for (const double fSample : signal)
        fPeak = std::max(fPeak, std::abs(fSample));
    return fPeak;
}

std::string Quantised(const Signal& left, const Signal& right) {
    const double fScale = kPeak / std::max(Peak(left), Peak(right));
    std::string strBytes;
    const auto put = [&](double fSample) {
        const auto uBits = static_cast<std::uint16_t>(DSP::RoundHalfAway(fSample * fScale));
        strBytes.push_back(static_cast<char>(uBits & 0xffu));
        strBytes.push_back(static_cast<char>(uBits >> 8));
    };
    for (std::size_t i = 0; i < left.size(); ++i) {
        put(left[i]);
        put(right[i]);
    }
    return strBytes;
}

}  // namespace

int main(int nArguments, char** arguments) {
    if (nArguments != 2) {
        std::cerr << "make_impulse OUTPUT.pcm\n";
        return 2;
    }
    auto [left, right, fFirst] = Impulse::MakeEarlyReflections();
    const Signal leftTail = MakeTail(2, fFirst), rightTail = MakeTail(3, fFirst);
    for (std::size_t i = 0; i < Impulse::kFrames; ++i) {
        left[i] += leftTail[i];
        right[i] += rightTail[i];
    }
    Finish(left);
    Finish(right);

    const std::string strBytes = Quantised(left, right);
    std::ofstream file(arguments[1], std::ios::binary);
    file.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
    file.close();
    if (file) return 0;
    std::cerr << "make_impulse: Can't write " << arguments[1] << '\n';
    std::remove(arguments[1]);
    return 1;
}
