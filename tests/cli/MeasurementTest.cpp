#include "apps/vesca/Measurement.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "tests/support/Signals.h"

using App::Levels;
using App::Measurement;

namespace {

std::vector<float> Sine(double fHz, double fRate, double fSeconds, double fPhase = 0.0) {
    std::vector<float> samples(static_cast<std::size_t>(fSeconds * fRate));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(
            std::sin(2.0 * std::numbers::pi * fHz * static_cast<double>(i) / fRate + fPhase));
    return samples;
}

Levels Measure(std::uint32_t uRate, const std::vector<float>& left, const std::vector<float>& right,
               std::uint32_t uBlock = 4096) {
    Measurement measurement(right.empty() ? 1 : 2, uRate);
    for (std::size_t i = 0; i < left.size(); i += uBlock) {
        const auto uFrames = static_cast<std::uint32_t>(std::min<std::size_t>(uBlock, left.size() - i));
        measurement.Add(uFrames, left.data() + i, right.empty() ? nullptr : right.data() + i);
    }
    return measurement.Finish();
}

bool Near(const std::optional<double>& value, double fExpected, double fTolerance) {
    return value && std::abs(*value - fExpected) <= fTolerance;
}

}  // namespace

TEST_CASE("Measurement: a full-scale sine of 997 Hz reads -3.01 LUFS in one channel and 0 in two") {
    for (const std::uint32_t uRate : {22050u, 44100u, 48000u, 192000u}) {
        CAPTURE(uRate);
        const auto sine = Sine(997, uRate, 5);
        const std::vector<float> silence(sine.size());
        const Levels one = Measure(uRate, sine, silence);
        // The loudness filter is defined at 48 kHz and redesigned elsewhere: a tenth of a unit.
        CHECK(Near(one.integratedLufs, -3.01, 0.1));
        CHECK(Near(one.loudnessRangeLu, 0.0, 0.1));
        // The mean square over both channels is a quarter: 10 log10(1/4).
        CHECK(Near(one.rmsDb, -6.0206, 1e-4));
        CHECK(Near(one.peakDb, 0.0, 0.1));
        CHECK(Near(one.truePeakDb, 0.0, 0.2));
        CHECK(*one.truePeakDb >= *one.peakDb);
        CHECK(Near(Measure(uRate, sine, sine).integratedLufs, 0.0, 0.1));
        CHECK(Near(Measure(uRate, sine, {}).integratedLufs, -3.01, 0.1));
        CHECK(Near(Measure(uRate, sine, {}).rmsDb, -3.0103, 1e-4));
    }
}

TEST_CASE("Measurement: a sine sampled off its tops has its true peak between the samples") {
    // A quarter of the rate at 45 degrees: every sample is sin 45, the wave itself reaches 1.
    const auto sine = Sine(12000, 48000, 1, std::numbers::pi / 4.0);
    const Levels levels = Measure(48000, sine, sine);
    CHECK(Near(levels.peakDb, -3.0103, 1e-4));
    CHECK(Near(levels.truePeakDb, 0.0, 0.3));
}

TEST_CASE("Measurement: a constant is its own mean, and each channel has its own") {
    const Levels levels = Measure(44100, std::vector(44100, 0.25f), std::vector(44100, -0.5f));
    REQUIRE(levels.dcOffset.size() == 2);
    CHECK(levels.dcOffset[0] == 0.25);
    CHECK(levels.dcOffset[1] == -0.5);
    CHECK(Near(levels.peakDb, -6.0206, 1e-4));
    CHECK(Near(levels.rmsDb, 10.0 * std::log10((0.0625 + 0.25) / 2.0), 1e-4));
}

TEST_CASE("Measurement: silence and nothing have no levels, and a bad sample spoils none") {
    for (const std::size_t uLength : {0u, 1u, 44100u}) {
        CAPTURE(uLength);
        const Levels levels = Measure(44100, std::vector<float>(uLength), std::vector<float>(uLength));
        CHECK_FALSE(levels.peakDb);
        CHECK_FALSE(levels.truePeakDb);
        CHECK_FALSE(levels.rmsDb);
        CHECK_FALSE(levels.integratedLufs);
        CHECK_FALSE(levels.loudnessRangeLu);
        for (const double fOffset : levels.dcOffset)
            CHECK(fOffset == 0.0);
    }
    auto spoilt = Sine(997, 44100, 2);
    const Levels clean = Measure(44100, spoilt, spoilt);
    spoilt[100] = std::numeric_limits<float>::quiet_NaN();
    spoilt[200] = std::numeric_limits<float>::infinity();
    const Levels levels = Measure(44100, spoilt, spoilt);
    CHECK(Near(levels.integratedLufs, *clean.integratedLufs, 0.05));
    CHECK(Near(levels.peakDb, *clean.peakDb, 1e-9));
}

TEST_CASE("Measurement: the cut of the stream into blocks changes nothing") {
    const auto left = Test::Noise(11, 50000);
    const auto right = Test::Noise(12, 50000);
    const Levels whole = Measure(44100, left, right, 50000);
    for (const std::uint32_t uBlock : {1u, 64u, 511u}) {
        CAPTURE(uBlock);
        const Levels cut = Measure(44100, left, right, uBlock);
        CHECK(cut.peakDb == whole.peakDb);
        CHECK(cut.truePeakDb == whole.truePeakDb);
        CHECK(cut.rmsDb == whole.rmsDb);
        CHECK(cut.dcOffset == whole.dcOffset);
        CHECK(Near(cut.integratedLufs, *whole.integratedLufs, 1e-9));
    }
}
