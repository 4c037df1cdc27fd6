#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/meter/AutoNormalize.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "tests/support/CountingAllocator.h"
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

    template <class T>
    T& Get(const char* strName) {
        return static_cast<T&>(Find(strName));
    }
    Level& TheLevel() { return Get<Level>("LevelMeter"); }
    Spectrum& TheSpectrum() { return Get<Spectrum>("Spectrum"); }
    Phase& ThePhase() { return Get<Phase>("PhaseMeter"); }
    Bit& TheBit() { return Get<Bit>("BitMeter"); }
    AutoNormalize& Normalize() { return Get<AutoNormalize>("AutoNormalize"); }

    void Run(float fLeft, float fRight, std::size_t uFrames = 8192) {
        Render({std::vector<float>(uFrames, fLeft), std::vector<float>(uFrames, fRight)}, {512});
    }
    float Dc() { return TheSpectrum().Current().magnitudes[0]; }
};

}  // namespace

TEST_CASE("Chain: level and auto-normalize read before and after, and bits behind everything") {
    Chain chain;
    chain.Normalize().SetEnabled(true);
    chain.Set("Input Gain Slider Lock", 0);
    chain.Set("Output Gain Slider Lock", 0);
    chain.Set("Gain: Input Left", -20);
    chain.Set("Gain: Output Left", -20);
    chain.Run(0.8f, -0.4f);
    // Behind the input gain; behind equalizer, maximizer, output gain and dither.
    const auto value = [&](std::uint32_t i) { return double{chain.TheLevel().Read(i).fValue}; };
    CHECK(value(0) == doctest::Approx(0.08).epsilon(1e-5));
    CHECK(value(1) == doctest::Approx(0.4).epsilon(1e-5));
    CHECK(value(2) == doctest::Approx(0.001).epsilon(1e-4));
    CHECK(value(3) == doctest::Approx(0.05).epsilon(1e-5));
    // Before the input gain; between the modules and the output gain.
    CHECK(double{chain.Normalize().InputPeak()} == doctest::Approx(0.8).epsilon(1e-5));
    CHECK(double{chain.Normalize().OutputPeak()} == doctest::Approx(0.1).epsilon(1e-5));
    // 0.05 of full scale: bits for 1/32 and 1/64.
    const auto& bits = chain.TheBit().Bits(1);
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
        const int nRows = 63 - chain.ThePhase().Trace().back().nRow;
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
    chain.TheSpectrum().SetAnalysedBand(1);
    chain.Run(0.8f, 0.8f);
    CHECK(chain.Dc() < 1e-6f);
    chain.TheSpectrum().SetBandAnalysis(true);
    auto& splitter = chain.Get<Test::FakeSplitter>("FakeSplitter");
    for (const std::uint32_t uBypassed : {0u, 15u}) {
        splitter.uBypassed = uBypassed;
        chain.TheSpectrum().ClearAudio();
        chain.Run(0.8f, 0.8f);
        CHECK(chain.Dc() > 0.02f);
    }
    splitter.uBands = 1;
    chain.TheSpectrum().ClearAudio();
    chain.Run(0.8f, 0.8f);
    CHECK(chain.Dc() < 1e-6f);
}

TEST_CASE("Chain: a mono stream meters channels 0 and 2 and correlates with itself") {
    Chain chain;
    chain.Render({Test::Noise(1, 8820), {}}, {512});
    CHECK(chain.TheLevel().Read(0).fValue > 0.5f);
    CHECK(chain.TheLevel().Read(1).fValue == 0.0f);
    CHECK(chain.TheLevel().Read(2).fValue > 0.1f);
    CHECK(chain.TheLevel().Read(3).fValue == 0.0f);
    CHECK(chain.ThePhase().Histogram()[122] == 3);
}

TEST_CASE("Chain: no meter moves while bypassed or switched off, and clip lights go out together") {
    Chain chain;
    chain.Normalize().SetEnabled(true);
    chain.TheLevel().TakeNewData();
    const auto still = [&] {
        chain.Run(0.8f, 0.4f);
        return !chain.TheLevel().TakeNewData() && !chain.TheBit().TakeNewData() && chain.Dc() == 0.0f &&
               chain.ThePhase().Trace().back() == Phase::Point{} && chain.Normalize().InputPeak() == 0.0f;
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
        CHECK(chain.TheLevel().Clipped(i));
    chain.GetTransform().ClearLatches();
    for (std::uint32_t i = 0; i < Level::kChannels; ++i)
        CHECK_FALSE(chain.TheLevel().Clipped(i));
}

TEST_CASE("Chain: the meters stand first in the list of components and allocate nothing once warm") {
    Test::TestPlugin plugin;
    std::vector<std::string> names;
    for (const Component* component : plugin.Components())
        names.push_back(component->Name());
    names.resize(9);
    CHECK(names == std::vector<std::string>{"Global", "GlobalDerived", "LevelMeter", "SpectrumState",
                                            "Spectrum", "PhaseMeter", "BitMeter", "AutoNormalize", "Gain"});
    plugin.BeginStreaming(44100);
    std::vector<float> left = Test::Noise(1, 512), right = Test::Noise(2, 512), outLeft(512), outRight(512);
    const auto process = [&] {
        plugin.Process(512, left.data(), right.data(), outLeft.data(), outRight.data());
    };
    process();
    const Test::AllocationCounter counter;
    for (int i = 0; i < 40; ++i)
        process();
    CHECK(counter.Count() == 0);
}
