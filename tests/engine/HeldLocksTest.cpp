#include <doctest/doctest.h>

#include <mutex>
#include <vector>

#include "tests/support/RealTimeStream.h"

using Test::ChainMode;
using Test::QuietPlugin;
using Test::RealTimeStream;
using Test::RealTimeWatch;

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

TEST_CASE("No setter takes memory or gives it back while it holds a lock that a block waits for") {
    for (const ChainMode& mode : Test::AllChainModes()) {
        QuietPlugin plugin;
        mode.ApplyTo(plugin);
        RealTimeStream stream(plugin);
        stream.Run(512);
        {
            const RealTimeWatch::Learning learning;
            stream.Run(512);
        }
        CHECK(RealTimeWatch::LearntLocks() > 2);
        for (const auto& parameter : AllParameters({&plugin.Find(mode.strComponent)})) {
            CAPTURE(mode.strName);
            CAPTURE(parameter.Name());
            for (const double fValue : {parameter.Max(), parameter.Min(), parameter.Get()}) {
                const std::size_t uBefore = RealTimeWatch::AllocationsInLocks();
                parameter.Set(fValue);
                CHECK(RealTimeWatch::AllocationsInLocks() == uBefore);
                stream.Run(64);
            }
        }
        RealTimeWatch::Forget();
    }
}
