#include "PluginBase/Transform.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>

#include "dsp/Gain.h"
#include "tests/support/FakeModules.h"
#include "tests/support/Signals.h"
#include "tests/support/TestPlugin.h"

using Test::FakeModule;
using Test::FakeSplitter;
using Test::TestPlugin;

namespace {

/// A chain of fakes in every role, all active.
ModuleSet FakeChain(PluginContext& plugin) {
    ModuleSet modules;
    modules.gain = modules.Add<DSP::Gain>(plugin);
    auto* const splitter = modules.Add<FakeSplitter>(plugin);
    modules.crossOver = splitter;
    modules.bands = splitter;
    const auto add = [&](Component*& role, const char* name) {
        auto* const module = modules.Add<FakeModule>(plugin, name);
        module->SetOn(true);
        role = module;
    };
    add(modules.equalizer, "EQ");
    add(modules.reverb, "RVB");
    add(modules.maximizer, "MAX");
    add(modules.exciter, "EXC");
    add(modules.dynamics, "DYN");
    add(modules.imager, "IMG");
    add(modules.dcOffset, "DCO");
    add(modules.dither, "DTR");
    return modules;
}

struct Chain : TestPlugin {
    Chain() : TestPlugin(&FakeChain), splitter(static_cast<FakeSplitter&>(Find("FakeSplitter"))) {
        for (const char* name : {"EQ", "RVB", "MAX", "EXC", "DYN", "IMG", "DCO", "DTR"})
            Module(name).log = &log;
        BeginStreaming(44100);
    }
    FakeModule& Module(const char* name) { return static_cast<FakeModule&>(Find(name)); }

    std::vector<std::string> Calls() {
        log.clear();
        Render({std::vector<float>(16, 0.25f), std::vector<float>(16, 0.25f)}, {16});
        return log;
    }
    void Order(const std::vector<std::uint32_t>& order) {
        GetTransform().GlobalSettings().SetFilterGraph(order);
    }

    FakeSplitter& splitter;
    std::vector<std::string> log;
};

using Log = std::vector<std::string>;

}  // namespace

TEST_CASE("The chain runs the modules in the user's order, and DC filter and dither behind them") {
    Chain chain;
    chain.splitter.uBands = 1;
    CHECK(chain.Calls() ==
          Log{"EQ/0", "RVB/0", "DYN/0", "EXC/0", "IMG/0", "IMG/4", "MAX/0", "DCO/0", "DTR/0"});
    chain.Order({6, 5, 1, 0, 4, 3, 2, 8, 7});
    CHECK(chain.Calls() ==
          Log{"MAX/0", "IMG/4", "RVB/0", "EQ/0", "IMG/0", "EXC/0", "DYN/0", "DCO/0", "DTR/0"});
}

TEST_CASE("The multiband modules run together at the place of the first, band by band") {
    Chain chain;
    chain.splitter.uBands = 2;
    // The equalizer stands between two of them and runs after all bands.
    chain.Order({2, 0, 3, 1, 4, 5, 6, 7, 8});
    CHECK(chain.Calls() == Log{"DYN/0", "EXC/0", "IMG/0", "DYN/1", "EXC/1", "IMG/1", "EQ/0", "RVB/0", "IMG/4",
                               "MAX/0", "DCO/0", "DTR/0"});
    chain.splitter.uBypassed = 1;
    CHECK(chain.Calls().front() == "DYN/1");
    chain.splitter.uBypassed = 3;
    CHECK(chain.Calls().front() == "EQ/0");
}

TEST_CASE("A module that takes all bands is called once a block, but with automation once a band") {
    Chain chain;
    FakeModule& module = chain.Module("DYN");
    module.bTakesAllBands = true;
    const auto calls = [&] {
        const Log log = chain.Calls();
        return std::count_if(log.begin(), log.end(),
                             [](const auto& call) { return call.starts_with("DYN"); });
    };
    CHECK(calls() == 1);
    const EnvelopeSegment segment{0, 10'000'000, 1, 1, 0, EnvelopeCurve::Jump};
    module.Envelopes().AddSegments(ParameterGroup::Float, 0, {&segment, 1});
    CHECK(calls() == 4);
}

TEST_CASE("Channel operations run even while the imager is off, every other module only while it is on") {
    Chain chain;
    for (const char* name : {"EQ", "RVB", "MAX", "EXC", "DYN", "IMG", "DCO", "DTR"})
        chain.Module(name).SetOn(false);
    CHECK(chain.Calls() == Log{"IMG/4"});
}

TEST_CASE("Bands are summed, muted ones left out, and with all of them muted the alternating guard is left") {
    Chain chain;
    const auto left = Test::Noise(1, 500), right = Test::Noise(2, 500);
    for (std::uint32_t uMuted = 0; uMuted < 15; ++uMuted) {
        CAPTURE(uMuted);
        chain.splitter.uMuted = uMuted;
        float fShare = 0.0f;
        for (std::uint32_t b = 0; b < 4; ++b) {
            if (!(uMuted >> b & 1)) fShare += FakeSplitter::kShares[b];
        }
        auto expected = TestPlugin::Audio{left, right};
        for (std::size_t i = 0; i < 500; ++i) {
            expected.left[i] *= fShare;
            expected.right[i] *= fShare;
        }
        const auto output = chain.Render({left, right}, {64, 1, 100});
        CHECK(Test::WorstDifference(output.left, expected.left) < 1e-6f);
        CHECK(Test::WorstDifference(output.right, expected.right) < 1e-6f);
    }
    chain.splitter.uMuted = 15;
    chain.BeginStreaming(44100);
    const auto output = chain.Render({left, right}, {37, 300, 5});
    for (std::size_t i = 0; i < 500; ++i) {
        const float fGuard = (i / 128) % 2 == 0 ? 1e-10f : -1e-10f;
        REQUIRE(output.left[i] == fGuard);
        REQUIRE(output.right[i] == fGuard);
    }
}

TEST_CASE("The system delay is the sum over the active components, block buffers included") {
    Chain chain;
    const auto delay = [&] { return chain.GetTransform().SystemDelay(); };
    CHECK(delay() == 0);
    chain.Module("EQ").SetLatency(100);
    CHECK(delay() == 100);
    chain.Module("MAX").SetSize(64);
    CHECK(delay() == 163);
    chain.Module("EQ").SetOn(false);
    CHECK(delay() == 63);

    chain.SetFrozenSystemDelay(500);
    chain.Module("EQ").SetOn(true);
    CHECK(delay() == 500);
    chain.SetFrozenSystemDelay(std::nullopt);
    CHECK(delay() == 163);
    CHECK(chain.Settings().EnumerateValues() == std::vector<std::string>{"FrozenSystemDelay"});
}

TEST_CASE("Trimming and Flush give an output as long as the input and in line with it, however it is cut") {
    for (std::uint64_t uSeed = 0; uSeed < 4; ++uSeed) {
        CAPTURE(uSeed);
        Chain chain;
        chain.Module("EQ").SetLatency(321);
        chain.Module("RVB").SetSize(256);
        chain.Set("Global: Delay Compensation", 1);
        chain.BeginStreaming(44100);
        // A reset starts the stream anew.
        for (std::uint64_t uRun = 0; uRun < 2; ++uRun) {
            const TestPlugin::Audio input{Test::Noise(5 + uRun, 3000), Test::Noise(7 + uRun, 3000)};
            auto output = chain.Render(input, Test::RandomCuts(uSeed, 3000, uSeed % 2 ? 50 : 1500));
            CHECK(output.left.size() == 3000 - 321 - 255);
            std::vector<float> left, right;
            REQUIRE(chain.GetTransform().Flush(left, &right) == 576);
            output.left.insert(output.left.end(), left.begin(), left.begin() + 576);
            output.right.insert(output.right.end(), right.begin(), right.begin() + 576);
            REQUIRE(output.left.size() == 3000);
            CHECK(Test::WorstDifference(output.left, input.left) < 1e-6f);
            CHECK(Test::WorstDifference(output.right, input.right) < 1e-6f);
            chain.ResetAll();
        }
    }
}

TEST_CASE("A delay that automation changes within a block counts from the next block on") {
    Chain chain;
    FakeModule& module = chain.Module("RVB");
    const EnvelopeSegment jump{0, 10'000'000, 256, 256, 0, EnvelopeCurve::Jump};
    module.Envelopes().AddSegments(ParameterGroup::Int, 0, {&jump, 1});
    for (const std::uint32_t uDelay : {0u, 255u}) {
        chain.Render({std::vector<float>(100), {}}, {100});
        CHECK(module.Size() == 256);
        CHECK(chain.GetTransform().SystemDelay() == uDelay);
    }
}

TEST_CASE(
    "Without compensation nothing is trimmed and nothing flushed, and other hosts trim for themselves") {
    for (const std::uint32_t uHostKind : {0u, 1u, 2u, 3u}) {
        for (const bool bCompensate : {false, true}) {
            CAPTURE(uHostKind);
            CAPTURE(bCompensate);
            Chain chain;
            chain.SetHostKind(uHostKind);
            chain.Module("EQ").SetLatency(30);
            chain.Set("Global: Delay Compensation", bCompensate);
            chain.BeginStreaming(44100);
            const bool bTrims = bCompensate && (uHostKind == 0 || uHostKind == 3);
            CHECK(chain.Render({std::vector<float>(100), {}}, {7}).left.size() == (bTrims ? 70 : 100));
            std::vector<float> tail;
            CHECK(chain.GetTransform().Flush(tail, nullptr) == (bTrims ? 30 : 0));
        }
    }
}

TEST_CASE("The tail of a mono input with a stereo output is the same on both sides") {
    Chain chain;
    chain.GetTransform().SetChannels(1, 2);
    chain.Module("EQ").SetLatency(50);
    chain.Set("Global: Delay Compensation", 1);
    chain.BeginStreaming(44100);
    chain.Render({Test::Noise(1, 100), {}}, {100});
    std::vector<float> left, right;
    REQUIRE(chain.GetTransform().Flush(left, &right) == 50);
    CHECK(Test::FirstDifference(left, right) == -1);
    CHECK(std::abs(left[49]) > 1e-3f);
}

TEST_CASE("A module that turns inactive is cleared once, and every one learns the rate at each start") {
    Chain chain;
    FakeModule& module = chain.Module("EQ");
    module.nClears = 0;
    for (const bool bOn : {false, false, true})
        module.SetOn(bOn);
    CHECK(module.nClears == 1);
    chain.BeginStreaming(192000);
    CHECK(chain.Module("DTR").uSampleRate == 192000);
    CHECK(chain.GetTransform().SampleRate() == 192000);
    chain.EndStreaming();
    CHECK(module.nStreamResets == 1);
}
