// What blocks must not do. Counted with gcc's code as it is shipped, and once more under the real-time
// sanitizer, which ends the program at the first piece of memory, lock or call of the system, and shows where
// it was.

#include <doctest/doctest.h>

#include <string>

#include "tests/support/RealTimeStream.h"

using Test::ChainMode;
using Test::MemoryTaken;
using Test::QuietPlugin;
using Test::RealTimeStream;

namespace {

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

TEST_CASE("Automation takes no memory on the audio thread, whatever it moves in whichever mode") {
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
            const EnvelopeSegment segment{0,
                                          5'000'000,
                                          static_cast<float>(parameter.Min()),
                                          static_cast<float>(parameter.Max()),
                                          0,
                                          EnvelopeCurve::Linear};
            EnvelopeHandler& envelopes = parameter.Owner().Envelopes();
            envelopes.AddSegments(parameter.Group(), parameter.Index(), {&segment, 1});
            {
                // Where two sets of filters take turns, each has to have been where the automation goes.
                const Util::RealTimeExemption growing;
                for (int i = 0; i < 2; ++i)
                    stream.RunSecond();
            }
            CHECK(MemoryTaken(mode.strName + " with automated " + parameter.Name(),
                              [&] { stream.RunSecond(); }) == 0);
            envelopes.RemoveSegments(parameter.Group(), parameter.Index(), INT64_MIN, INT64_MAX);
            parameter.Set(fBefore);
            plugin.FinishBackgroundWork();
        }
    }
}
