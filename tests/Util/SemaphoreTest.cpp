#include "hvBase/Util/Semaphore.h"

#include <doctest/doctest.h>

#include <atomic>
#include <thread>

TEST_CASE("Semaphore: a thread that is just falling asleep does not miss its wake-up") {
    int nAwake = 0;
    for (int i = 0; i < 400; ++i) {
        Util::Semaphore semaphore;
        std::atomic<bool> bUp = false;
        std::thread sleeper([&] {
            bUp = true;
            semaphore.Acquire();
            ++nAwake;
        });
        while (!bUp)
            std::this_thread::yield();
        for (int k = 0; k < i % 40; ++k)
            std::this_thread::yield();
        semaphore.Release();
        sleeper.join();
    }
    CHECK(nAwake == 400);
}

TEST_CASE("Semaphore: wake-ups given in advance are kept, one for each wait") {
    Util::Semaphore semaphore;
    int nPassed = 0;
    for (int i = 0; i < 3; ++i)
        semaphore.Release();
    std::atomic<bool> bReleased = false;
    std::thread sleeper([&] {
        for (; nPassed < 3; ++nPassed)
            semaphore.Acquire();
        semaphore.Acquire();
        // The fourth comes only with the release below.
        nPassed += bReleased ? 1 : 100;
    });
    bReleased = true;
    semaphore.Release();
    sleeper.join();
    CHECK(nPassed == 4);
}
