#include "dsp/Dynamics.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Exception.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace {

constexpr std::uint32_t kBypass = 0, kSoloMute = 1, kMeanSquare = 2, kSmooth = 3, kHistogram = 4;

std::uint32_t Id(std::uint32_t uField, std::uint32_t uBand) {
    return 1 + 4 * uField + uBand;
}

struct Fixture {
    Test::TestContext context;
    DSP::Dynamics dynamics{context};
    Component& component = dynamics;

    Fixture() {
        component.SetSampleRate(44100);
        component.SetBool(kBypass, false);
        context.nDirty = context.nActivityRequests = 0;
    }

    std::vector<float> Run(std::uint32_t uBand, std::vector<float> left, bool bMono = true) {
        std::vector<float> right = left;
        component.SetStage(uBand);
        component.ProcessBlock(static_cast<std::uint32_t>(left.size()), left.data(),
                               bMono ? nullptr : right.data());
        return left;
    }
};

}  // namespace

TEST_CASE_FIXTURE(Fixture, "Dynamics: the tables have these names, ranges, factory values and marks") {
    struct Row {
        const char* strSuffix;
        float fMin, fMax, fDefault;
        const char* strUnits;
    };
    const Row rows[] = {{"Gain", -30, 30, 0, "dB"},           {"Comp Threshold", -130, 0, 0, "dB"},
                        {"Comp Ratio", 1, 30, 1, "x:1"},      {"Comp Attack", 0, 500, 10, "ms"},
                        {"Comp Release", 0, 5000, 100, "ms"}, {"Lim Threshold", -130, 0, 0, "dB"},
                        {"Lim Ratio", 1, 30, 10, "x:1"},      {"Lim Attack", 0, 500, 5, "ms"},
                        {"Lim Release", 0, 5000, 100, "ms"},  {"Gate Threshold", -130, 0, 0, "dB"},
                        {"Gate Ratio", 0.1f, 30, 1, "x:1"},   {"Gate Attack", 0, 500, 10, "ms"},
                        {"Gate Release", 0, 5000, 100, "ms"}};
    CHECK(component.Name() == "Squash");
    REQUIRE(component.Count(ParameterGroup::Float) == 53);
    const auto check = [&](std::uint32_t uIndex, const std::string& strName, const Row& row) {
        const FloatRecord& record = component.FloatInfo(uIndex);
        CAPTURE(strName);
        CHECK(record.strName == strName);
        CHECK(record.strUnits == row.strUnits);
        CHECK(record.fMin == row.fMin);
        CHECK(record.fMax == row.fMax);
        CHECK(record.fDefault == row.fDefault);
        CHECK(component.GetFloat(uIndex) == row.fDefault);
        CHECK(record.presetGroup == PresetGroup::Dynamics);
        CHECK(record.bAutomatable);
        CHECK(record.storageClass == StorageClass::StateBlock);
    };
    check(0, "DYN: Global Gain", {"", -30, 30, 0, "dB"});
    for (std::uint32_t k = 0; k < 13; ++k) {
        for (std::uint32_t b = 0; b < 4; ++b)
            check(Id(k, b), "DYN: Band " + std::to_string(b + 1) + " " + rows[k].strSuffix, rows[k]);
    }

    struct SwitchRow {
        const char* strName;
        bool bDefault, bAutomatable;
        PresetGroup group;
    };
    const SwitchRow switches[] = {{"DYN: Bypass", true, true, PresetGroup::Dynamics},
                                  {"DYN: Solo Mute", false, false, PresetGroup::Dynamics},
                                  {"DYN: RMS Detection", true, true, PresetGroup::Dynamics},
                                  {"DYN: Auto-smoothing", true, true, PresetGroup::Dynamics},
                                  {"DYN: Enable Histogram", true, false, PresetGroup::Meters},
                                  {"DYN: Enable Gain Reduction Meter", true, false, PresetGroup::Meters},
                                  {"DYN: Gain Reduction Meter Peak Hold", true, false, PresetGroup::Meters},
                                  {"DYN: Enable Curve Level Meter", true, false, PresetGroup::Meters}};
    REQUIRE(component.Count(ParameterGroup::Bool) == 8);
    DSP::Dynamics fresh(context);
    for (std::uint32_t i = 0; i < 8; ++i) {
        const BoolRecord& record = component.BoolInfo(i);
        CAPTURE(record.strName);
        CHECK(record.strName == switches[i].strName);
        CHECK(record.bDefault == switches[i].bDefault);
        CHECK(fresh.GetBool(i) == switches[i].bDefault);
        CHECK(record.bAutomatable == switches[i].bAutomatable);
        CHECK(record.presetGroup == switches[i].group);
    }

    REQUIRE(component.Count(ParameterGroup::Int) == 2);
    CHECK(component.Count(ParameterGroup::UInt) == 0);
    const IntRecord& source = component.IntInfo(0);
    const IntRecord& time = component.IntInfo(1);
    CHECK(source.strName == "DYN: Gain Reduction Meter Source");
    CHECK(source.labels == std::vector<std::string>{"Comp", "Gate", "All"});
    CHECK((source.IsEnumeration() && source.nDefault == 0 && component.GetInt(0) == 0));
    CHECK(time.strName == "DYN: Gain Reduction Meter Peak Hold Time");
    CHECK(time.labels == std::vector<std::string>{"5", "250", "500", "1000", "5000", "Infinite"});
    CHECK((time.IsEnumeration() && time.nDefault == 2 && component.GetInt(1) == 2));
    CHECK((!source.bAutomatable && source.presetGroup == PresetGroup::Meters));
    CHECK((!time.bAutomatable && time.presetGroup == PresetGroup::Meters));
}

TEST_CASE_FIXTURE(Fixture,
                  "Dynamics: setters clamp, ignore what changes nothing, and ask for what they change") {
    for (std::uint32_t i = 0; i < 53; ++i) {
        const FloatRecord& record = component.FloatInfo(i);
        component.SetFloat(i, 1e9f);
        CHECK(component.GetFloat(i) == record.fMax);
        component.SetFloat(i, -std::numeric_limits<float>::infinity());
        CHECK(component.GetFloat(i) == record.fMin);
        const int nDirty = context.nDirty;
        component.SetFloat(i, record.fMin);
        component.SetFloat(i, -1e9f);
        component.SetFloat(i, std::numeric_limits<float>::quiet_NaN());
        CHECK(component.GetFloat(i) == record.fMin);
        CHECK(context.nDirty == nDirty);
    }
    component.SetInt(0, 99);
    component.SetInt(1, -5);
    CHECK(component.GetInt(0) == 2);
    CHECK(component.GetInt(1) == 0);

    CHECK(context.nActivityRequests == 0);
    CHECK(component.IsActive());
    component.SetBool(kSoloMute, true);
    component.SetBool(kSoloMute, true);
    CHECK(context.nActivityRequests == 1);
    CHECK_FALSE(component.IsActive());
    component.SetBool(kSoloMute, false);
    component.SetBool(kBypass, true);
    CHECK(context.nActivityRequests == 3);
    CHECK_FALSE(component.IsActive());
    component.SetBool(kHistogram, false);
    CHECK(context.nActivityRequests == 3);
}

TEST_CASE_FIXTURE(Fixture, "Dynamics: every field of every band reaches that band, and no other") {
    // A steady 0.5 in all bands. Each field alone, on top of settings that make it count, changes its band.
    const std::vector<std::pair<std::uint32_t, float>> base = {
        {1, -20}, {2, 2}, {3, 20}, {4, 200}, {5, -7}, {6, 4}, {7, 50}, {9, -2}, {10, 2}, {11, 30}, {12, 60}};
    const float changed[13] = {3, -25, 3, 40, 400, -10, 8, 90, 300, -1, 3, 70, 90};
    std::vector<float> input(3000, 0.5f);
    std::fill(input.begin() + 2000, input.end(), 0.9f);  // rises above the gate
    input.insert(input.end(), 2000, 1e-3f);
    const auto prepare = [&] {
        component.ClearState();
        for (std::uint32_t b = 0; b < 4; ++b) {
            for (const auto& [uField, fValue] : base)
                component.SetFloat(Id(uField, b), fValue);
            component.SetFloat(Id(0, b), 0);
            component.SetFloat(Id(8, b), 100);
        }
    };
    prepare();
    const std::vector<float> reference = Run(0, input);
    for (std::uint32_t uField = 0; uField < 13; ++uField) {
        prepare();
        component.SetFloat(Id(uField, 2), changed[uField]);
        CAPTURE(uField);
        for (std::uint32_t b = 0; b < 4; ++b) {
            const bool bSame = Test::FirstDifference(Run(b, input), reference) == -1;
            // The limiter's release has no say in the gain.
            CHECK(bSame == (b != 2 || uField == 8));
        }
    }
}

TEST_CASE_FIXTURE(Fixture, "Dynamics: gains multiply, switches reach the detector and the smoothing") {
    component.SetFloat(0, 6.0206f);
    component.SetFloat(Id(0, 1), -12.0412f);
    const std::vector<float> steady(200, 0.1f);
    CHECK(Run(0, steady).back() == doctest::Approx(0.2).epsilon(1e-5));
    CHECK(Run(1, steady).back() == doctest::Approx(0.05).epsilon(1e-5));

    component.SetFloat(Id(1, 0), -40);
    component.SetFloat(Id(2, 0), 4);
    const auto render = [&](bool bMeanSquare, bool bSmooth) {
        component.ClearState();
        component.SetBool(kMeanSquare, bMeanSquare);
        component.SetBool(kSmooth, bSmooth);
        return Run(0, Test::Noise(5, 400));
    };
    const std::vector<float> both = render(true, true);
    CHECK(Test::FirstDifference(render(false, true), both) > 0);
    CHECK(Test::FirstDifference(render(true, false), both) > 0);
    CHECK(Test::FirstDifference(render(true, true), both) == -1);
}

TEST_CASE_FIXTURE(Fixture, "Dynamics: latency is the look-ahead, follows the rate, and is what audio shows") {
    for (std::uint32_t uRate : {22050u, 44100u, 48000u, 88200u, 192000u}) {
        component.SetSampleRate(uRate);
        std::vector<float> impulse(300, 0.0f);
        impulse[0] = 1.0f;
        const std::vector<float> output = Run(3, impulse);
        const auto iPeak = std::max_element(output.begin(), output.end()) - output.begin();
        CAPTURE(uRate);
        CHECK(component.GetLatency() == static_cast<std::uint32_t>(std::lround(uRate / 1000.0)) - 1);
        CHECK(iPeak == static_cast<std::ptrdiff_t>(component.GetLatency()));
    }
    component.SetSampleRate(44100);
    CHECK(component.GetLatency() == 43);
}

TEST_CASE_FIXTURE(Fixture,
                  "Dynamics: a bypassed or muted module, and a stage beyond the bands, change nothing") {
    const std::vector<float> input = Test::Noise(6, 500);
    component.SetFloat(0, 10);
    CHECK(Test::FirstDifference(Run(4, input), input) == -1);
    CHECK(Test::FirstDifference(Run(0, input), input) == 0);
    component.SetBool(kBypass, true);
    CHECK(Test::FirstDifference(Run(0, input), input) == -1);
    component.SetBool(kBypass, false);
    component.SetBool(kSoloMute, true);
    CHECK(Test::FirstDifference(Run(0, input), input) == -1);
}

TEST_CASE_FIXTURE(
    Fixture, "Dynamics: a band is copied as thirteen floats, and pasted or reset whole with the host told") {
    for (std::uint32_t k = 0; k < 13; ++k)
        component.SetFloat(Id(k, 1), component.FloatInfo(Id(k, 1)).fMin + static_cast<float>(k + 1));
    Util::ByteStream stream;
    component.CopyBand(1, stream);
    CHECK(stream.Length() == 52);
    for (std::uint32_t k = 0; k < 13; ++k) {
        float fValue = 0;
        stream.ExtractF32(fValue);
        CHECK(fValue == component.GetFloat(Id(k, 1)));
    }

    stream.Seek(0);
    component.PasteBand(3, stream);
    REQUIRE(context.events.size() == 13);
    for (std::uint32_t k = 0; k < 13; ++k) {
        CHECK(component.GetFloat(Id(k, 3)) == component.GetFloat(Id(k, 1)));
        CHECK(context.events[k] == Test::TestContext::Event{ParameterGroup::Float, ParameterPhase::Value,
                                                            Id(k, 3), component.GetFloat(Id(k, 1))});
    }

    context.events.clear();
    component.ResetBand(3);
    CHECK(context.events.size() == 13);
    for (std::uint32_t k = 0; k < 13; ++k) {
        CHECK(component.GetFloat(Id(k, 3)) == component.FloatInfo(Id(k, 3)).fDefault);
        CHECK(component.GetFloat(Id(k, 1)) != component.FloatInfo(Id(k, 1)).fDefault);
    }

    // Values beyond the range and NaNs come from strangers; a stream that ends too soon changes nothing.
    Util::ByteStream wild;
    for (int k = 0; k < 13; ++k)
        wild.InsertF32(k == 4 ? std::numeric_limits<float>::quiet_NaN() : 1e9f);
    component.PasteBand(0, wild);
    CHECK(component.GetFloat(Id(3, 0)) == 500);
    CHECK(component.GetFloat(Id(4, 0)) == 100);
    Util::ByteStream brief;
    for (int k = 0; k < 12; ++k)
        brief.InsertF32(-1.0f);
    context.events.clear();
    CHECK_THROWS_AS(component.PasteBand(0, brief), ::Exception::Base);
    CHECK(component.GetFloat(Id(3, 0)) == 500);
    CHECK(context.events.empty());
}

TEST_CASE_FIXTURE(Fixture,
                  "Dynamics: displays read each band's peak, least gains and histogram, and begin anew") {
    component.SetFloat(Id(1, 2), -20);
    component.SetFloat(Id(2, 2), 30);
    Run(2, std::vector<float>(2000, 0.5f));
    const auto peaks = dynamics.LevelPeaks();
    CHECK(peaks[2] == doctest::Approx(0.5).epsilon(1e-3));
    CHECK((peaks[0] == 0 && peaks[1] == 0 && peaks[3] == 0));
    dynamics.ClearLevelPeaks();
    CHECK(dynamics.LevelPeaks()[2] == 0);
    CHECK(dynamics.TakeMinimumCompGain(2) < 0.6f);
    CHECK(dynamics.TakeMinimumCompGain(2) == 1.0f);
    CHECK(dynamics.TakeMinimumGateGain(2) == 1.0f);
    CHECK(dynamics.Histogram(2)[6] > 1000);
    CHECK(dynamics.Histogram(1) == DSP::LevelHistogram::CountTable{});
    component.ClearState();
    CHECK(dynamics.Histogram(2) == DSP::LevelHistogram::CountTable{});
}

TEST_CASE_FIXTURE(Fixture, "Dynamics: the peak detector has its own decay before the first rate is known") {
    DSP::Dynamics fresh(context);
    Component& module = fresh;
    module.SetBool(kBypass, false);
    module.SetBool(kMeanSquare, false);
    const auto levelAfterSilence = [&] {
        module.ClearState();
        std::vector<float> samples(11, 0.0f);
        samples[0] = 1.0f;
        module.ProcessBlock(11, samples.data(), nullptr);
        fresh.ClearLevelPeaks();
        std::vector<float> silence(1, 0.0f);
        module.ProcessBlock(1, silence.data(), nullptr);
        return fresh.LevelPeaks()[0];
    };
    CHECK(levelAfterSilence() == std::pow(0.5f, 11.0f));
    module.SetSampleRate(44100);
    CHECK(levelAfterSilence() == doctest::Approx(std::pow(0.03, 11 / 2205.0)).epsilon(1e-5));
}

TEST_CASE_FIXTURE(Fixture, "Dynamics: a storm of parameters keeps the sound finite and allocates nothing") {
    Test::Random random(71);
    std::vector<float> left(700), right(700);
    bool bFinite = true;
    const Test::AllocationCounter counter;
    for (int nRound = 0; nRound < 1500; ++nRound) {
        for (int n = 0; n < 6; ++n) {
            const std::uint32_t uIndex = random.Between(0, 52);
            const FloatRecord& record = component.FloatInfo(uIndex);
            const std::uint32_t uKind = random.Next() % 4;
            component.SetFloat(uIndex, uKind == 0   ? record.fMin
                                       : uKind == 1 ? record.fMax
                                                    : random.Uniform(record.fMin, record.fMax));
        }
        component.SetBool(random.Between(2, 7), random.Next() % 2 == 0);
        const std::uint32_t uFrames = random.Between(0, 700);
        for (std::uint32_t i = 0; i < uFrames; ++i) {
            left[i] = random.Uniform(-2.0f, 2.0f);
            right[i] = nRound % 3 == 0 ? 0.0f : random.Uniform(-1e-3f, 1e-3f);
        }
        component.SetStage(random.Between(0, 3));
        component.ProcessBlock(uFrames, left.data(), nRound % 5 == 0 ? nullptr : right.data());
        for (std::uint32_t i = 0; i < uFrames; ++i)
            bFinite = bFinite && std::isfinite(left[i]) && std::isfinite(right[i]);
    }
    CHECK(counter.Count() == 0);
    CHECK(bFinite);
}
