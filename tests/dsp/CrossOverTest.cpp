#include "dsp/CrossOver.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "hvBase/Util/Text.h"
#include "tests/dsp/CrossOverRig.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/FakeModules.h"

using Rig = Test::CrossOverRig;

namespace {

bool SameBands(const Rig::Bands& a, const Rig::Bands& b, std::size_t uCount = 2 * Rig::kBands) {
    for (std::size_t i = 0; i < uCount; ++i) {
        if (Test::FirstDifference(a[i], b[i]) != -1) return false;
    }
    return true;
}

bool AllFinite(const Rig::Bands& bands) {
    return std::all_of(bands.begin(), bands.end(), [](const std::vector<float>& band) {
        return std::all_of(band.begin(), band.end(), [](float fSample) { return std::isfinite(fSample); });
    });
}

}  // namespace

TEST_CASE("CrossOver declares its tables") {
    Rig rig;
    CHECK(rig.component.Name() == "CrossOver");
    const char* const floats[] = {"Crossover Q", "CrossOver: Cutoff 1", "CrossOver: Cutoff 2",
                                  "CrossOver: Cutoff 3"};
    const float defaults[] = {5, 120, 2000, 10000};
    REQUIRE(rig.component.Count(ParameterGroup::Float) == 4);
    for (std::uint32_t i = 0; i < 4; ++i) {
        const FloatRecord& record = rig.component.FloatInfo(i);
        CHECK(record.strName == floats[i]);
        CHECK(record.strUnits == (i == 0 ? "" : "Hz"));
        CHECK(record.fMin == (i == 0 ? 1.0f : 20.0f));
        CHECK(record.fMax == (i == 0 ? 40.0f : 20000.0f));
        CHECK(record.fDefault == defaults[i]);
        CHECK(rig.GetFloat(i) == defaults[i]);
        CHECK(record.bAutomatable);
        CHECK(record.presetGroup == PresetGroup::CrossOver);
    }
    REQUIRE(rig.component.Count(ParameterGroup::Bool) == 8);
    for (std::uint32_t i = 0; i < 8; ++i) {
        const BoolRecord& record = rig.component.BoolInfo(i);
        CHECK(record.strName == Util::Format("CrossOver: Band %1 %2", i % 4 + 1, i < 4 ? "Bypass" : "Mute"));
        CHECK_FALSE(record.bDefault);
        CHECK(record.bAutomatable);
        CHECK(record.presetGroup == PresetGroup::CrossOver);
    }
    REQUIRE(rig.component.Count(ParameterGroup::Int) == 3);
    const char* const ints[] = {"CrossOver: Number of Bands", "CrossOver: Type", "CrossOver: Buffer Size"};
    const std::int32_t ranges[][3] = {{1, 4, 4}, {0, 1, 0}, {0, 6, 3}};
    for (std::uint32_t i = 0; i < 3; ++i) {
        const IntRecord& record = rig.component.IntInfo(i);
        CHECK(record.strName == ints[i]);
        CHECK(record.nMin == ranges[i][0]);
        CHECK(record.nMax == ranges[i][1]);
        CHECK(record.nDefault == ranges[i][2]);
        CHECK(rig.GetInt(i) == ranges[i][2]);
        CHECK(record.bAutomatable == (i < 2));
        CHECK(record.IsEnumeration() == (i > 0));
        CHECK(record.presetGroup == PresetGroup::CrossOver);
    }
    CHECK(rig.component.IntInfo(1).labels == std::vector<std::string>{"Analog", "Digital"});
    CHECK(rig.component.IntInfo(2).labels ==
          std::vector<std::string>{"128", "256", "512", "1024", "2048", "4096", "8192"});
    CHECK(rig.component.Count(ParameterGroup::UInt) == 0);
    CHECK(rig.context.nDirty == 0);
}

TEST_CASE("CrossOver clamps what it is set to, and marks changes only") {
    Rig rig;
    rig.SetFloat(Rig::kQ, 100);
    CHECK(rig.GetFloat(Rig::kQ) == 40.0f);
    rig.SetFloat(Rig::kCutoff1, 5);
    CHECK(rig.GetFloat(Rig::kCutoff1) == 20.0f);
    rig.SetFloat(Rig::kCutoff3, std::numeric_limits<float>::infinity());
    CHECK(rig.GetFloat(Rig::kCutoff3) == 20000.0f);
    rig.SetInt(Rig::kNumberOfBands, 0);
    CHECK(rig.GetInt(Rig::kNumberOfBands) == 1);
    rig.SetInt(Rig::kType, 9);
    CHECK(rig.GetInt(Rig::kType) == 1);
    rig.SetInt(Rig::kBufferSize, -3);
    CHECK(rig.GetInt(Rig::kBufferSize) == 0);
    for (std::uint32_t i = 0; i < 8; ++i) {
        rig.component.SetBool(i, true);
        CHECK(rig.component.GetBool(i));
        CHECK((i < 4 ? rig.crossOver.IsBandBypassed(i) : rig.crossOver.IsBandMuted(i - 4)));
    }
    CHECK(rig.context.nDirty == 14);
    rig.SetFloat(Rig::kQ, 50);
    rig.SetFloat(Rig::kCutoff1, 20);
    rig.SetFloat(Rig::kCutoff2, std::numeric_limits<float>::quiet_NaN());
    rig.SetInt(Rig::kNumberOfBands, -7);
    rig.SetInt(Rig::kType, 1);
    rig.component.SetBool(0, true);
    CHECK(rig.context.nDirty == 14);
    CHECK(rig.GetFloat(Rig::kCutoff2) == 2000.0f);
}

TEST_CASE("CrossOver: its cutoffs can be read and set as one list") {
    Rig rig;
    CHECK(rig.crossOver.GetCutoffs() == std::vector<float>{120, 2000, 10000});
    rig.crossOver.SetCutoffs({120, 2000, 10000});
    CHECK(rig.context.nDirty == 0);
    rig.crossOver.SetCutoffs({300, 60000});
    CHECK(rig.crossOver.GetCutoffs() == std::vector<float>{300, 20000});
    CHECK(rig.GetInt(Rig::kNumberOfBands) == 3);
    CHECK(rig.crossOver.BandCount() == 3);
    rig.crossOver.SetCutoffs({});
    CHECK(rig.crossOver.BandCount() == 1);
    CHECK(rig.crossOver.GetCutoffs().empty());
    rig.SetInt(Rig::kNumberOfBands, 4);
    rig.crossOver.SetCutoffs({100, 200, 300, 400});
    CHECK(rig.crossOver.BandCount() == 1);
    CHECK(rig.GetFloat(Rig::kCutoff1) == 300.0f);

    // The sound is that of setting one cutoff after another.
    Rig one, list;
    one.SetFloat(Rig::kCutoff2, 3000);
    list.crossOver.SetCutoffs({120, 3000, 10000});
    const auto input = Test::Noise(1, 500);
    CHECK(SameBands(one.Render(input, {}), list.Render(input, {})));
}

TEST_CASE("CrossOver runs while a band module does, and is automated with it") {
    Test::TestContext context;
    Test::FakeModule first(context, "First"), second(context, "Second");
    DSP::CrossOver crossOver(context);
    CHECK_FALSE(crossOver.IsActive());
    crossOver.SetBandModules({&first, &second});
    CHECK_FALSE(crossOver.IsActive());
    CHECK_FALSE(crossOver.HasAutomation());
    second.SetOn(true);
    CHECK(crossOver.IsActive());
    const EnvelopeSegment segment{0, 1000, 0, 1};
    first.Envelopes().AddSegments(ParameterGroup::Float, 0, {&segment, 1});
    CHECK(crossOver.HasAutomation());
}

TEST_CASE("CrossOver: with one band the input is the band, in both types and through every change") {
    const auto left = Test::Noise(2, 3000);
    const auto right = Test::Noise(3, 3000);
    const std::vector<float> silence(3000);
    Rig rig;
    rig.SetInt(Rig::kNumberOfBands, 1);
    rig.SetFloat(Rig::kCutoff1, 500);
    rig.SetFloat(Rig::kCutoff2, 400);
    auto bands = rig.Render(left, right, {10, 1000, 1990});
    CHECK(Test::FirstDifference(bands[0], left) == -1);
    CHECK(Test::FirstDifference(bands[4], right) == -1);
    CHECK(Test::FirstDifference(bands[1], silence) == -1);
    CHECK(rig.Delay() == 0);

    rig.SetInt(Rig::kType, DSP::CrossOver::kDigital);
    rig.SetInt(Rig::kBufferSize, 0);
    CHECK(rig.component.GetLatency() == 0);
    CHECK(rig.Delay() == 127);
    bands = rig.Render(left, right, {10, 1000, 1990});
    CHECK(std::equal(left.begin(), left.end() - 127, bands[0].begin() + 127));
    CHECK(std::equal(right.begin(), right.end() - 127, bands[4].begin() + 127));
    for (std::uint32_t i = 0; i < 4; ++i)
        CHECK(rig.Response(i)[200] == 0.0f);
}

TEST_CASE("CrossOver: type, bands and buffer size set the delay, ask for its update and start anew") {
    const auto input = Test::Noise(4, 2000);
    Rig rig;
    CHECK(rig.Delay() == 0);
    rig.Render(input, input);
    rig.SetInt(Rig::kType, DSP::CrossOver::kDigital);
    CHECK(rig.context.nDelayRequests == 1);
    CHECK(rig.Delay() == 511 + 1023);
    const auto fresh = rig.Render(input, input);
    const std::int32_t sizes[] = {128, 256, 512, 1024, 2048, 4096, 8192};
    for (std::int32_t i = 0; i < 7; ++i) {
        rig.SetInt(Rig::kBufferSize, i);
        CHECK(rig.Delay() == static_cast<std::uint32_t>(511 + sizes[i] - 1));
    }
    rig.SetInt(Rig::kBufferSize, 3);
    CHECK(rig.context.nDelayRequests == 9);
    CHECK(SameBands(rig.Render(input, input), fresh));
    rig.component.ClearAudio();
    CHECK(SameBands(rig.Render(input, input), fresh));
    rig.SetInt(Rig::kNumberOfBands, 2);
    rig.SetInt(Rig::kNumberOfBands, 4);
    CHECK(SameBands(rig.Render(input, input), fresh));
    rig.SetInt(Rig::kType, DSP::CrossOver::kAnalog);
    CHECK(rig.Delay() == 0);
    Rig other;
    CHECK(SameBands(rig.Render(input, input), other.Render(input, input)));
    rig.SetInt(Rig::kBufferSize, 5);
    rig.component.ClearAudio();
    other.component.ClearAudio();
    CHECK(SameBands(rig.Render(input, input), other.Render(input, input)));
}

TEST_CASE("CrossOver: Digital bands sum to the delayed input, however the host cuts the stream") {
    const auto left = Test::Noise(5, 9000);
    const auto right = Test::Noise(6, 9000);
    for (const std::int32_t iSize : {0, 3}) {
        Rig rig;
        rig.SetInt(Rig::kType, DSP::CrossOver::kDigital);
        rig.SetInt(Rig::kBufferSize, iSize);
        const std::size_t uDelay = rig.Delay();
        const auto whole = rig.Render(left, right);
        float fWorst = 0.0f;
        for (std::size_t n = 0; n < left.size(); ++n) {
            const float fLeft = ((whole[0][n] + whole[1][n]) + whole[2][n]) + whole[3][n];
            const float fRight = ((whole[4][n] + whole[5][n]) + whole[6][n]) + whole[7][n];
            const bool bBefore = n < uDelay;
            fWorst = std::max({fWorst, std::abs(fLeft - (bBefore ? 0.0f : left[n - uDelay])),
                               std::abs(fRight - (bBefore ? 0.0f : right[n - uDelay]))});
        }
        CHECK(fWorst < 5e-7f);
        for (const std::uint32_t uLongest : {64u, 1111u, 5000u}) {
            rig.component.ClearAudio();
            CHECK(SameBands(rig.Render(left, right, Test::RandomCuts(uLongest, 9000, uLongest)), whole));
        }
        Rig mono;
        mono.SetInt(Rig::kType, DSP::CrossOver::kDigital);
        mono.SetInt(Rig::kBufferSize, iSize);
        const auto alone = mono.Render(left, {});
        for (std::size_t i = 0; i < Rig::kBands; ++i)
            CHECK(Test::WorstDifference(alone[i], whole[i]) < 1e-6f);
    }
}

TEST_CASE("CrossOver: a new rate ends a fade and sounds like a start at that rate") {
    const auto input = Test::Noise(7, 1000);
    for (const std::int32_t nType : {0, 1}) {
        Rig rig, fresh;
        rig.SetInt(Rig::kType, nType);
        rig.Render(input, input);
        rig.SetFloat(Rig::kCutoff1, 300);
        rig.crossOver.SetSampleRate(96000);
        rig.component.ClearAudio();
        fresh.crossOver.SetSampleRate(96000);
        fresh.crossOver.SetCutoffs({300, 2000, 10000});
        fresh.SetInt(Rig::kType, nType);
        fresh.component.ClearAudio();
        CHECK(SameBands(rig.Render(input, input), fresh.Render(input, input)));
    }
}

TEST_CASE("CrossOver: cutoffs out of order leave the design in force until the order is restored") {
    const auto input = Test::Noise(8, 3000);
    for (const std::int32_t nType : {0, 1}) {
        Rig rig, steady;
        for (Rig* each : {&rig, &steady}) {
            each->SetInt(Rig::kType, nType);
            each->SetInt(Rig::kBufferSize, 1);
        }
        const auto before = rig.Response(1);
        rig.SetFloat(Rig::kCutoff1, 3000);
        CHECK(rig.GetFloat(Rig::kCutoff1) == 3000.0f);
        CHECK(rig.Response(1) == before);
        CHECK(SameBands(rig.Render(input, input), steady.Render(input, input)));
        rig.SetFloat(Rig::kCutoff2, 4000);
        CHECK(rig.Response(1) != before);
        CHECK_FALSE(SameBands(rig.Render(input, input), steady.Render(input, input)));
    }
    // Filters for two bands stay in force when four cannot be designed; the others are silent.
    for (const std::int32_t nType : {0, 1}) {
        Rig rig;
        rig.SetInt(Rig::kType, nType);
        rig.SetInt(Rig::kBufferSize, 0);
        rig.SetInt(Rig::kNumberOfBands, 2);
        rig.SetFloat(Rig::kCutoff1, 3000);
        rig.component.ClearAudio();
        const auto two = rig.Render(input, input);
        const auto response = rig.Response(0);
        rig.SetInt(Rig::kNumberOfBands, 4);
        CHECK(rig.crossOver.BandCount() == 4);
        CHECK(rig.Response(0) == response);
        CHECK(rig.Response(2)[100] == -400.0f);
        CHECK(SameBands(rig.Render(input, input), two));
    }
}

TEST_CASE("CrossOver: Digital cutoffs are kept below half the rate and then apart by 1 Hz") {
    const std::vector<float> pairs[][2] = {{{500, 15000, 20000}, {500, 11025, 11026}},
                                           {{11500, 11500, 11500}, {11025, 11026, 11027}},
                                           {{2000, 2000, 2000}, {2000, 2001, 2002}}};
    for (const auto& pair : pairs) {
        Rig given, meant;
        for (Rig* each : {&given, &meant}) {
            each->crossOver.SetSampleRate(22050);
            each->SetInt(Rig::kType, DSP::CrossOver::kDigital);
        }
        given.crossOver.SetCutoffs(pair[0]);
        meant.crossOver.SetCutoffs(pair[1]);
        for (std::uint32_t iBand = 0; iBand < 4; ++iBand)
            CHECK(given.Response(iBand) == meant.Response(iBand));
    }
}

TEST_CASE("CrossOver: a Digital change in mid-stream keeps the history and the sum") {
    const auto input = Test::Noise(9, 6400);
    Rig rig;
    rig.SetInt(Rig::kType, DSP::CrossOver::kDigital);
    rig.SetInt(Rig::kBufferSize, 0);
    const std::size_t uDelay = rig.Delay();
    Rig::Bands bands;
    Test::Random random(1);
    for (std::size_t uDone = 0; uDone < 6400; uDone += 64) {
        if (uDone > 2000) rig.SetFloat(Rig::kCutoff2, random.Uniform(1000, 4000));
        if (uDone > 4000) rig.SetFloat(Rig::kQ, random.Uniform(1, 40));
        rig.Process(input.data() + uDone, nullptr, 64, bands);
    }
    float fWorst = 0.0f;
    for (std::size_t n = uDelay; n < input.size(); ++n) {
        const float fSum = ((bands[0][n] + bands[1][n]) + bands[2][n]) + bands[3][n];
        fWorst = std::max(fWorst, std::abs(fSum - input[n - uDelay]));
    }
    CHECK(fWorst < 1e-6f);
}

TEST_CASE("CrossOver: automation moves cutoffs, bands and type on the audio thread") {
    const auto input = Test::Noise(10, 4096);
    Rig rig;
    rig.stage.uStride = 32;
    rig.Render(input, input, {512, 512});
    const EnvelopeSegment sweep{0, 10'000'000, 100, 1900};
    rig.component.Envelopes().AddSegments(ParameterGroup::Float, Rig::kCutoff1, {&sweep, 1});
    const EnvelopeSegment mute{0, 10'000'000, 1, 1, 0, EnvelopeCurve::Jump};
    rig.component.Envelopes().AddSegments(ParameterGroup::Bool, 5, {&mute, 1});
    Rig::Bands bands;
    for (auto& band : bands)
        band.reserve(1u << 15);
    rig.Process(input.data(), input.data(), 512, bands);
    std::vector<float> left = input, right = input;
    std::array<float*, 4> leftBands, rightBands;
    for (std::size_t i = 0; i < 4; ++i) {
        leftBands[i] = bands[i].data();
        rightBands[i] = bands[4 + i].data();
    }
    {
        const Test::AllocationCounter counter;
        for (int i = 0; i < 8; ++i) {
            rig.component.ProcessAutomated(rig.stage, 512, left.data(), right.data(), true, leftBands.data(),
                                           rightBands.data());
            rig.stage.nPosition += 116100;
        }
        CHECK(counter.Count() == 0);
    }
    CHECK(rig.GetFloat(Rig::kCutoff1) > 200.0f);
    CHECK(rig.crossOver.IsBandMuted(1));

    // A type that changes in mid-block leaves the rest of the block in the lowest band.
    const EnvelopeSegment type{0, 20'000'000, 1, 1, 0, EnvelopeCurve::Jump};
    rig.component.Envelopes().AddSegments(ParameterGroup::Int, Rig::kType, {&type, 1});
    bands = {};
    rig.Process(input.data(), input.data(), 512, bands);
    CHECK(rig.GetInt(Rig::kType) == 1);
    CHECK(rig.Delay() == 511 + 1023);
    CHECK(std::equal(bands[0].begin(), bands[0].end(), input.begin()));
    for (int i = 0; i < 8; ++i)
        rig.Process(input.data(), input.data(), 512, bands);
    CHECK(AllFinite(bands));
}

TEST_CASE("CrossOver: neither type allocates once warm, and each forgets a NaN within a second") {
    for (const std::int32_t nType : {0, 1}) {
        Rig rig;
        rig.SetInt(Rig::kType, nType);
        rig.SetInt(Rig::kBufferSize, 2);
        auto left = Test::Noise(11, 512), right = Test::Noise(12, 512);
        Rig::Bands bands;
        for (auto& band : bands)
            band.resize(512);
        std::array<float*, 4> leftBands, rightBands;
        for (std::size_t i = 0; i < 4; ++i) {
            leftBands[i] = bands[i].data();
            rightBands[i] = bands[4 + i].data();
        }
        const auto run = [&](std::uint32_t uFrames) {
            rig.component.ProcessAutomated(rig.stage, uFrames, left.data(), right.data(), true,
                                           leftBands.data(), rightBands.data());
        };
        run(512);
        run(512);
        {
            const Test::AllocationCounter counter;
            for (const std::uint32_t uFrames : {1u, 512u, 0u, 37u, 511u})
                run(uFrames);
            if (nType == 0) rig.SetFloat(Rig::kCutoff3, 9000);
            run(512);
            rig.component.ClearAudio();
            CHECK(counter.Count() == 0);
        }
        left[3] = std::numeric_limits<float>::quiet_NaN();
        right[5] = -std::numeric_limits<float>::infinity();
        run(512);
        left[3] = right[5] = 0.0f;
        for (int i = 0; i < 44; ++i)
            run(512);
        CHECK(AllFinite(bands));
    }
}

TEST_CASE("CrossOver: random parameters at random moments keep the bands finite and the tables in range") {
    for (std::uint64_t uSeed = 1; uSeed <= 6; ++uSeed) {
        CAPTURE(uSeed);
        Test::Random random(uSeed);
        Rig rig;
        rig.SetInt(Rig::kBufferSize, 0);
        const auto left = Test::Noise(uSeed, 700), right = Test::Noise(uSeed + 100, 700);
        bool bGood = true;
        for (int i = 0; i < 150; ++i) {
            switch (random.Between(0, 9)) {
                case 0:
                    rig.SetInt(Rig::kType, static_cast<std::int32_t>(random.Between(0, 1)));
                    break;
                case 1:
                    rig.SetInt(Rig::kNumberOfBands, static_cast<std::int32_t>(random.Between(0, 5)));
                    break;
                case 2:
                    rig.SetInt(Rig::kBufferSize, static_cast<std::int32_t>(random.Between(0, 2)));
                    break;
                case 3:
                    rig.SetFloat(Rig::kQ, random.Uniform(0, 50));
                    break;
                case 4:
                    rig.crossOver.SetSampleRate(random.Between(0, 1) == 0 ? 22050 : 192000);
                    break;
                default:
                    rig.SetFloat(random.Between(1, 3), random.Uniform(0, 21000));
            }
            const bool bMono = random.Between(0, 5) == 0;
            Rig::Bands bands;
            rig.Process(left.data(), bMono ? nullptr : right.data(), random.Between(0, 700), bands);
            bGood &= AllFinite(bands) && rig.crossOver.BandCount() >= 1 && rig.crossOver.BandCount() <= 4;
            for (std::uint32_t iBand = 0; i % 10 == 0 && iBand < Rig::kBands; ++iBand) {
                const auto curve = rig.Response(iBand);
                bGood &= std::all_of(curve.begin(), curve.end(),
                                     [](float fDb) { return fDb >= -400.0f && fDb < 60.0f; });
            }
        }
        CHECK(bGood);
    }
}
