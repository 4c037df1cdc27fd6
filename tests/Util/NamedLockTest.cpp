#include "hvBase/Util/NamedLock.h"

#include <doctest/doctest.h>

#include <mutex>
#include <thread>

namespace {

bool FreeForOthers(Util::NamedLock& lock) {
    bool bFree = false;
    std::thread([&] {
        bFree = lock.try_lock();
        if (bFree) lock.unlock();
    }).join();
    return bFree;
}

}  // namespace

TEST_CASE("NamedLock: its holder may take it again, and others wait until it is given back as often") {
    Util::NamedLock lock("Plugin");
    CHECK(lock.Name() == "Plugin");
    CHECK(FreeForOthers(lock));
    lock.lock();
    {
        const std::lock_guard guard(lock);
        CHECK(lock.try_lock());
        CHECK_FALSE(FreeForOthers(lock));
        lock.unlock();
    }
    CHECK_FALSE(FreeForOthers(lock));
    lock.unlock();
    CHECK(FreeForOthers(lock));
}

TEST_CASE("NamedLock: it keeps threads apart") {
    Util::NamedLock first("first"), second("second");
    int nCount = 0;
    const auto count = [&] {
        for (int i = 0; i < 20000; ++i) {
            const std::scoped_lock guard(first, second);
            ++nCount;
        }
    };
    std::thread other(count);
    count();
    other.join();
    CHECK(nCount == 40000);
}
