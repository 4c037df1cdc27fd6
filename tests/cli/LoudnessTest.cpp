#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "apps/vesca/Measurement.h"
#include "tests/support/Sanitized.h"

using App::Levels;

namespace {

/// A stretch of a stereo sine of 1 kHz, the same in both channels.
struct Tone {
    double fSeconds;
    double fPeakDb;  ///< dB of full scale
};

/// The signals of EBU Tech 3341, table 1, cases 1 to 5, with the loudness that each has to give within 0.1;
/// then those of EBU Tech 3342, table 1, cases 1 to 4, with the loudness range, within 1.
struct Case {
    const char* name;
    std::vector<Tone> tones;
    std::optional<double> lufs;
    std::optional<double> rangeLu;
    bool bEveryRate = false;  ///< otherwise at 48 kHz only, to save time
};
const std::vector<Case> kCases = {
    {"3341/1", {{20, -23}}, -23.0, {}},
    {"3341/2", {{20, -33}}, -33.0, {}},
    {"3341/3", {{10, -36}, {60, -23}, {10, -36}}, -23.0, {}, true},
    {"3341/4", {{10, -72}, {10, -36}, {60, -23}, {10, -36}, {10, -72}}, -23.0, {}},
    {"3341/5", {{20, -26}, {20.1, -20}, {20, -26}}, -23.0, {}, true},
    {"3342/1", {{20, -20}, {20, -30}}, {}, 10.0, true},
    {"3342/2", {{20, -20}, {20, -15}}, {}, 5.0},
    {"3342/3", {{20, -40}, {20, -20}}, {}, 20.0},
    {"3342/4", {{20, -50}, {20, -35}, {20, -20}, {20, -35}, {20, -50}}, {}, 15.0},
};

Levels MeasureTones(const std::vector<Tone>& tones, std::uint32_t uRate, double fShare) {
    App::Measurement measurement(2, uRate);
    // Whole periods, so that the stretches can be repeated.
    std::vector<float> second(uRate), block(uRate);
    for (std::size_t i = 0; i < second.size(); ++i)
        second[i] = static_cast<float>(std::sin(2000.0 * std::numbers::pi * static_cast<double>(i) / uRate));
    for (const Tone& tone : tones) {
        const auto fGain = static_cast<float>(std::pow(10.0, tone.fPeakDb / 20.0));
        std::transform(second.begin(), second.end(), block.begin(), [=](float f) { return f * fGain; });
        auto uLeft = static_cast<std::uint32_t>(std::lround(tone.fSeconds * fShare * uRate));
        while (uLeft > 0) {
            const std::uint32_t uFrames = std::min(uLeft, uRate);
            measurement.Add(uFrames, block.data(), block.data());
            uLeft -= uFrames;
        }
    }
    return measurement.Finish();
}

/// A sine of a share of the rate that fades in and out, so that no edge has a peak of its own.
std::vector<float> FadedSine(double fShare, double fPhaseDegrees, double fAmplitude, std::size_t uFrames) {
    std::vector<float> samples(uFrames);
    for (std::size_t i = 0; i < uFrames; ++i) {
        const double fPosition = static_cast<double>(i);
        const double fEdge = std::min({1.0, fPosition / 500, static_cast<double>(uFrames - 1 - i) / 500});
        const double fAngle = 2.0 * std::numbers::pi * (fShare * fPosition + fPhaseDegrees / 360.0);
        samples[i] = static_cast<float>(fAmplitude * fEdge * std::sin(fAngle));
    }
    return samples;
}

}  // namespace

TEST_CASE("Loudness and its range agree with EBU Tech 3341 and 3342 at every rate") {
    for (const std::uint32_t uRate : {44100u, 48000u, 96000u, 192000u}) {
        if (Test::kSanitized && uRate > 48000) continue;
        const bool bInFull = uRate == 48000 && !Test::kSanitized;
        for (const Case& one : kCases) {
            if (!bInFull && !one.bEveryRate) continue;
            CAPTURE(uRate);
            CAPTURE(std::string(one.name));
            // Half as long the levels are the same.
            const Levels levels = MeasureTones(one.tones, uRate, bInFull ? 1.0 : 0.5);
            if (one.lufs) CHECK(std::abs(levels.integratedLufs.value_or(0) - *one.lufs) <= 0.1);
            if (one.rangeLu) CHECK(std::abs(levels.loudnessRangeLu.value_or(0) - *one.rangeLu) <= 1.0);
        }
    }
}

TEST_CASE("The true peak of a tone is its amplitude, to a twentieth of a decibel, up to 0.47 of the rate") {
    // Among them the signals of EBU Tech 3341, cases 15 to 18, for which the standard allows +0.2 and -0.4
    // dB.
    std::vector<double> shares = {1.0 / 4, 1.0 / 6, 1.0 / 8};
    for (double fShare = 0.01; fShare <= 0.47; fShare += 0.0143)
        shares.push_back(fShare);
    for (const double fShare : shares) {
        for (const double fPhase : {0.0, 20.0, 45.0, 60.0, 67.5}) {
            CAPTURE(fShare);
            CAPTURE(fPhase);
            const auto samples = FadedSine(fShare, fPhase, 0.7, 3000);
            App::TruePeak whole, cut;
            whole.Add(samples.data(), 3000);
            for (std::uint32_t i = 0; i < 3000; i += 40)
                cut.Add(samples.data() + i, 40);
            CHECK(std::abs(20.0 * std::log10(whole.Peak() / 0.7)) < 0.05);
            CHECK(cut.Peak() == whole.Peak());
        }
    }
    // What comes last is still between samples: a pulse that the stream ends on.
    const float pulse[] = {0.5f, 0.5f};
    App::TruePeak end;
    end.Add(pulse, 2);
    CHECK(end.Peak() > 0.6f);  // sinc(1/2) twice: 2 * 0.5 * 0.6366
}
