#include <doctest/doctest.h>

#include <array>
#include <atomic>
#include <cmath>
#include <thread>

#include "PluginBase/ParameterRef.h"
#include "dsp/DCOffset.h"
#include "dsp/Maximizer.h"
#include "dsp/meter/AutoNormalize.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "dsp/meter/SpectrumState.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using namespace DSP::Meter;

TEST_CASE("Setters, displays and audio of everything that meters may meet from three threads") {
    Test::TestContext context;
    Level level(context);
    SpectrumState state(context);
    Spectrum spectrum(context, state);
    Phase phase(context);
    Bit bit(context);
    AutoNormalize normalize(context);
    DSP::Maximizer maximizer(context);
    DSP::DCOffset dcOffset(context);
    std::atomic<bool> bStop = false;

    std::thread editor([&] {
        Test::Random random(1);
        const auto parameters = AllParameters(context.Components());
        while (!bStop) {
            for (int i = 0; i < 20; ++i) {
                const auto& parameter = parameters[random.Next() % parameters.size()];
                const double fShare = double{random.Uniform(0, 1)};
                parameter.Set(parameter.Min() + (parameter.Max() + 1 - parameter.Min()) * fShare);
                if (random.Next() % 100 == 0) parameter.Owner().ClearAudio();
            }
            level.SetSampleRate(random.Next() % 2 == 0 ? 8000 : 44100);
            spectrum.SetSampleRate(random.Next() % 2 == 0 ? 8000 : 44100);
            normalize.Clear();
            dcOffset.ClearMeter();
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
            fSeen += maximizer.Histogram()[3] + double{maximizer.TakeMinimumGain()} + maximizer.GetLatency();
            fSeen += double{dcOffset.OffsetMaximum(0)} + double{dcOffset.CurrentOffset(1)};
        }
    });

    bool bFinite = true;
    const auto left = Test::Noise(2, 512), right = Test::Noise(3, 512);
    for (int i = 0; i < 400; ++i) {
        level.Meter(1, 512, left.data());
        level.Meter(2, 512, right.data());
        spectrum.Meter(512, left.data(), right.data());
        phase.MeasureVectorscope(512, left.data(), right.data());
        phase.MeasureCorrelation(512, left.data(), right.data());
        bit.Measure(512, left.data(), right.data());
        normalize.MeasureInput(512, left.data(), right.data());
        auto leftOut = left, rightOut = right;
        maximizer.ProcessBlock(512, leftOut.data(), rightOut.data());
        dcOffset.ProcessBlock(512, leftOut.data(), rightOut.data());
        bFinite = bFinite && std::isfinite(leftOut[7]);
    }
    bStop = true;
    editor.join();
    display.join();
    CHECK(bFinite);
    CHECK(std::isfinite(fSeen));
}
