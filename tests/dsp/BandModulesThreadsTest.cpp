#include <doctest/doctest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "dsp/DCOffset.h"
#include "dsp/Exciter.h"
#include "dsp/Imager.h"
#include "tests/support/ModuleRun.h"
#include "tests/support/TestContext.h"

namespace {

/// Sets any parameter to any value in and around its range.
void SetAny(Component& component, Test::Random& random) {
    if (const std::uint32_t uFloats = component.Count(ParameterGroup::Float)) {
        const std::uint32_t uIndex = random.Between(0, uFloats - 1);
        const FloatRecord& record = std::as_const(component).FloatInfo(uIndex);
        component.SetFloat(uIndex, random.Uniform(record.fMin - 1, record.fMax + 1));
    }
    const std::uint32_t uBools = component.Count(ParameterGroup::Bool);
    component.SetBool(random.Between(0, uBools - 1), random.Next() % 3 == 0);
    if (component.Count(ParameterGroup::Int) > 0)
        component.SetInt(0, static_cast<std::int32_t>(random.Between(0, 2)));
}

}  // namespace

TEST_CASE("Exciter, imager and DC filter: two setters, a display and audio may meet from four threads") {
    Test::TestContext context;
    DSP::Exciter exciter(context, nullptr);
    DSP::Imager imager(context);
    DSP::DCOffset filter(context);
    Component* const components[] = {&exciter, &imager, &filter};
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
            fSeen += filter.CurrentOffset(0) + filter.OffsetMinimum(1) + filter.OffsetMaximum(0);
            for (Component* component : components) {
                component->SetActive(component->IsActive());
                if (random.Next() % 64 == 0) component->ClearAudio();
                if (random.Next() % 64 == 1) component->SetSampleRate(random.Between(8000, 96000));
            }
            filter.ClearMeter();
        }
    });

    const Test::Stereo input = Test::StereoNoise(4, 256);
    bool bFinite = true;
    for (std::uint32_t uBlock = 0; uBlock < 600; ++uBlock) {
        Test::Stereo audio = input;
        for (Component* component : components) {
            audio = Test::RunWhole(*component, uBlock % 5, audio);
        }
        bFinite = bFinite && Finite(audio);
    }
    bStop = true;
    editor.join();
    host.join();
    display.join();
    CHECK(bFinite);
    CHECK(std::isfinite(fSeen));
}
