#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/meter/AutoNormalize.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

using namespace DSP::Meter;
using Test::FakeModule;

namespace {

/// Gain, meters, bands, and modules that scale.
ModuleSet MeteredChain(PluginContext& plugin) {
    ModuleSet modules;
    modules.level = modules.Add<Level>(plugin);
    auto* const demand = modules.Add<FakeModule>(plugin, "Demand");
    demand->SetOn(true);
    modules.spectrum = modules.Add<Spectrum>(plugin, *demand);
    modules.phase = modules.Add<Phase>(plugin);
    modules.bit = modules.Add<Bit>(plugin);
    modules.autoNormalize = modules.Add<AutoNormalize>(plugin);
    modules.gain = modules.Add<DSP::Gain>(plugin);
    auto* const splitter = modules.Add<Test::FakeSplitter>(plugin);
    modules.crossOver = splitter;
    modules.bands = splitter;
    const auto scale = [&](const char* strName, float fFactor) {
        auto* const module = modules.Add<FakeModule>(plugin, strName);
        module->SetOn(true);
        module->SetFactor(fFactor);
        return module;
    };
    modules.equalizer = scale("EQ", 0.5f);
    modules.maximizer = scale("MAX", 0.5f);
    modules.dither = scale("DTR", 0.5f);
    return modules;
}

struct Chain : Test::TestPlugin {
    Chain() : TestPlugin(&MeteredChain) { BeginStreaming(44100); }

    Level& level = static_cast<Level&>(Find("LevelMeter"));
    Spectrum& spectrum = static_cast<Spectrum&>(Find("Spectrum"));
    Phase& phase = static_cast<Phase&>(Find("PhaseMeter"));
    Bit& bit = static_cast<Bit&>(Find("BitMeter"));
    AutoNormalize& normalize = static_cast<AutoNormalize&>(Find("AutoNormalize"));

    void Run(float fLeft, float fRight, std::size_t uFrames = 8192) {
        Render({std::vector<float>(uFrames, fLeft), std::vector<float>(uFrames, fRight)}, {512});
    }
    float Dc() { return spectrum.Current().magnitudes[0]; }
};

}  // namespace

TEST_CASE("Chain: level and auto-normalize read before and after, and bits behind everything") {
    Chain chain;
    chain.normalize.SetEnabled(true);
    chain.Set("Input Gain Slider Lock", 0);
    chain.Set("Output Gain Slider Lock", 0);
    chain.Set("Gain: Input Left", -20);
    chain.Set("Gain: Output Left", -20);
    chain.Run(0.8f, -0.4f);
    // Behind the input gain; behind equalizer, maximizer, output gain and dither.
    const auto value = [&](std::uint32_t i) { return double{chain.level.Read(i).fValue}; };
    CHECK(value(0) == doctest::Approx(0.08).epsilon(1e-5));
    CHECK(value(1) == doctest::Approx(0.4).epsilon(1e-5));
    CHECK(value(2) == doctest::Approx(0.001).epsilon(1e-4));
    CHECK(value(3) == doctest::Approx(0.05).epsilon(1e-5));
    // Before the input gain; between the modules and the output gain.
    CHECK(double{chain.normalize.InputPeak()} == doctest::Approx(0.8).epsilon(1e-5));
    CHECK(double{chain.normalize.OutputPeak()} == doctest::Approx(0.1).epsilon(1e-5));
    // 0.05 of full scale: bits for 1/32 and 1/64.
    const auto& bits = chain.bit.Bits(1);
    CHECK(bits[4] == 0);
    CHECK(bits[5] == 1);
    CHECK(bits[6] == 1);
}

TEST_CASE("Chain: spectrum and phase listen where the order has them") {
    Chain chain;
    const auto levels = [&](const std::vector<std::uint32_t>& order) {
        chain.GetTransform().GlobalSettings().SetFilterGraph(order);
        for (const char* strName : {"Spectrum", "PhaseMeter"})
            chain.Find(strName).ClearAudio();
        chain.Run(0.8f, 0.8f);
        const int nRows = 63 - chain.phase.Trace().back().nRow;
        return std::pair{chain.Dc(), nRows};
    };
    // A constant's bin 0 reads twice its level times the window's mean.
    const auto behindAll = levels({0, 1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(double{behindAll.first} == doctest::Approx(0.2).epsilon(1e-3));
    CHECK(behindAll.second == std::lround(0.4 * 31.25));
    const auto between = levels({0, 7, 8, 6, 2, 3, 4, 5, 1});
    CHECK(double{between.first} == doctest::Approx(0.4).epsilon(1e-3));
    CHECK(between.second == std::lround(0.8 * 31.25));
    const auto before = levels({7, 8, 0, 6, 2, 3, 4, 5, 1});
    CHECK(double{before.first} == doctest::Approx(0.8).epsilon(1e-3));
}

TEST_CASE("Chain: the spectrum hears the chosen band, bypassed or not, while band analysis is on") {
    Chain chain;
    // Spectrum behind everything gets 0.2 of the whole; a quarter of the half is 0.125 of 0.8.
    chain.Find("MAX").SetFloat(0, 0.0f);
    chain.spectrum.SetAnalysedBand(1);
    chain.Run(0.8f, 0.8f);
    CHECK(chain.Dc() < 1e-6f);
    chain.spectrum.SetBandAnalysis(true);
    auto& splitter = static_cast<Test::FakeSplitter&>(chain.Find("FakeSplitter"));
    for (const std::uint32_t uBypassed : {0u, 15u}) {
        splitter.uBypassed = uBypassed;
        chain.spectrum.ClearAudio();
        chain.Run(0.8f, 0.8f);
        CHECK(chain.Dc() > 0.02f);
    }
    splitter.uBands = 1;
    chain.spectrum.ClearAudio();
    chain.Run(0.8f, 0.8f);
    CHECK(chain.Dc() < 1e-6f);
}

TEST_CASE("Chain: a mono stream meters channels 0 and 2 and correlates with itself") {
    Chain chain;
    chain.Render({Test::Noise(1, 8820), {}}, {512});
    CHECK(chain.level.Read(0).fValue > 0.5f);
    CHECK(chain.level.Read(1).fValue == 0.0f);
    CHECK(chain.level.Read(2).fValue > 0.1f);
    CHECK(chain.level.Read(3).fValue == 0.0f);
    CHECK(chain.phase.Histogram()[122] == 3);
}

TEST_CASE("Chain: no meter moves while bypassed or switched off, and clip lights go out together") {
    Chain chain;
    chain.normalize.SetEnabled(true);
    chain.level.TakeNewData();
    const auto still = [&] {
        chain.Run(0.8f, 0.4f);
        return !chain.level.TakeNewData() && !chain.bit.TakeNewData() && chain.Dc() == 0.0f &&
               chain.phase.Trace().back() == Phase::Point{} && chain.normalize.InputPeak() == 0.0f;
    };
    chain.Set("Global: Bypass", 1);
    CHECK(still());
    chain.Set("Global: Bypass", 0);
    chain.Set("Global: Meter Enable", 0);
    CHECK(still());
    chain.Set("Global: Meter Enable", 1);
    CHECK_FALSE(still());
    chain.Run(9.0f, 1.5f);
    for (std::uint32_t i = 0; i < 3; ++i)
        CHECK(chain.level.Clipped(i));
    chain.GetTransform().ClearLatches();
    for (std::uint32_t i = 0; i < Level::kChannels; ++i)
        CHECK_FALSE(chain.level.Clipped(i));
}
