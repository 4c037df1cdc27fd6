#include <doctest/doctest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "dsp/Reverb.h"
#include "dsp/ReverbOffload.h"
#include "hvBase/Util/Semaphore.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using DSP::ReverbOffload;

TEST_CASE("Work that is asked for runs after the asking, never twice at once, whoever asks") {
    Util::NamedLock owner("Owner");
    std::atomic<int> nInside = 0, nTwice = 0;
    int nWanted = 0, nDone = 0;  // wanted under the offload's lock; done belongs to the work
    ReverbOffload* self = nullptr;
    ReverbOffload offload([&](const Util::Relaxed<bool>&) {
        if (++nInside != 1) ++nTwice;
        int n = 0;
        {
            const std::lock_guard guard(self->Lock());
            n = nWanted;
        }
        nDone = n;
        --nInside;
    });
    self = &offload;
    const auto ask = [&] {
        for (int i = 0; i < 500; ++i) {
            const std::scoped_lock guard(owner, offload.Lock());
            ++nWanted;
            offload.Request();
        }
    };
    std::thread first(ask), second(ask);
    for (int i = 0; i < 50; ++i)
        offload.RunHere(owner);
    first.join();
    second.join();
    offload.Wait();
    CHECK(nTwice == 0);
    CHECK(nWanted == 1000);
    CHECK(nDone == 1000);
}

TEST_CASE("Asking while the work runs makes it run once more, and work that throws does not end the thread") {
    Util::NamedLock owner("Owner");
    std::atomic<int> nRuns = 0;
    Util::Semaphore begun;
    Util::Semaphore go;
    ReverbOffload offload([&](const Util::Relaxed<bool>&) {
        if (++nRuns == 1) {
            begun.Release();
            go.Acquire();
            throw std::runtime_error("not this time");
        }
    });
    const auto ask = [&] {
        const std::scoped_lock guard(owner, offload.Lock());
        offload.Request();
        CHECK(offload.IsRunning());
    };
    ask();
    begun.Acquire();
    ask();
    ask();
    go.Release();
    offload.Wait();
    CHECK(nRuns == 2);
    ask();
    offload.Wait();
    CHECK(nRuns == 3);
}

TEST_CASE("The end of an offload stops the work that runs") {
    Util::Semaphore begun;
    bool bStopped = false;
    {
        Util::NamedLock owner("Owner");
        ReverbOffload offload([&](const Util::Relaxed<bool>& stop) {
            begun.Release();
            while (!stop)
                std::this_thread::yield();
            bStopped = true;
        });
        {
            const std::scoped_lock guard(owner, offload.Lock());
            offload.Request();
        }
        begun.Acquire();
    }
    CHECK(bStopped);
}

TEST_CASE("A reverb renders while others change everything") {
    Test::TestContext context;
    DSP::Reverb reverb(context);
    Component& component = reverb;
    component.SetBool(0, false);
    reverb.SetActive(true);
    std::atomic<bool> bDone = false;
    const auto storm = [&](std::uint64_t uSeed) {
        Test::Random random(uSeed);
        while (!bDone) {
            const std::uint32_t p = random.Between(0, 9);
            const FloatRecord& record = reverb.FloatInfo(p);
            component.SetFloat(p, random.Uniform(record.fMin, record.fMax));
            switch (random.Between(0, 40)) {
                case 0:
                    component.SetInt(0, static_cast<std::int32_t>(random.Between(0, 1)));
                    break;
                case 1:
                    component.SetInt(1, static_cast<std::int32_t>(random.Between(0, 3)));
                    break;
                case 2:
                    component.SetInt(2, static_cast<std::int32_t>(random.Between(0, 2)));
                    break;
                case 3:
                    component.SetBool(2, random.Between(0, 1) == 1);
                    break;
                case 4:
                    reverb.ClearAudio();
                    break;
                case 5:
                    reverb.FinishBackgroundWork();
                    break;
                default:
                    break;
            }
        }
    };
    std::thread first(storm, 1), second(storm, 2);
    float fWorst = 0.0f;
    Test::Random random(3);
    for (int i = 0; i < 300; ++i) {
        if (i % 100 == 99) reverb.SetSampleRate(i == 199 ? 48000 : 32000);
        const std::uint32_t uFrames = random.Between(1, 1500);
        auto left = Test::Noise(random.Next(), uFrames), right = Test::Noise(random.Next(), uFrames);
        reverb.ProcessAutomated({}, uFrames, left.data(), i % 10 == 9 ? nullptr : right.data());
        for (const float x : left)
            fWorst = std::max(fWorst, std::isfinite(x) ? std::abs(x) : 1e30f);
    }
    bDone = true;
    first.join();
    second.join();
    CHECK(fWorst < 1e5f);
}
