#include <doctest/doctest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "dsp/DCOffset.h"
#include "dsp/Dynamics.h"
#include "dsp/Exciter.h"
#include "dsp/Imager.h"
#include "tests/dsp/CrossOverRig.h"
#include "tests/support/ModuleRun.h"

namespace {

/// Sets any parameter to any value in and around its range.
void SetAny(Component& component, Test::Random& random) {
    if (const std::uint32_t uFloats = component.Count(ParameterGroup::Float)) {
        const std::uint32_t uIndex = random.Between(0, uFloats - 1);
        const FloatRecord& record = std::as_const(component).FloatInfo(uIndex);
        component.SetFloat(uIndex, random.Uniform(record.fMin - 1, record.fMax + 1));
    }
    component.SetBool(random.Between(0, component.Count(ParameterGroup::Bool) - 1), random.Next() % 3 == 0);
    if (const std::uint32_t uInts = component.Count(ParameterGroup::Int))
        component.SetInt(random.Between(0, uInts - 1), static_cast<std::int32_t>(random.Between(0, 5)));
}

}  // namespace

TEST_CASE("Band modules and DC filter: two setters, a display and audio may meet from four threads") {
    Test::TestContext context;
    DSP::Dynamics dynamics(context);
    DSP::Exciter exciter(context, nullptr);
    DSP::Imager imager(context);
    DSP::DCOffset filter(context);
    Component* const components[] = {&dynamics, &exciter, &imager, &filter};
    std::atomic<bool> bStop = false;

    const auto edit = [&](std::uint64_t uSeed) {
        Test::Random random(uSeed);
        while (!bStop) {
            for (Component* component : components)
                SetAny(*component, random);
        }
    };
    std::thread editor(edit, 1), host(edit, 2);
    float fSeen = 0;
    std::thread display([&] {
        Test::Random random(3);
        while (!bStop) {
            const std::uint32_t uBand = random.Between(0, 3);
            fSeen += dynamics.LevelPeaks()[uBand] + dynamics.TakeMinimumCompGain(uBand) +
                     dynamics.TakeMinimumGateGain(uBand) + static_cast<float>(dynamics.Histogram(uBand)[3]);
            fSeen += filter.CurrentOffset(0) + filter.OffsetMinimum(1) + filter.OffsetMaximum(0);
            for (Component* component : components) {
                component->SetActive(component->IsActive());
                if (random.Next() % 64 == 0) component->ClearAudio();
                if (random.Next() % 64 == 1) component->SetSampleRate(random.Between(8000, 96000));
            }
            dynamics.ClearLevelPeaks();
            filter.ClearMeter();
        }
    });

    const Test::Stereo input = Test::StereoNoise(4, 256);
    bool bFinite = true;
    for (std::uint32_t uBlock = 0; uBlock < 600; ++uBlock) {
        Test::Stereo audio = input;
        for (Component* component : components)
            audio = Test::RunWhole(*component, uBlock % 5, audio);
        bFinite = bFinite && Finite(audio);
    }
    bStop = true;
    editor.join();
    host.join();
    display.join();
    CHECK(bFinite);
    CHECK(std::isfinite(fSeen));
}

TEST_CASE("CrossOver: whoever sets last, from whichever thread, what plays is what the parameters say") {
    Test::CrossOverRig rig;
    rig.SetInt(rig.kBufferSize, 0);
    // The audio thread designs in every stride, beside what the others do.
    EnvelopeHandler& envelopes = rig.component.Envelopes();
    const EnvelopeSegment sweep{0, 100'000'000'000, 300, 9000, 0, EnvelopeCurve::Linear};
    envelopes.AddSegments(ParameterGroup::Float, rig.kCutoff2, {&sweep, 1});
    rig.stage.uStride = 50;
    std::atomic<int> nBusy = 2;
    const auto set = [&](std::uint64_t uSeed) {
        Test::Random random(uSeed);
        for (int i = 0; i < 150; ++i) {
            SetAny(rig.component, random);
            rig.SetInt(rig.kBufferSize, static_cast<std::int32_t>(random.Between(0, 1)));
            rig.Response(random.Between(0, 3));
            if (i % 8 == 0) rig.crossOver.SetCutoffs({random.Uniform(20, 500), random.Uniform(500, 20000)});
        }
        --nBusy;
    };
    std::thread first(set, 1), second(set, 2);
    const auto left = Test::Noise(1, 200), right = Test::Noise(2, 200);
    bool bFinite = true;
    while (nBusy != 0) {
        Test::CrossOverRig::Bands bands;
        rig.Process(left.data(), right.data(), 200, bands);
        for (std::uint32_t i = 0; i < rig.crossOver.BandCount(); ++i)
            bFinite &= std::isfinite(bands[i][199]);
    }
    first.join();
    second.join();
    CHECK(bFinite);
    CHECK(rig.stage.nPosition < sweep.nEnd);
    envelopes.RemoveSegments(ParameterGroup::Float, rig.kCutoff2, INT64_MIN, INT64_MAX);

    Test::CrossOverRig same;
    for (Test::CrossOverRig* each : {&rig, &same}) {
        each->crossOver.SetCutoffs({150, 2500, 9000});
        each->SetFloat(each->kQ, 7);
        for (std::uint32_t i = 0; i < 3; ++i)
            each->SetInt(i, rig.GetInt(i));
        each->component.ClearAudio();
    }
    const auto input = Test::Noise(3, 4000);
    CHECK(rig.Render(input, input) == same.Render(input, input));
    CHECK(rig.Delay() == same.Delay());
}
