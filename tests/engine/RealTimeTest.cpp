// What blocks must not do. Counted with gcc's code as it is shipped, and once more under the real-time
// sanitizer, which ends the program at the first piece of memory, lock or call of the system, and shows where
// it was.

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "tests/support/RealTimeStream.h"

using Test::ChainMode;
using Test::MemoryTaken;
using Test::QuietPlugin;
using Test::RealTimeStream;
using Test::TestPlugin;

namespace {

void Automate(const ParameterRef& parameter, const EnvelopeSegment& segment) {
    Component& owner = parameter.Owner();
    owner.Envelopes().AddSegments(parameter.Group(), parameter.Index(), {&segment, 1});
    owner.SetAutomationActive(owner.HasAutomation());
}

/// From one end of its range to the other within half a second, and then it stays there.
void Automate(const ParameterRef& parameter) {
    const EnvelopeSegment segment{0,
                                  5'000'000,
                                  static_cast<float>(parameter.Min()),
                                  static_cast<float>(parameter.Max()),
                                  0,
                                  EnvelopeCurve::Linear};
    Automate(parameter, segment);
}

void Release(const ParameterRef& parameter) {
    parameter.Owner().Envelopes().RemoveSegments(parameter.Group(), parameter.Index(), INT64_MIN, INT64_MAX);
}

/// Whether a mode is a kind of sound without anything else that is special.
bool IsKindOnly(const ChainMode& mode) {
    return mode.strName.find(',') == std::string::npos;
}

}  // namespace

TEST_CASE("Once warm no mode of any module takes memory or gives it back on the audio thread") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        CAPTURE(mode.strName);
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        RealTimeStream stream(plugin);
        stream.WarmUp();
        CHECK(MemoryTaken(mode.strName, [&] { stream.RunSecond(); }) == 0);
    }
}

TEST_CASE("Automation takes no memory on the audio thread from its first stride on, whatever it moves") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        if (!IsKindOnly(mode)) continue;
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        RealTimeStream stream(plugin);
        stream.WarmUp();
        for (const auto& parameter : AllParameters({&plugin.Find(mode.strComponent)})) {
            if (!parameter.Info().bAutomatable) continue;
            CAPTURE(mode.strName);
            CAPTURE(parameter.Name());
            const double fBefore = parameter.Get();
            Automate(parameter);
            CHECK(MemoryTaken(mode.strName + " with automated " + parameter.Name(),
                              [&] { stream.RunSecond(); }) == 0);
            Release(parameter);
            parameter.Set(fBefore);
            plugin.FinishBackgroundWork();
        }
    }
}

TEST_CASE(
    "A change between mono and stereo takes no memory on the audio thread, and neither does a mono chain") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        for (const std::uint32_t uBegins : {1u, 2u}) {
            if (uBegins == 1 && !IsKindOnly(mode)) continue;
            CAPTURE(mode.strName);
            CAPTURE(uBegins);
            QuietPlugin plugin;
            mode.ApplyTo(plugin);
            RealTimeStream stream(plugin, uBegins);
            stream.WarmUp();
            CHECK(MemoryTaken(mode.strName + " between mono and stereo", [&] {
                      for (int i = 0; i < 3; ++i) {
                          stream.SetChannels(i % 2 == 0 ? 3 - uBegins : uBegins);
                          stream.Run(1000);
                          stream.Run(4096);
                          stream.Run(777);
                      }
                  }) == 0);
        }
    }
}

TEST_CASE("A module that automation switches on in mid-stream takes no memory") {
    TestPlugin names;
    for (const ParameterRef& bypass : AllParameters(names.Components())) {
        const bool bSwitch = bypass.Name().ends_with(": Bypass") || bypass.Name() == "DCO: Enable" ||
                             bypass.Name() == "DTR: Dithering Type";
        if (!bypass.Info().bAutomatable || !bSwitch) continue;
        for (const double fCrossOver : {0, 1}) {
            CAPTURE(bypass.Name());
            CAPTURE(fCrossOver);
            QuietPlugin plugin;
            plugin.Set("CrossOver: Type", fCrossOver);
            RealTimeStream stream(plugin);
            stream.WarmUp();
            const ParameterRef parameter = plugin.Parameter(bypass.Name());
            const auto fOther = static_cast<float>(parameter.Default() == 0 ? 1 : 0);
            const EnvelopeSegment jump{0, 5'000'000, fOther, fOther, 0, EnvelopeCurve::Jump};
            Automate(parameter, jump);
            CHECK(MemoryTaken("automated " + bypass.Name(), [&] { stream.RunSecond(); }) == 0);
            CHECK(parameter.Get() != parameter.Default());
        }
    }
}

TEST_CASE("A fold to mono that is switched on and off takes no memory at the next block") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        if (!IsKindOnly(mode)) continue;
        CAPTURE(mode.strName);
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        RealTimeStream stream(plugin);
        stream.WarmUp();
        for (const double fMono : {1, 0}) {
            plugin.Set("Global: Process As Mono", fMono);
            CHECK(MemoryTaken(mode.strName + " folded to mono", [&] {
                      stream.Run(64);
                      stream.Run(4096);
                  }) == 0);
        }
    }
}

TEST_CASE("What a setter has changed takes no memory at the next block") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        if (!IsKindOnly(mode)) continue;
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        RealTimeStream stream(plugin);
        stream.WarmUp();
        for (const auto& parameter : AllParameters({&plugin.Find(mode.strComponent)})) {
            CAPTURE(mode.strName);
            CAPTURE(parameter.Name());
            const std::string strWhat = mode.strName + " after a change of " + parameter.Name();
            for (const double fValue : {parameter.Max(), parameter.Min(), parameter.Get()}) {
                parameter.Set(fValue);
                CHECK(MemoryTaken(strWhat, [&] {
                          stream.Run(64);
                          stream.Run(4096);
                      }) == 0);
            }
        }
    }
}

TEST_CASE("The digital crossover takes no memory when automation comes to it first, at any size") {
    for (const double fBuffer : {0, 3, 7}) {
        for (const double fBands : {1, 4}) {
            for (const std::uint32_t uChannels : {1u, 2u}) {
                QuietPlugin plugin;
                plugin.Set("DYN: Bypass", 0);
                plugin.Set("CrossOver: Buffer Size",
                           std::min(fBuffer, plugin.Parameter("CrossOver: Buffer Size").Max()));
                plugin.Set("CrossOver: Number of Bands", fBands);
                RealTimeStream stream(plugin, uChannels);
                stream.WarmUp();
                for (const char* name :
                     {"CrossOver: Type", "CrossOver: Number of Bands", "Crossover Q", "CrossOver: Cutoff 1",
                      "CrossOver: Cutoff 2", "CrossOver: Cutoff 3"}) {
                    CAPTURE(fBuffer);
                    CAPTURE(fBands);
                    CAPTURE(uChannels);
                    CAPTURE(name);
                    Automate(plugin.Parameter(name));
                    CHECK(MemoryTaken(std::string("the crossover with automated ") + name, [&] {
                              stream.RunSecond();
                              stream.SetChannels(3 - uChannels);
                              stream.Run(4096);
                              stream.SetChannels(uChannels);
                          }) == 0);
                }
            }
        }
    }
}

TEST_CASE("Matching takes no memory when its amount or its smoothing is automated, at any length") {
    for (const double fLength : {0, 1, 2}) {
        QuietPlugin plugin;
        SnapshotSlots& slots = *plugin.GetTransform().Snapshots();
        slots.SetSource(SnapshotSlots::kSlots);
        slots.SetTarget(SnapshotSlots::kSlots + 1);
        plugin.Set("EQ: Bypass", 0);
        plugin.Set("EQ: Type", 2);
        plugin.Set("EQ: FFT Size", fLength);
        RealTimeStream stream(plugin);
        stream.WarmUp();
        for (const char* name : {"EQ: Smoothing Amount", "EQ: Matching Amount", "EQ: Gain 3", "EQ: Type"}) {
            CAPTURE(fLength);
            CAPTURE(name);
            Automate(plugin.Parameter(name));
            CHECK(MemoryTaken(std::string("matching with automated ") + name, [&] { stream.Run(4096); }) ==
                  0);
            CHECK(MemoryTaken(std::string("matching with automated ") + name,
                              [&] { stream.Run(4096, 4'000'000); }) == 0);
        }
    }
}

TEST_CASE("The room takes no memory on the audio thread where that makes it, whatever becomes of it") {
    for (const double fMode : {0, 1}) {
        for (const double fBuffer : {0, 3, 6}) {
            QuietPlugin plugin;
            plugin.Set("RVB: Bypass", 0);
            plugin.Set("RVB: Offload Mode", fMode);
            RealTimeStream stream(plugin);
            plugin.Set("RVB: Buffer Size", fBuffer);
            stream.WarmUp();
            for (const char* name : {"RVB: Room Size", "RVB: Damping", "RVB: Reflections Delay", "RVB: Width",
                                     "RVB: High Cutoff Freq", "RVB: Type"}) {
                CAPTURE(fMode);
                CAPTURE(fBuffer);
                CAPTURE(name);
                Automate(plugin.Parameter(name));
                CHECK(MemoryTaken(std::string("the room with automated ") + name, [&] {
                          for (const std::int64_t nStart : {0, 1'000'000, 3'000'000, 4'900'000}) {
                              stream.Run(2048, nStart);
                              stream.Run(4096, nStart);
                          }
                          stream.SetChannels(1);
                          stream.Run(4096);
                          stream.SetChannels(2);
                      }) == 0);
            }
        }
    }
}
