#include <doctest/doctest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "dsp/ReverbOffload.h"
#include "hvBase/Util/Semaphore.h"

using DSP::ReverbOffload;

namespace {

/// As a setter asks.
void Ask(ReverbOffload& offload, Util::NamedLock& owner) {
    const std::scoped_lock guard(owner, offload.Lock());
    offload.Request();
    CHECK(offload.IsRunning());
}

}  // namespace

TEST_CASE("Work never runs twice at once: who wants to do it waits for the one that was quicker") {
    Util::NamedLock owner("Owner");
    std::atomic<int> nInside = 0, nTwice = 0, nRuns = 0;
    Util::Semaphore begun, go;
    ReverbOffload offload([&](const Util::Relaxed<bool>&) {
        if (++nInside != 1) ++nTwice;
        begun.Release();
        go.Acquire();
        --nInside;
        ++nRuns;
    });
    const auto giveWay = [] {
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
    };
    std::thread late;
    {
        // The late one has seen that nobody works, but not yet got the owner's lock, when it is asked for.
        const std::lock_guard guard(owner);
        late = std::thread([&] { offload.RunHere(owner); });
        giveWay();
        Ask(offload, owner);
        begun.Acquire();
    }
    giveWay();
    go.Release();
    go.Release();
    late.join();
    offload.Wait();
    CHECK(nTwice == 0);
    CHECK(nRuns == 2);
}

TEST_CASE("Asking while the work runs makes it run once more, and work that throws does not end the thread") {
    Util::NamedLock owner("Owner");
    std::atomic<int> nRuns = 0;
    Util::Semaphore begun, go;
    ReverbOffload offload([&](const Util::Relaxed<bool>&) {
        if (++nRuns == 1) {
            begun.Release();
            go.Acquire();
            throw std::runtime_error("not this time");
        }
    });
    Ask(offload, owner);
    begun.Acquire();
    Ask(offload, owner);
    Ask(offload, owner);
    go.Release();
    offload.Wait();
    CHECK(nRuns == 2);
    Ask(offload, owner);
    offload.Wait();
    CHECK(nRuns == 3);
}

TEST_CASE("The end of an offload stops the work that runs") {
    Util::NamedLock owner("Owner");
    Util::Semaphore begun;
    bool bStopped = false;
    {
        ReverbOffload offload([&](const Util::Relaxed<bool>& stop) {
            begun.Release();
            while (!stop)
                std::this_thread::yield();
            bStopped = true;
        });
        Ask(offload, owner);
        begun.Acquire();
    }
    CHECK(bStopped);
}
