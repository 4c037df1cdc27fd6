#include "dsp/DynamicsBand.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <memory>
#include <vector>

#include "tests/support/DynamicsModel.h"
#include "tests/support/Signals.h"

// DynamicsTest compares a band with the plain loop.

namespace {

using DSP::DynamicsBand;
using DSP::DynamicsField;
using DSP::DynamicsMode;
using Stage = Test::DynamicsModel::Stage;

constexpr Stage kIdle{0, 1, 10, 100};

struct Settings {
    Stage comp = kIdle, limit = kIdle, gate = kIdle;
};

std::unique_ptr<DynamicsBand> MakeBand(const Settings& settings) {
    auto band = std::make_unique<DynamicsBand>();
    auto uField = static_cast<std::uint32_t>(DynamicsField::CompThreshold);
    for (const Stage& stage : {settings.comp, settings.limit, settings.gate}) {
        for (const float fValue : {stage.fThresholdDb, stage.fRatio, stage.fAttackMs, stage.fReleaseMs})
            band->Set(static_cast<DynamicsField>(uField++), fValue);
    }
    return band;
}

double Linear(double fDb) {
    return std::pow(10.0, fDb / 20.0);
}

}  // namespace

TEST_CASE("DynamicsBand: the static curve is that of the three laws, at every level") {
    const Settings curves[] = {
        {{-30, 4, 1, 5000}, kIdle, kIdle},
        {kIdle, {-12, 10, 1, 100}, kIdle},
        {kIdle, kIdle, {-40, 3, 1, 1}},
        {kIdle, kIdle, {-40, 0.5f, 1, 1}},
        {kIdle, kIdle, {-99, 3, 1, 1}},
        {kIdle, kIdle, {-101, 3, 1, 1}},  // below every detected level
        {{-40, 2, 1, 5000}, {-15, 20, 1, 100}, {-60, 2, 1, 1}},
        {{-20, 3, 1, 5000}, {-35, 8, 1, 100}, {-10, 1.5f, 1, 1}},  // thresholds out of order
    };
    for (const Settings& curve : curves) {
        const Stage &comp = curve.comp, &limit = curve.limit, &gate = curve.gate;
        CAPTURE(comp.fRatio);
        CAPTURE(gate.fThresholdDb);
        for (double fLevel = -113.5; fLevel <= 6; fLevel += 3.7) {
            const double fDetected = std::max(fLevel, -100.0);
            const auto above = [](const Stage& stage, double fDb) {
                return (stage.fThresholdDb - fDb) * (1.0 - 1.0 / stage.fRatio);
            };
            double fExpected = 0;
            if (fDetected >= limit.fThresholdDb) {
                fExpected = above(limit, fDetected) + above(comp, limit.fThresholdDb);
            } else if (fDetected >= comp.fThresholdDb) {
                fExpected = above(comp, fDetected);
            }
            // A gain bound upwards goes to 1: only curves that fall are reached.
            fExpected = std::min(fExpected, 0.0);
            if (fDetected < gate.fThresholdDb) {
                fExpected += (fDetected - gate.fThresholdDb) * (gate.fRatio - 1.0);
            }
            CAPTURE(fLevel);
            for (const bool bMeanSquare : {true, false}) {
                // The peak and the root of the mean square are both the amplitude: +a, -a, +a, ...
                const auto fAmplitude = static_cast<float>(Linear(fLevel));
                std::vector<float> samples(2500);
                for (std::size_t i = 0; i < samples.size(); ++i)
                    samples[i] = i % 2 == 0 ? fAmplitude : -fAmplitude;
                const auto band = MakeBand(curve);
                band->Process({bMeanSquare, false, false, 1.0f, 1.0f}, 2500, samples.data(), nullptr);
                const double fGain = Linear(fExpected);
                // The release pulls the gain up between two attack steps, by less than 2e-4 of itself; the
                // rest is the output's noise.
                // What comes out last, 43 samples late, is one of the positive ones.
                CHECK(std::abs(double{samples.back()} / double{fAmplitude} - fGain) <
                      2e-4 * fGain + 2e-10 / Linear(fLevel));
            }
        }
    }
}

TEST_CASE("DynamicsBand: silence ends in no subnormal number") {
    for (const float fRatio : {30.0f, 2.0f, 0.1f}) {
        for (const bool bMeanSquare : {true, false}) {
            const DynamicsMode mode{bMeanSquare, true, true, 0.9986f, 0.03f};
            const auto band = MakeBand({{-60, 30, 1, 20}, {-10, 30, 1, 20}, {0, fRatio, 1, 2}});
            band->Set(DynamicsField::Gain, -30);
            auto samples = Test::Noise(61, 4000);
            samples.resize(64000);
            band->Process(mode, 4000, samples.data(), nullptr);
            std::feclearexcept(FE_ALL_EXCEPT);
            band->Process(mode, 60000, samples.data() + 4000, nullptr);
            CAPTURE(fRatio);
            CHECK(std::fetestexcept(FE_UNDERFLOW) == 0);
        }
    }
}
