#include "apps/vesca/Measurement.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "tests/support/Signals.h"

using App::Levels;
using App::Measurement;

namespace {

std::vector<float> Sine(double fHz, double fRate, double fSeconds) {
    std::vector<float> samples(static_cast<std::size_t>(fSeconds * fRate));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] =
            static_cast<float>(std::sin(2.0 * std::numbers::pi * fHz * static_cast<double>(i) / fRate));
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
    for (const std::uint32_t uRate : {22050u, 192000u}) {
        CAPTURE(uRate);
        const auto sine = Sine(997, uRate, 5);
        const Levels one = Measure(uRate, sine, std::vector<float>(sine.size()));
        // The loudness filter is defined at 48 kHz and redesigned elsewhere: a tenth of a unit.
        CHECK(Near(one.integratedLufs, -3.01, 0.1));
        CHECK(Near(one.loudnessRangeLu, 0.0, 0.1));
        // The mean square over both channels is a quarter: 10 log10(1/4).
        CHECK(Near(one.rmsDb, -6.0206, 1e-4));
        CHECK(Near(one.peakDb, 0.0, 0.1));
        CHECK(*one.truePeakDb >= *one.peakDb);
        CHECK(Near(Measure(uRate, sine, sine).integratedLufs, 0.0, 0.1));
        const Levels mono = Measure(uRate, sine, {});
        CHECK(Near(mono.integratedLufs, -3.01, 0.1));
        CHECK(Near(mono.rmsDb, -3.0103, 1e-4));
    }
}

TEST_CASE("Measurement: a constant is its own mean, and each channel has its own") {
    const Levels levels = Measure(44100, std::vector(44100, 0.25f), std::vector(44100, -0.5f));
    CHECK(levels.dcOffset == std::vector{0.25, -0.5});
    CHECK(Near(levels.peakDb, -6.0206, 1e-4));
    CHECK(Near(levels.rmsDb, 10.0 * std::log10((0.0625 + 0.25) / 2.0), 1e-4));
}

TEST_CASE("Measurement: silence and nothing have no levels, and a bad sample spoils none") {
    for (const std::size_t uLength : {0u, 1u, 44100u}) {
        CAPTURE(uLength);
        const Levels levels = Measure(44100, std::vector<float>(uLength), std::vector<float>(uLength));
        for (const auto& level :
             {levels.peakDb, levels.truePeakDb, levels.rmsDb, levels.integratedLufs, levels.loudnessRangeLu})
            CHECK_FALSE(level);
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
    const auto left = Test::Noise(11, 50000), right = Test::Noise(12, 50000);
    const Levels whole = Measure(44100, left, right, 50000);
    for (const std::uint32_t uBlock : {1u, 511u}) {
        CAPTURE(uBlock);
        const Levels cut = Measure(44100, left, right, uBlock);
        CHECK(cut.peakDb == whole.peakDb);
        CHECK(cut.truePeakDb == whole.truePeakDb);
        CHECK(cut.rmsDb == whole.rmsDb);
        CHECK(cut.dcOffset == whole.dcOffset);
        CHECK(Near(cut.integratedLufs, *whole.integratedLufs, 1e-9));
    }
}
