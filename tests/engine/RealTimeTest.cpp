#include <doctest/doctest.h>

#include <algorithm>
#include <string>

#include "tests/support/ChainModes.h"
#include "tests/support/RealTimeWatch.h"

using Test::ChainMode;
using Test::RealTimeWatch;
using Test::TestPlugin;

namespace {

constexpr std::uint32_t kLongest = 4096;

/// A host that listens to nothing, so that nothing but the engine takes memory.
class QuietPlugin : public TestPlugin {
    void NotifyParameterEvent(ParameterGroup, ParameterPhase, Component&, std::uint32_t, const float*,
                              const bool*, const std::int32_t*) override {}
};

/// The host's side of a block: noise that is at hand.
class Blocks {
public:
    explicit Blocks(TestPlugin& plugin) : m_plugin(plugin) {}

    void Run(std::uint32_t uFrames, std::int64_t nStart = 0) {
        std::copy_n(m_left.begin(), uFrames, m_inLeft.begin());
        std::copy_n(m_right.begin(), uFrames, m_inRight.begin());
        m_plugin.SetBlockStart(nStart);
        m_plugin.Process(uFrames, m_inLeft.data(), m_inRight.data(), m_outLeft.data(), m_outRight.data());
    }

    /// A stream of a second's length, the same at each call.
    void RunSecond() {
        constexpr std::uint32_t kLengths[] = {512, 1, 64, 480, 4096, 1023};
        std::uint32_t uDone = 0;
        for (std::size_t i = 0; uDone < 44100; uDone += kLengths[i++ % std::size(kLengths)])
            Run(kLengths[i % std::size(kLengths)], std::int64_t{uDone} * 10'000'000 / 44100);
    }

private:
    TestPlugin& m_plugin;
    const std::vector<float> m_left = Test::Noise(1, kLongest), m_right = Test::Noise(2, kLongest);
    std::vector<float> m_inLeft = m_left, m_inRight = m_right, m_outLeft = m_left, m_outRight = m_right;
};

}  // namespace

TEST_CASE("The watch sees memory that is taken, and what of it is taken inside of a lock it has learnt") {
    Util::NamedLock learnt("learnt"), other("other");
    {
        const RealTimeWatch::Learning learning;
        const std::lock_guard lock(learnt);
    }
    const auto use = [](Util::NamedLock& named) {
        const std::lock_guard lock(named);
        std::vector<int> memory(100);
        const std::lock_guard again(named);
        memory[0] = 1;
        CHECK(memory[0] == 1);
    };
    const std::size_t uAll = RealTimeWatch::Allocations(), uHeld = RealTimeWatch::AllocationsInLocks();
    use(other);
    CHECK(RealTimeWatch::Allocations() > uAll);
    CHECK(RealTimeWatch::AllocationsInLocks() == uHeld);
    use(learnt);
    CHECK(RealTimeWatch::AllocationsInLocks() > uHeld);
    RealTimeWatch::Forget();
}

TEST_CASE("Once warm no mode of any module takes memory or gives it back on the audio thread") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        CAPTURE(mode.strName);
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        plugin.GetTransform().SetChannels(2, 2);
        plugin.BeginStreaming(44100);
        Blocks blocks(plugin);
        for (int i = 0; i < 3; ++i)
            blocks.Run(kLongest);
        const std::size_t uBefore = RealTimeWatch::Allocations();
        blocks.RunSecond();
        CHECK(RealTimeWatch::Allocations() == uBefore);
    }
}

TEST_CASE("Automation takes no memory on the audio thread, whatever it moves in whichever mode") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        const bool bKindOnly = mode.strName.find(',') == std::string::npos;
        if (!bKindOnly) continue;
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        plugin.GetTransform().SetChannels(2, 2);
        plugin.BeginStreaming(44100);
        Blocks blocks(plugin);
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
            // Where two sets of filters take turns, each has to have been where the automation goes.
            for (int i = 0; i < 2; ++i)
                blocks.RunSecond();
            const std::size_t uBefore = RealTimeWatch::Allocations();
            blocks.RunSecond();
            CHECK(RealTimeWatch::Allocations() == uBefore);
            envelopes.RemoveSegments(parameter.Group(), parameter.Index(), INT64_MIN, INT64_MAX);
            parameter.Set(fBefore);
            plugin.FinishBackgroundWork();
        }
    }
}

TEST_CASE("No setter takes memory or gives it back while it holds a lock that a block waits for") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        plugin.GetTransform().SetChannels(2, 2);
        plugin.BeginStreaming(44100);
        Blocks blocks(plugin);
        blocks.Run(512);
        {
            const RealTimeWatch::Learning learning;
            blocks.Run(512);
        }
        CHECK(RealTimeWatch::LearntLocks() > 2);
        for (const auto& parameter : AllParameters({&plugin.Find(mode.strComponent)})) {
            CAPTURE(mode.strName);
            CAPTURE(parameter.Name());
            for (const double fValue : {parameter.Max(), parameter.Min(), parameter.Get()}) {
                const std::size_t uBefore = RealTimeWatch::AllocationsInLocks();
                parameter.Set(fValue);
                CHECK(RealTimeWatch::AllocationsInLocks() == uBefore);
                blocks.Run(64);
            }
        }
        RealTimeWatch::Forget();
    }
}
