#include "dsp/DynamicsBand.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cfenv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "dsp/vector/Dispatch.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/DynamicsModel.h"
#include "tests/support/Signals.h"

namespace {

using DSP::DynamicsBand;
using DSP::DynamicsField;
using DSP::DynamicsMode;
using Stage = Test::DynamicsModel::Stage;

constexpr Stage kIdle{0, 1, 10, 100};

struct Settings {
    Stage comp = kIdle, limit = kIdle, gate = kIdle;
    float fGainDb = 0;
    std::uint32_t uRate = 44100;
};

void SetStage(DynamicsBand& band, DynamicsField first, const Stage& stage) {
    const float values[] = {stage.fThresholdDb, stage.fRatio, stage.fAttackMs, stage.fReleaseMs};
    for (std::uint32_t i = 0; i < 4; ++i)
        band.Set(static_cast<DynamicsField>(static_cast<std::uint32_t>(first) + i), values[i]);
}

void Configure(DynamicsBand& band, const Settings& settings) {
    SetStage(band, DynamicsField::CompThreshold, settings.comp);
    SetStage(band, DynamicsField::LimThreshold, settings.limit);
    SetStage(band, DynamicsField::GateThreshold, settings.gate);
    band.Set(DynamicsField::Gain, settings.fGainDb);
    band.SetSampleRate(settings.uRate);
}

float PeakDecay(double fRate) {
    return static_cast<float>(std::pow(0.03, 1.0 / (fRate * 0.05)));
}

struct Stereo {
    std::vector<float> left, right;
};

Stereo Render(DynamicsBand& band, const DynamicsMode& mode, Stereo audio, bool bMono,
              const std::vector<std::uint32_t>& cuts) {
    std::size_t uPosition = 0;
    for (std::uint32_t uLength : cuts) {
        band.Process(mode, static_cast<std::int32_t>(uLength), audio.left.data() + uPosition,
                     bMono ? nullptr : audio.right.data() + uPosition);
        uPosition += uLength;
    }
    return audio;
}

/// Noise in stretches of random loudness, from -90 dB to +6 dB, each channel by itself.
Stereo Wandering(std::uint64_t uSeed, std::size_t uLength) {
    Test::Random random(uSeed);
    Stereo audio{Test::Noise(uSeed + 1, uLength), Test::Noise(uSeed + 2, uLength)};
    for (std::vector<float>* channel : {&audio.left, &audio.right}) {
        float fGain = 1.0f;
        for (float& x : *channel) {
            if (random.Next() % 300 == 0) fGain = std::pow(10.0f, random.Uniform(-4.5f, 0.3f));
            x *= fGain;
        }
    }
    return audio;
}

Stage RandomStage(Test::Random& random, float fLowestRatio) {
    const auto time = [&random](float fLongest) {
        const float fShare = random.Uniform(0.0f, 1.0f);
        return random.Next() % 5 == 0 ? 0.0f : fShare * fShare * fLongest;
    };
    return {random.Next() % 6 == 0 ? 0.0f : random.Uniform(-70.0f, 0.0f),
            random.Next() % 5 == 0 ? 1.0f : random.Uniform(fLowestRatio, 12.0f), time(500), time(5000)};
}

/// A steady signal whose peak and whose root of the mean square are both the amplitude: +a, -a, +a, ...
Stereo Alternating(float fAmplitude, std::size_t uLength) {
    Stereo audio{std::vector<float>(uLength), std::vector<float>(uLength)};
    for (std::size_t i = 0; i < uLength; ++i)
        audio.left[i] = audio.right[i] = i % 2 == 0 ? fAmplitude : -fAmplitude;
    return audio;
}

double Db(double fLinear) {
    return 20.0 * std::log10(fLinear);
}
float Linear(double fDb) {
    return static_cast<float>(std::pow(10.0, fDb / 20.0));
}

/// c of a time in ms: both the textbook's exponential and half the rate.
double Keep(double fMs, double fRate = 44100) {
    return std::exp(-1000.0 / (fMs * fRate * 0.5));
}

/// The gain of each sample, from an alternating signal: the noise of the output is far below.
std::vector<double> Gains(DynamicsBand& band, const DynamicsMode& mode, const Stereo& input) {
    const auto nFrames = static_cast<std::uint32_t>(input.left.size());
    const Stereo output = Render(band, mode, input, false, {nFrames});
    const auto uDelay = static_cast<std::size_t>(DynamicsBand::LookAhead(44100) - 1);
    std::vector<double> gains(input.left.size(), 1.0);
    for (std::size_t i = uDelay; i < gains.size(); ++i)
        gains[i] = double{output.left[i]} / double{input.left[i - uDelay]};
    return gains;
}

}  // namespace

TEST_CASE(
    "DynamicsBand: samples, levels and least gains are those of the plain loop at every processor level") {
    Test::Random random(11);
    for (int nTrial = 0; nTrial < 40; ++nTrial) {
        const Settings settings{RandomStage(random, 1.0f), RandomStage(random, 1.0f),
                                RandomStage(random, 0.1f), random.Uniform(-30, 30),
                                nTrial % 4 == 0 ? random.Between(8000, 192000) : 44100};
        const bool bMono = nTrial % 3 == 0;
        const DynamicsMode mode{random.Next() % 2 == 0, random.Next() % 2 == 0, true,
                                PeakDecay(settings.uRate), random.Uniform(0.1f, 3.0f)};
        constexpr std::uint32_t kFrames = 5000;
        const Stereo input = Wandering(random.Next(), kFrames);

        Stereo expected = input;
        Test::DynamicsModel model(settings.uRate, settings.fGainDb, settings.comp, settings.limit,
                                  settings.gate);
        model.bMeanSquare = mode.bMeanSquare;
        model.bSmooth = mode.bSmooth;
        model.fGlobalGain = mode.fGlobalGain;
        float fPeak = 0, fComp = 1, fGate = 1;
        DSP::LevelHistogram histogram;
        for (std::size_t i = 0; i < kFrames; ++i) {
            model.Process(expected.left[i], expected.right[i], bMono);
            fPeak = std::max(fPeak, model.fLevel);
            fComp = std::min(fComp, model.fUsedComp);
            fGate = std::min(fGate, model.fUsedGate);
            histogram.Add(&model.fLevel, 1);
        }

        for (const DSP::ProcessorLevel& level : DSP::AvailableProcessorLevels()) {
            CAPTURE(nTrial);
            CAPTURE(level.strName);
            DSP::UseProcessorLevel(level);
            const auto band = std::make_unique<DynamicsBand>();
            Configure(*band, settings);
            const Stereo output =
                Render(*band, mode, input, bMono, Test::RandomCuts(random.Next(), kFrames, 700));
            CHECK(Test::FirstDifference(output.left, expected.left) == -1);
            CHECK(Test::FirstDifference(output.right, expected.right) == -1);
            CHECK(band->LevelPeak().Read() == fPeak);
            CHECK(band->MinimumCompGain().Read() == fComp);
            CHECK(band->MinimumGateGain().Read() == fGate);
            CHECK(band->Histogram() == histogram.Counts());
        }
        DSP::UseBestProcessorLevel();
    }
}

TEST_CASE("DynamicsBand: the static curve is that of the three laws, at every level") {
    struct Curve {
        Stage comp, limit, gate;
    };
    const Curve curves[] = {
        {{-30, 4, 1, 5000}, kIdle, kIdle},
        {kIdle, {-12, 10, 1, 100}, kIdle},
        {kIdle, kIdle, {-40, 3, 1, 1}},
        {kIdle, kIdle, {-40, 0.5f, 1, 1}},
        {{-40, 2, 1, 5000}, {-15, 20, 1, 100}, {-60, 2, 1, 1}},
        {{-20, 3, 1, 5000}, {-35, 8, 1, 100}, {-10, 1.5f, 1, 1}},  // thresholds out of order
    };
    for (const Curve& curve : curves) {
        for (double fLevel = -95; fLevel <= 6; fLevel += 3.7) {
            double fExpected = 0;
            const auto above = [](const Stage& stage, double fDb) {
                return (stage.fThresholdDb - fDb) * (1.0 - 1.0 / stage.fRatio);
            };
            if (fLevel >= curve.limit.fThresholdDb) {
                fExpected = above(curve.limit, fLevel) + above(curve.comp, curve.limit.fThresholdDb);
                if (curve.comp.fRatio == 1.0f) fExpected = above(curve.limit, fLevel);
            } else if (fLevel >= curve.comp.fThresholdDb) {
                fExpected = above(curve.comp, fLevel);
            }
            // A gain bound upwards goes to 1: only curves that fall are reached.
            fExpected = std::min(fExpected, 0.0);
            if (fLevel < curve.gate.fThresholdDb) {
                fExpected += (fLevel - curve.gate.fThresholdDb) * (curve.gate.fRatio - 1.0);
            }
            for (bool bMeanSquare : {true, false}) {
                const auto band = std::make_unique<DynamicsBand>();
                Configure(*band, {curve.comp, curve.limit, curve.gate});
                const DynamicsMode mode{bMeanSquare, false, false, 1.0f, 1.0f};
                const auto gains = Gains(*band, mode, Alternating(Linear(fLevel), 2500));
                CAPTURE(fLevel);
                CAPTURE(curve.comp.fRatio);
                CAPTURE(bMeanSquare);
                // The release pulls the gain up between two attack steps, by less than 2e-4 of itself; the
                // rest is the output's noise.
                const double fExpectedGain = std::pow(10.0, fExpected / 20.0);
                CHECK(std::abs(gains.back() - fExpectedGain) < 2e-4 * fExpectedGain + 2e-10 / Linear(fLevel));
            }
        }
    }
}

TEST_CASE("DynamicsBand: a steady sine is compressed by its root mean square or by its peak") {
    constexpr double kPi = 3.14159265358979323846;
    for (double fLevel : {-25.0, -12.0, -3.0}) {
        for (bool bMeanSquare : {true, false}) {
            const auto band = std::make_unique<DynamicsBand>();
            Configure(*band, {{-30, 4, 200, 5000}, kIdle, kIdle});
            Stereo audio{std::vector<float>(88200), {}};
            for (std::size_t i = 0; i < audio.left.size(); ++i) {
                audio.left[i] = Linear(fLevel) *
                                static_cast<float>(std::sin(2 * kPi * 997 * static_cast<double>(i) / 44100));
            }
            audio.right = audio.left;
            const DynamicsMode mode{bMeanSquare, true, false, PeakDecay(44100), 1.0f};
            const Stereo output = Render(*band, mode, audio, false, {88200});
            const float fPeak = *std::max_element(output.left.end() - 4410, output.left.end());
            const double fDetected = bMeanSquare ? fLevel - Db(std::sqrt(2.0)) : fLevel;
            CAPTURE(fLevel);
            CAPTURE(bMeanSquare);
            // The peak detector sinks by 0.014 dB a sample between two half waves, by 0.3 dB in all; the
            // sampled sine misses its peak by up to 0.02 dB.
            CHECK(std::abs(Db(fPeak) - (fLevel + (-30 - fDetected) * 0.75)) < (bMeanSquare ? 0.03 : 0.3));
        }
    }
}

TEST_CASE("DynamicsBand: the gain's steps follow the exponentials of the coefficients") {
    const DynamicsMode peak{false, false, false, 1.0f, 1.0f};
    const DynamicsMode meanSquare{true, false, false, 1.0f, 1.0f};
    const double fTarget = std::pow(10.0, -20 * 0.75 / 20.0);  // 20 dB above, ratio 4
    const auto worst = [](const std::vector<double>& gains, auto&& expected) {
        double fWorst = 0;
        for (std::size_t i = 44; i < gains.size(); ++i)
            fWorst = std::max(fWorst, std::abs(gains[i] / expected(static_cast<double>(i + 1)) - 1.0));
        return fWorst;
    };
    // Float steps of a slow one-pole, some hundred of them in a row, leave errors of some 1e-5.
    constexpr double kTolerance = 1e-4;
    const auto band = std::make_unique<DynamicsBand>();

    SUBCASE("the compressor's attack") {
        Configure(*band, {{-20, 4, 20, 5000}, kIdle, kIdle});
        const auto gains = Gains(*band, peak, Alternating(1.0f - 1e-6f, 2000));
        CHECK(worst(gains, [&](double n) { return fTarget + (1 - fTarget) * std::pow(Keep(20), n); }) <
              kTolerance);
    }
    SUBCASE("the limiter's attack, above its threshold") {
        Configure(*band, {{0, 1, 300, 5000}, {-20, 4, 20, 100}, kIdle});
        const auto gains = Gains(*band, peak, Alternating(1.0f - 1e-6f, 2000));
        CHECK(worst(gains, [&](double n) { return fTarget + (1 - fTarget) * std::pow(Keep(20), n); }) <
              kTolerance);
    }
    SUBCASE("smoothing is a second pole of half the shorter time") {
        Configure(*band, {{-20, 4, 20, 100}, kIdle, kIdle});
        const DynamicsMode smooth{false, true, false, 1.0f, 1.0f};
        const auto gains = Gains(*band, smooth, Alternating(1.0f - 1e-6f, 1500));
        const double a = Keep(20), s = Keep(10);
        const auto step = [&](double n) {
            const double fGap = std::pow(s, n) + (1 - s) * a * (std::pow(a, n) - std::pow(s, n)) / (a - s);
            return fTarget + (1 - fTarget) * fGap;
        };
        CHECK(worst(gains, step) < kTolerance);
    }
    SUBCASE("the release is the compressor's, towards 1, whichever law held the gain") {
        // No attack: the mean square is then the sample's square, and the gain jumps down at once.
        for (bool bLimit : {false, true}) {
            const Stage law{-20, 4, 0, 200};
            Configure(*band,
                      bLimit ? Settings{{0, 1, 0, 200}, {-20, 4, 0, 7}, kIdle} : Settings{law, kIdle, kIdle});
            Stereo audio = Alternating(1.0f - 1e-6f, 3000);
            for (std::size_t i = 500; i < 3000; ++i)
                audio.left[i] = audio.right[i] = audio.left[i] * 0.01f;
            const auto gains = Gains(*band, meanSquare, audio);
            // The held gain is the target in even samples, and one step of release above it in odd ones.
            double fWorst = std::abs(gains[498] / fTarget - 1.0);
            for (std::size_t i = 499; i < gains.size(); ++i) {
                const double fExpected =
                    1 - (1 - fTarget) * std::pow(Keep(200), static_cast<double>(i) - 498);
                fWorst = std::max(fWorst, std::abs(gains[i] / fExpected - 1.0));
            }
            CHECK(fWorst < kTolerance);
            band->Reset();
        }
    }
    SUBCASE("the gate closes with its release time and opens with its attack time") {
        Configure(*band, {{0, 1, 0, 100}, kIdle, {-20, 2, 15, 40}});
        Stereo audio = Alternating(0.01f, 6000);
        for (std::size_t i = 4000; i < 6000; ++i)
            audio.left[i] = audio.right[i] = audio.left[i] * 50.0f;
        const auto gains = Gains(*band, meanSquare, audio);
        const double fClosed = 0.1;  // 20 dB below, once more
        double fWorst = 0;
        for (std::size_t i = 44; i < gains.size(); ++i) {
            const double fTime = static_cast<double>(i) + 1;
            const double fAt4000 = fClosed + (1 - fClosed) * std::pow(Keep(40), 4000);
            const double fExpected = i < 4000 ? fClosed + (1 - fClosed) * std::pow(Keep(40), fTime)
                                              : 1 - (1 - fAt4000) * std::pow(Keep(15), fTime - 4000);
            fWorst = std::max(fWorst, std::abs(gains[i] / fExpected - 1.0));
        }
        CHECK(fWorst < kTolerance);
    }
}

TEST_CASE("DynamicsBand: the detectors rise and fall as their coefficients say") {
    const auto band = std::make_unique<DynamicsBand>();
    Configure(*band, {{0, 1, 80, 400}, kIdle, kIdle});
    Stereo audio = Alternating(0.5f, 1000);
    // An eighth of the shorter time, 10 ms.
    Render(*band, {true, false, false, 0.5f, 1.0f}, audio, true, {1000});
    CHECK(band->LevelPeak().Take() ==
          doctest::Approx(0.5 * std::sqrt(1 - std::pow(Keep(10), 1000))).epsilon(1e-5));

    // 50 ms after a peak, 3 % of it are left.
    band->Reset();
    std::fill(audio.left.begin(), audio.left.end(), 0.0f);
    audio.left[0] = 0.8f;
    const DynamicsMode peak{false, false, false, PeakDecay(44100), 1.0f};
    Render(*band, peak, audio, true, {1000});
    CHECK(band->LevelPeak().Take() == 0.8f);
    Render(*band, peak, audio = Stereo{std::vector<float>(1205, 0.0f), {}}, true, {1205});
    Render(*band, peak, Stereo{std::vector<float>(1, 0.0f), {}}, true, {1});
    band->LevelPeak().Clear();
    Render(*band, peak, Stereo{std::vector<float>(1, 0.0f), {}}, true, {1});
    CHECK(band->LevelPeak().Take() == doctest::Approx(0.8 * std::pow(0.03, 2206 / 2205.0)).epsilon(1e-3));
}

TEST_CASE("DynamicsBand: both channels share one gain, and mono is what two equal channels give") {
    Settings settings{{-30, 5, 3, 50}, {-10, 20, 1, 50}, {-40, 2, 5, 30}};
    for (const auto& [bMeanSquare, fRight] :
         {std::pair{true, 0.25f}, {false, 0.25f}, {true, 4.0f}, {false, 4.0f}}) {
        const DynamicsMode mode{bMeanSquare, true, false, PeakDecay(44100), 1.0f};
        const auto band = std::make_unique<DynamicsBand>();
        Configure(*band, settings);
        Stereo audio = Wandering(21, 6000);
        for (std::size_t i = 0; i < 6000; ++i)
            audio.right[i] = audio.left[i] * fRight;  // exact in binary: the gain is, too
        const Stereo linked = Render(*band, mode, audio, false, {6000});
        double fWorst = 0;
        for (std::size_t i = 0; i < 6000; ++i)
            fWorst = std::max(fWorst, std::abs(double{linked.left[i]} * fRight - double{linked.right[i]}));
        CHECK(fWorst < 7e-10);  // the noises of both channels
        // Without the right channel the left one fares otherwise, unless it alone decides: as the louder one,
        // by its peak.
        band->Reset();
        const Stereo alone = Render(*band, mode, audio, true, {6000});
        const bool bDecides = !bMeanSquare && fRight < 1.0f;
        CHECK((Test::FirstDifference(alone.left, linked.left) == -1) == bDecides);

        band->Reset();
        Stereo equal{audio.left, audio.left};
        const Stereo stereo = Render(*band, mode, equal, false, {6000});
        band->Reset();
        const Stereo mono = Render(*band, mode, equal, true, {6000});
        CHECK(Test::FirstDifference(mono.left, stereo.left) == -1);
        CHECK(Test::FirstDifference(mono.right, equal.right) == -1);
    }
}

TEST_CASE("DynamicsBand: at its factory settings a band is its delay and its noise") {
    for (std::uint32_t uRate : {400u, 22050u, 44100u, 48000u, 192000u}) {
        const auto nLine = static_cast<std::ptrdiff_t>(std::max(std::lround(uRate / 1000.0), 1l));
        const auto band = std::make_unique<DynamicsBand>();
        band->SetSampleRate(uRate);
        CHECK(DynamicsBand::LookAhead(uRate) == nLine);
        const Stereo input{Test::Noise(31, 3000), Test::Noise(32, 3000)};
        const Stereo output = Render(*band, {}, input, false, {3000});
        Stereo expected{std::vector<float>(3000), std::vector<float>(3000)};
        for (std::ptrdiff_t i = 0; i < 3000; ++i) {
            const auto u = static_cast<std::size_t>(i);
            const float fNoise = i / 128 % 2 == 0 ? 1e-10f : -1e-10f;
            const std::ptrdiff_t iFrom = i - (nLine - 1);
            expected.left[u] = (iFrom < 0 ? 0.0f : input.left[static_cast<std::size_t>(iFrom)]) + fNoise;
            expected.right[u] =
                (iFrom < 0 ? 0.0f : input.right[static_cast<std::size_t>(iFrom)]) + 2 * fNoise;
        }
        CAPTURE(uRate);
        CHECK(Test::FirstDifference(output.left, expected.left) == -1);
        CHECK(Test::FirstDifference(output.right, expected.right) == -1);
    }
}

TEST_CASE("DynamicsBand: the gain has moved before the sound that moved it comes out") {
    const auto band = std::make_unique<DynamicsBand>();
    Configure(*band, {{-40, 10, 0, 1000}, kIdle, kIdle});
    Stereo audio{std::vector<float>(200, 1e-4f), {}};
    audio.left[100] = 0.9f;
    const Stereo output = Render(*band, {true, true, false, 0.5f, 1.0f}, audio, true, {200});
    CHECK(output.left[99] == doctest::Approx(1e-4));
    CHECK(output.left[100] < 0.5e-4f);  // still the soft tail, already reduced
    CHECK(output.left[143] == *std::max_element(output.left.begin(), output.left.end()));
    CHECK(output.left[143] < 0.05f);
}

TEST_CASE("DynamicsBand: the curve has no step at the limiter's threshold") {
    const auto gainAt = [](float fDb) {
        const auto band = std::make_unique<DynamicsBand>();
        Configure(*band, {{-40, 3, 0, 5000}, {-18, 15, 0, 100}, kIdle});
        return Gains(*band, {true, false, false, 1.0f, 1.0f}, Alternating(Linear(fDb), 100)).back();
    };
    CHECK(gainAt(-18.001f) == doctest::Approx(gainAt(-17.999f)).epsilon(3e-4));
    CHECK(gainAt(-17.0f) < gainAt(-17.999f) * 0.92);
}

TEST_CASE("DynamicsBand: a gate threshold below -100 dB never closes") {
    const auto band = std::make_unique<DynamicsBand>();
    Configure(*band, {kIdle, kIdle, {-101, 30, 0, 0}});
    Stereo audio = Alternating(1e-7f, 2000);
    Render(*band, {}, audio, false, {2000});
    CHECK(band->MinimumGateGain().Read() == 1.0f);
    band->Set(DynamicsField::GateThreshold, -99);
    Render(*band, {}, audio, false, {2000});
    CHECK(band->MinimumGateGain().Read() < 0.1f);
}

TEST_CASE("DynamicsBand: a reset band is as new, and a warm one does not allocate") {
    const Settings settings{{-30, 4, 10, 100}, {-12, 10, 5, 100}, {-20, 2, 10, 100}};
    const DynamicsMode mode{true, true, true, 0.998f, 1.0f};
    const Stereo input = Wandering(41, 10000);
    const auto fresh = std::make_unique<DynamicsBand>();
    Configure(*fresh, settings);
    const Stereo expected = Render(*fresh, mode, input, false, {10000});

    const auto used = std::make_unique<DynamicsBand>();
    Configure(*used, settings);
    Stereo audio = Wandering(42, 10001);
    {
        const Test::AllocationCounter counter;
        used->Process(mode, 10001, audio.left.data(), audio.right.data());
        used->Process(mode, 1, audio.left.data(), nullptr);
        used->Process(mode, 0, audio.left.data(), nullptr);
        used->Set(DynamicsField::CompRatio, 7);
        used->Set(DynamicsField::CompRatio, settings.comp.fRatio);
        used->Reset();
        CHECK(counter.Count() == 0);
    }
    CHECK(used->LevelPeak().Read() == 0.0f);
    CHECK(used->MinimumCompGain().Read() == 1.0f);
    CHECK(used->MinimumGateGain().Read() == 1.0f);
    CHECK(used->Histogram() == DSP::LevelHistogram::CountTable{});
    const Stereo output = Render(*used, mode, input, false, {10000});
    CHECK(Test::FirstDifference(output.left, expected.left) == -1);
    CHECK(Test::FirstDifference(output.right, expected.right) == -1);
    CHECK(used->Histogram() == fresh->Histogram());
}

TEST_CASE("DynamicsBand: the histogram outlives the same rate again, but not another rate") {
    const auto band = std::make_unique<DynamicsBand>();
    Render(*band, {}, Alternating(0.5f, 500), false, {500});
    const auto counts = band->Histogram();
    CHECK(counts[6] > 400);  // -6.02 dB
    band->SetSampleRate(44100);
    CHECK(band->Histogram() == counts);
    band->SetSampleRate(48000);
    CHECK(band->Histogram() == DSP::LevelHistogram::CountTable{});
    DynamicsMode off;
    off.bHistogram = false;
    Render(*band, off, Alternating(0.5f, 500), false, {500});
    CHECK(band->Histogram() == DSP::LevelHistogram::CountTable{});
}

TEST_CASE("DynamicsBand: what is no sound is gone after the delay and leaves the gain sound") {
    const Settings settings{{-30, 4, 10, 100}, {-12, 10, 5, 100}, {-20, 2, 10, 100}};
    for (float fBad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                       -std::numeric_limits<float>::infinity(), 1e30f, -3e38f}) {
        for (bool bMeanSquare : {true, false}) {
            const DynamicsMode mode{bMeanSquare, true, true, PeakDecay(44100), 1.0f};
            Stereo audio = Wandering(51, 60000);
            const auto clean = std::make_unique<DynamicsBand>();
            Configure(*clean, settings);
            const Stereo expected = Render(*clean, mode, audio, false, {60000});
            for (std::size_t i = 1000; i < 1512; ++i)
                audio.left[i] = audio.right[i + 3] = fBad;
            const auto band = std::make_unique<DynamicsBand>();
            Configure(*band, settings);
            const Stereo output = Render(*band, mode, audio, false, {60000});
            CAPTURE(fBad);
            CAPTURE(bMeanSquare);
            CHECK(std::all_of(output.left.begin() + 1555, output.left.end(),
                              [](float x) { return std::abs(x) < 4.0f; }));
            // A second later nothing is left of it.
            double fWorst = 0;
            for (std::size_t i = 1555 + 44100; i < 60000; ++i) {
                fWorst = std::max(fWorst, std::abs(double{output.left[i]} - double{expected.left[i]}));
            }
            CHECK(fWorst < 1e-4);
        }
    }
}

TEST_CASE("DynamicsBand: silence ends in no subnormal number") {
    for (float fRatio : {30.0f, 2.0f, 0.1f}) {
        for (bool bMeanSquare : {true, false}) {
            const DynamicsMode mode{bMeanSquare, true, true, PeakDecay(44100), Linear(-30)};
            const auto band = std::make_unique<DynamicsBand>();
            Configure(*band, {{-60, 30, 1, 20}, {-10, 30, 1, 20}, {0, fRatio, 1, 2}, -30});
            Render(*band, mode, Wandering(61, 4000), false, {4000});
            Stereo silence{std::vector<float>(60000, 0.0f), std::vector<float>(60000, 0.0f)};
            std::feclearexcept(FE_ALL_EXCEPT);
            band->Process(mode, 60000, silence.left.data(), silence.right.data());
            CAPTURE(fRatio);
            CHECK(std::fetestexcept(FE_UNDERFLOW) == 0);
        }
    }
}
