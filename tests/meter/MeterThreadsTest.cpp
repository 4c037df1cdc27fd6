#include <doctest/doctest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <thread>

#include "dsp/meter/AutoNormalize.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "dsp/meter/SpectrumState.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using namespace DSP::Meter;

TEST_CASE("Meters: setters, displays and audio may meet from three threads") {
    Test::TestContext context;
    Level level(context);
    SpectrumState state(context);
    Spectrum spectrum(context, state);
    Phase phase(context);
    Bit bit(context);
    AutoNormalize normalize(context);
    std::atomic<bool> bStop = false;

    std::thread editor([&] {
        Test::Random random(1);
        while (!bStop) {
            for (Component* component : context.Components()) {
                const std::uint32_t uInts = component->Count(ParameterGroup::Int);
                const std::uint32_t uBools = component->Count(ParameterGroup::Bool);
                if (uInts != 0)
                    component->SetInt(random.Between(0, uInts - 1),
                                      static_cast<std::int32_t>(random.Between(0, 6)));
                if (uBools != 0) component->SetBool(random.Between(0, uBools - 1), random.Next() % 2 == 0);
                if (random.Next() % 50 == 0) component->ClearAudio();
            }
            level.SetSampleRate(random.Next() % 2 == 0 ? 8000 : 44100);
            spectrum.SetSampleRate(random.Next() % 2 == 0 ? 8000 : 44100);
            normalize.Clear();
        }
    });
    double fSeen = 0;
    std::thread display([&] {
        std::array<float, Spectrum::kMaxValues> values{};
        while (!bStop) {
            fSeen += double{level.Read(1).fValue + level.Read(2).fHeld} + level.TakeNewData();
            level.ClearClips();
            fSeen += spectrum.Read(values) + double{values[3]};
            fSeen += phase.Trace()[7].nRow;
            fSeen += phase.Histogram()[122] + phase.Cell(3, 4);
            phase.Cell(5, 6) = 0;
            phase.RequestHistogramReset();
            fSeen += bit.Bits(1)[4] + bit.TakeNewData();
            bit.HeldBits(0)[3] = 1;
            fSeen += double{normalize.InputPeak()};
        }
    });

    const auto left = Test::Noise(2, 512), right = Test::Noise(3, 512);
    for (int i = 0; i < 400; ++i) {
        level.Meter(1, 512, left.data());
        level.Meter(2, 512, right.data());
        spectrum.Meter(512, left.data(), right.data());
        phase.MeasureVectorscope(512, left.data(), right.data());
        phase.MeasureCorrelation(512, left.data(), right.data());
        bit.Measure(512, left.data(), right.data());
        normalize.MeasureInput(512, left.data(), right.data());
    }
    bStop = true;
    editor.join();
    display.join();
    CHECK(std::isfinite(fSeen));
}
