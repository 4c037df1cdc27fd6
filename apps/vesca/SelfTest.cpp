#include "apps/vesca/SelfTest.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <optional>

#include "apps/vesca/ChainRun.h"
#include "apps/vesca/Measurement.h"
#include "dsp/vector/Dispatch.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::uint32_t kRate = 44100;
using Audio = ChainAudio;
using Settings = std::vector<std::string>;
using Blocks = std::vector<std::uint32_t>;

ChainRun Render(const Audio& input, const Settings& settings, const Blocks& blocks = {512}) {
    return RunChain(input, kRate, settings, blocks);
}

/// White noise from -level to +level, the same at every call: a linear congruential generator (Numerical
/// Recipes' constants).
Audio Noise(std::size_t uFrames, float fLevel) {
    Audio audio;
    std::uint32_t uState = 1;
    const auto next = [&] {
        uState = uState * 1664525u + 1013904223u;
        return (static_cast<float>(uState >> 8) / 8388608.0f - 1.0f) * fLevel;
    };
    for (std::size_t i = 0; i < uFrames; ++i) {
        audio.left.push_back(next());
        audio.right.push_back(next());
    }
    return audio;
}

Audio Sine(std::size_t uFrames, double fHz, double fLevelDb) {
    const double fLevel = std::pow(10.0, fLevelDb / 20.0);
    Audio audio;
    for (std::size_t i = 0; i < uFrames; ++i) {
        const double fPhase = 2.0 * std::numbers::pi * fHz * static_cast<double>(i) / kRate;
        audio.left.push_back(static_cast<float>(fLevel * std::sin(fPhase)));
    }
    audio.right = audio.left;
    return audio;
}

double Db(double fLinear) {
    return 20.0 * std::log10(std::max(fLinear, 1e-20));
}

std::string Fixed(double fValue, int nDigits) {
    char text[40];
    std::snprintf(text, sizeof text, "%.*f", nDigits, fValue);
    return text;
}

double Peak(const std::vector<float>& samples) {
    double fPeak = 0.0;
    for (const float f : samples)
        fPeak = std::max(fPeak, std::abs(double{f}));
    return fPeak;
}

double GreatestDifference(const Audio& a, const Audio& b) {
    double fGreatest = a.left.size() == b.left.size() ? 0.0 : 1.0;
    for (std::size_t i = 0; i < std::min(a.left.size(), b.left.size()); ++i) {
        fGreatest = std::max(fGreatest, std::abs(double{a.left[i]} - double{b.left[i]}));
        fGreatest = std::max(fGreatest, std::abs(double{a.right[i]} - double{b.right[i]}));
    }
    return fGreatest;
}

/// The amplitude of a frequency in a signal: one bin of the Fourier transform.
double Amplitude(const std::vector<double>& signal, double fHz) {
    double fCosine = 0.0;
    double fSine = 0.0;
    for (std::size_t i = 0; i < signal.size(); ++i) {
        const double fPhase = 2.0 * std::numbers::pi * fHz * static_cast<double>(i) / kRate;
        fCosine += signal[i] * std::cos(fPhase);
        fSine += signal[i] * std::sin(fPhase);
    }
    return 2.0 * std::hypot(fCosine, fSine) / static_cast<double>(signal.size());
}

/// Every chain here hands an impulse on as an impulse, so that its highest sample shows the delay.
SelfTestResult CheckLatency() {
    const std::vector<Settings> chains = {
        {},
        {"EQ: Bypass=off", "EQ: Type=Digital", "EQ: FFT Size=1024"},
        {"EQ: Bypass=off", "EQ: Type=Digital", "EQ: FFT Size=4096"},
        {"EQ: Bypass=off", "EQ: Type=Digital", "EQ: FFT Size=16384"},
        {"IMG: Bypass=off", "CrossOver: Type=Digital"},
        {"IMG: Bypass=off", "CrossOver: Number of Bands=1"},
        {"DYN: Bypass=off", "CrossOver: Number of Bands=1"},
        {"DYN: Bypass=off", "EXC: Bypass=off", "CrossOver: Type=Digital", "EQ: Bypass=off",
         "EQ: Type=Digital"},
        {"RVB: Bypass=off"},
        {"LMAX: Bypass=off", "LMAX: Mode=Soft"},
        {"LMAX: Bypass=off", "LMAX: Mode=Brickwall"},
        {"LMAX: Bypass=off", "LMAX: Mode=Intelligent"},
        {"LMAX: Bypass=off", "LMAX: Mode=Intelligent", "LMAX: Intersample Clip Detect=on"}};
    constexpr std::size_t kImpulse = 1000;
    Audio impulse{std::vector<float>(32768), std::vector<float>(32768)};
    impulse.left[kImpulse] = impulse.right[kImpulse] = 0.5f;
    std::int64_t nWorst = 0;
    std::uint32_t uLongest = 0;
    for (Settings settings : chains) {
        settings.push_back("Global: Delay Compensation=off");
        const ChainRun result = Render(impulse, settings);
        const auto& left = result.audio.left;
        const auto highest = std::max_element(left.begin(), left.end(),
                                              [](float a, float b) { return std::abs(a) < std::abs(b); });
        const std::int64_t nMeasured = highest - left.begin() - std::ptrdiff_t{kImpulse};
        nWorst = std::max(nWorst, std::abs(nMeasured - std::int64_t{result.uSystemDelay}));
        uLongest = std::max(uLongest, result.uSystemDelay);
    }
    return {Util::Format("%1 samples off in %2 chains, longest %3", nWorst, chains.size(), uLongest),
            "0 samples off", nWorst == 0 && uLongest > 0};
}

SelfTestResult CheckNull() {
    constexpr double kEmptyLimitDb = -180.0;
    constexpr double kLinearPhaseLimitDb = -110.0;
    const Audio noise = Noise(2 * kRate, 0.5f);
    const double fEmpty = Db(GreatestDifference(noise, Render(noise, {}).audio));
    const double fLinearPhase = Db(GreatestDifference(
        noise,
        Render(noise, {"EQ: Bypass=off", "EQ: Type=Digital", "IMG: Bypass=off", "CrossOver: Type=Digital"})
            .audio));
    return {Util::Format("empty %1 dB, flat linear phase %2 dB", Fixed(fEmpty, 1), Fixed(fLinearPhase, 1)),
            Util::Format("under %1 and %2 dB", Fixed(kEmptyLimitDb, 0), Fixed(kLinearPhaseLimitDb, 0)),
            fEmpty < kEmptyLimitDb && fLinearPhase < kLinearPhaseLimitDb};
}

SelfTestResult CheckCeiling() {
    constexpr double kMarginDb = -1.0;
    constexpr double kToleranceDb = 0.01;
    const Audio noise = Noise(2 * kRate, 2.0f);
    double fHighest = -1000.0;
    for (const char* const mode : {"LMAX: Mode=Brickwall", "LMAX: Mode=Intelligent"}) {
        const ChainRun result =
            Render(noise, {"LMAX: Bypass=off", mode, "LMAX: Threshold=-6", "LMAX: Margin=-1"});
        fHighest = std::max({fHighest, Db(Peak(result.audio.left)), Db(Peak(result.audio.right))});
    }
    return {Util::Format("noise at +6 dB comes out at %1 dB", Fixed(fHighest, 3)),
            Util::Format("%1 dB or less", Fixed(kMarginDb, 1)), fHighest < kMarginDb + kToleranceDb};
}

/// A quiet sine in 16 bits: its odd harmonics, which bare rounding would bring to some -110 dB, must drown in
/// the noise, and the noise must leave the range in which the ear is keenest.
SelfTestResult CheckDither() {
    constexpr double kHarmonicLimitDb = -125.0;
    constexpr double kDipLimitDb = -10.0;
    constexpr double kStep = 1.0 / 32768.0;
    const Audio sine = Sine(4 * kRate, 441.0, -80.0);
    const ChainRun result = Render(
        sine, {"DTR: Dithering Type=Type 2", "DTR: Dithering Bit Depth=16", "DTR: Dithering Shape=Psych9"});
    bool bOnGrid = true;
    std::vector<double> error;
    for (std::size_t i = 0; i < sine.left.size(); ++i) {
        const double fSteps = double{result.audio.left[i]} / kStep;
        bOnGrid &= fSteps == std::round(fSteps);
        error.push_back(double{result.audio.left[i]} - double{sine.left[i]});
    }
    double fHarmonic = 0.0;
    for (const int nOrder : {3, 5, 7, 9})
        fHarmonic = std::max(fHarmonic, Amplitude(error, 441.0 * nOrder));
    // Power per bin where the ear is keenest, over that of all bins: white noise would read 0 dB.
    double fTotal = 0.0;
    for (const double f : error)
        fTotal += f * f;
    const double fMeanBin = fTotal * 4.0 / std::pow(static_cast<double>(error.size()), 2.0);
    double fKeen = 0.0;
    constexpr int kProbes = 40;
    for (int i = 0; i < kProbes; ++i)
        fKeen += std::pow(Amplitude(error, 2500.25 + 37.5 * i), 2.0) / kProbes;
    const double fDip = 10.0 * std::log10(fKeen / fMeanBin);
    return {Util::Format("%1, harmonics %2 dB, noise at 3 kHz %3 dB", bOnGrid ? "on 16 bits" : "OFF 16 bits",
                         Fixed(Db(fHarmonic), 1), Fixed(fDip, 1)),
            Util::Format("under %1 and %2 dB", Fixed(kHarmonicLimitDb, 0), Fixed(kDipLimitDb, 0)),
            bOnGrid && Db(fHarmonic) < kHarmonicLimitDb && fDip < kDipLimitDb};
}

/// The first signal of EBU Tech 3341: a stereo sine of 1 kHz at -23 dB of full scale is -23 LUFS.
SelfTestResult CheckLoudness() {
    constexpr double kToleranceLu = 0.1;
    const Audio sine = Sine(20 * kRate, 1000.0, -23.0);
    const ChainRun result = Render(sine, {});
    Measurement measurement(2, kRate);
    measurement.Add(static_cast<std::uint32_t>(result.audio.left.size()), result.audio.left.data(),
                    result.audio.right.data());
    const double fLoudness = measurement.Finish().integratedLufs.value_or(-1000.0);
    return {Util::Format("%1 LUFS", Fixed(fLoudness, 2)), "-23.0 +- 0.1 LUFS",
            std::abs(fLoudness + 23.0) <= kToleranceLu};
}

SelfTestResult CheckDeterminism() {
    const Settings everything = {"EQ: Bypass=off",   "EQ: Type=Digital", "EQ: Gain 4=3",
                                 "RVB: Bypass=off",  "DYN: Bypass=off",  "DYN: Band 1 Comp Threshold=-30",
                                 "EXC: Bypass=off",  "IMG: Bypass=off",  "IMG: Band 3 Width=0.4",
                                 "LMAX: Bypass=off", "DCO: Enable=on",   "DTR: Dithering Type=DSHP+"};
    const Audio noise = Noise(kRate, 0.4f);
    const Audio first = Render(noise, everything).audio;
    int nRenders = 0;
    int nDifferent = 0;
    std::string strLevels;
    for (const DSP::ProcessorLevel& level : DSP::AvailableProcessorLevels()) {
        DSP::UseProcessorLevel(level);
        strLevels += (strLevels.empty() ? "" : ", ") + level.strName;
        for (const Blocks& blocks : {Blocks{512}, Blocks{64, 500, 1}, Blocks{8192}}) {
            ++nRenders;
            if (Render(noise, everything, blocks).audio != first) ++nDifferent;
        }
    }
    DSP::UseBestProcessorLevel();
    return {Util::Format("%1 of %2 renders differ (%3)", nDifferent, nRenders, strLevels), "the same bits",
            nDifferent == 0};
}

}  // namespace

std::vector<SelfTest> SelfTests() {
    return {{"latency", &CheckLatency}, {"null", &CheckNull},         {"ceiling", &CheckCeiling},
            {"dither", &CheckDither},   {"loudness", &CheckLoudness}, {"determinism", &CheckDeterminism}};
}

}  // namespace App
