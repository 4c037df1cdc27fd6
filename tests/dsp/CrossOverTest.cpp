#include "dsp/CrossOver.h"

#include <doctest/doctest.h>

#include <algorithm>

#include "tests/dsp/CrossOverRig.h"
#include "tests/support/FakeModules.h"

using Rig = Test::CrossOverRig;

TEST_CASE("CrossOver: its cutoffs can be read and set as one list") {
    Rig rig;
    CHECK(rig.crossOver.GetCutoffs() == std::vector<float>{120, 2000, 10000});
    rig.crossOver.SetCutoffs({120, 2000, 10000});
    CHECK(rig.context.nDirty == 0);
    rig.crossOver.SetCutoffs({300, 60000});
    CHECK(rig.crossOver.GetCutoffs() == std::vector<float>{300, 20000});
    CHECK(rig.crossOver.BandCount() == 3);
    rig.crossOver.SetCutoffs({});
    CHECK(rig.crossOver.BandCount() == 1);
    rig.SetInt(Rig::kNumberOfBands, 4);
    rig.crossOver.SetCutoffs({100, 200, 300, 400});
    CHECK(rig.crossOver.BandCount() == 1);
    CHECK(rig.GetFloat(Rig::kCutoff1) == 300.0f);

    // The sound is that of setting one cutoff after another.
    Rig one, list;
    one.SetFloat(Rig::kCutoff2, 3000);
    list.crossOver.SetCutoffs({120, 3000, 10000});
    const auto input = Test::Noise(1, 500);
    CHECK(one.Render(input, {}) == list.Render(input, {}));
}

TEST_CASE("CrossOver runs while a band module does, and is automated with it") {
    Test::TestContext context;
    Test::FakeModule first(context, "First"), second(context, "Second");
    DSP::CrossOver crossOver(context);
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
    const auto left = Test::Noise(2, 3000), right = Test::Noise(3, 3000);
    for (const std::int32_t nType : {0, 1}) {
        Rig rig;
        rig.SetInt(Rig::kType, nType);
        rig.SetInt(Rig::kBufferSize, 0);
        rig.SetInt(Rig::kNumberOfBands, 1);
        rig.SetFloat(Rig::kCutoff1, 500);
        rig.SetFloat(Rig::kCutoff2, 400);
        CHECK(rig.component.GetLatency() == 0);
        const std::ptrdiff_t nDelay = nType == 0 ? 0 : 127;
        CHECK(rig.Delay() == nDelay);
        const auto bands = rig.Render(left, right, {10, 1000, 1990});
        CHECK(std::equal(left.begin(), left.end() - nDelay, bands[0].begin() + nDelay));
        CHECK(std::equal(right.begin(), right.end() - nDelay, bands[4].begin() + nDelay));
        CHECK(Test::FirstDifference(bands[1], std::vector<float>(3000)) == -1);
    }
}

TEST_CASE("CrossOver: type, bands and buffer size set the delay, ask for its update and start anew") {
    const auto input = Test::Noise(4, 2000);
    Rig rig;
    const auto analog = rig.Render(input, input);
    rig.SetInt(Rig::kType, DSP::CrossOver::kDigital);
    CHECK(rig.Delay() == 511 + 1023);
    const auto digital = rig.Render(input, input);
    std::uint32_t uSize = 128;
    for (std::int32_t i = 0; i < 7; ++i, uSize *= 2) {
        rig.SetInt(Rig::kBufferSize, i);
        CHECK(rig.Delay() == 511 + uSize - 1);
    }
    rig.SetInt(Rig::kBufferSize, 3);
    CHECK(rig.context.nDelayRequests == 9);
    CHECK(rig.Render(input, input) == digital);
    rig.SetInt(Rig::kNumberOfBands, 2);
    rig.SetInt(Rig::kNumberOfBands, 4);
    CHECK(rig.context.nDelayRequests == 11);
    CHECK(rig.Render(input, input) == digital);
    rig.SetInt(Rig::kType, DSP::CrossOver::kAnalog);
    CHECK(rig.Delay() == 0);
    CHECK(rig.Render(input, input) == analog);
    rig.SetInt(Rig::kBufferSize, 5);
    CHECK(rig.Delay() == 0);
    CHECK(rig.Render(input, input) == analog);
}

TEST_CASE("CrossOver: a new rate ends a fade and sounds like a start at that rate") {
    const auto input = Test::Noise(7, 2000);
    for (const std::int32_t nType : {0, 1}) {
        Rig rig, fresh;
        for (Rig* each : {&rig, &fresh})
            each->SetInt(Rig::kBufferSize, 0);
        rig.SetInt(Rig::kType, nType);
        rig.Render(input, input);
        rig.SetFloat(Rig::kCutoff1, 300);
        rig.crossOver.SetSampleRate(96000);
        fresh.crossOver.SetSampleRate(96000);
        fresh.crossOver.SetCutoffs({300, 2000, 10000});
        fresh.SetInt(Rig::kType, nType);
        // Digital keeps its history; the fade to the list's cutoffs is not of interest.
        (nType == 0 ? fresh : rig).component.ClearAudio();
        CHECK(rig.Render(input, input) == fresh.Render(input, input));
    }
}

TEST_CASE("CrossOver: cutoffs out of order leave the design in force until the order is restored") {
    const auto input = Test::Noise(8, 3000);
    for (const std::int32_t nType : {0, 1}) {
        Rig rig, steady, fewer;
        for (Rig* each : {&rig, &steady, &fewer}) {
            each->SetInt(Rig::kType, nType);
            each->SetInt(Rig::kBufferSize, 1);
        }
        const auto before = rig.Response(1);
        rig.SetFloat(Rig::kCutoff1, 3000);
        CHECK(rig.GetFloat(Rig::kCutoff1) == 3000.0f);
        CHECK(rig.Response(1) == before);
        CHECK(rig.Render(input, input) == steady.Render(input, input));
        rig.SetFloat(Rig::kCutoff2, 4000);
        CHECK(rig.Response(1) != before);
        CHECK(rig.Render(input, input) != steady.Render(input, input));

        // Filters for two bands stay in force when four cannot be designed; the others are silent.
        fewer.SetInt(Rig::kNumberOfBands, 2);
        fewer.SetFloat(Rig::kCutoff1, 3000);
        fewer.component.ClearAudio();
        const auto two = fewer.Render(input, input);
        const auto response = fewer.Response(0);
        fewer.SetInt(Rig::kNumberOfBands, 4);
        CHECK(fewer.crossOver.BandCount() == 4);
        CHECK(fewer.Response(0) == response);
        CHECK(fewer.Response(2)[100] == -400.0f);
        CHECK(fewer.Render(input, input) == two);
    }
}

TEST_CASE("CrossOver: Digital cutoffs are kept below half the rate and then apart by 1 Hz") {
    const std::vector<float> pairs[][2] = {{{500, 15000, 20000}, {500, 11025, 11026}},
                                           {{11500, 11500, 11500}, {11025, 11026, 11027}},
                                           // The first bin, at 21.5 Hz, is in the third band.
                                           {{20, 20, 20}, {20, 21, 22}}};
    for (const auto& pair : pairs) {
        Rig given, meant;
        for (Rig* each : {&given, &meant}) {
            each->crossOver.SetSampleRate(22050);
            each->SetInt(Rig::kType, DSP::CrossOver::kDigital);
            each->crossOver.SetCutoffs(pair[each == &given ? 0 : 1]);
        }
        for (std::uint32_t iBand = 0; iBand < 4; ++iBand)
            CHECK(given.Response(iBand) == meant.Response(iBand));
    }
}

TEST_CASE("CrossOver: a Digital change in mid-stream keeps the history") {
    const auto left = Test::Noise(9, 6400), right = Test::Noise(10, 6400);
    Rig steady, changing;
    Rig::Bands bands[2];
    for (Rig* each : {&steady, &changing}) {
        each->SetInt(Rig::kType, DSP::CrossOver::kDigital);
        each->SetInt(Rig::kBufferSize, 0);
        for (std::size_t uDone = 0; uDone < 6400; uDone += 64) {
            // There and back between two blocks: the same filters are designed anew.
            if (each == &changing) each->SetFloat(Rig::kCutoff2, 3000);
            if (each == &changing) each->SetFloat(Rig::kCutoff2, 2000);
            each->Process(left.data() + uDone, right.data() + uDone, 64, bands[each == &changing]);
        }
    }
    for (std::size_t i = 0; i < 2 * Rig::kBands; ++i)
        CHECK(Test::WorstDifference(bands[0][i], bands[1][i]) < 1e-6f);
}
