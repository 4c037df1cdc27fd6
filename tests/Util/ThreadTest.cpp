#include "hvBase/Util/Thread.h"

#include <doctest/doctest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

namespace {

// Work that runs until it is let go.
struct Gate {
    std::promise<void> open;
    std::shared_future<void> opened = open.get_future().share();
    std::function<void()> Work() {
        return [opened = opened] { opened.wait(); };
    }
};

}  // namespace

TEST_CASE("Thread: a wait ends with the work or with its time, and says which") {
    Util::Thread thread;
    CHECK(thread.Join(0));
    CHECK_FALSE(thread.IsRunning());

    Gate gate;
    thread.Start(gate.Work());
    CHECK(thread.IsRunning());
    CHECK_FALSE(thread.Join(0));
    CHECK_FALSE(thread.Join(5));
    CHECK(thread.IsRunning());
    gate.open.set_value();
    CHECK(thread.Join(60000));
    CHECK_FALSE(thread.IsRunning());
    CHECK(thread.Join(0));
}

TEST_CASE("Thread: one object runs one work after another, each on another thread than its owner's") {
    Util::Thread thread;
    int nRuns = 0;
    for (int i = 1; i <= 50; ++i) {
        std::thread::id id;
        thread.Start([&] {
            ++nRuns;
            id = std::this_thread::get_id();
        });
        // Every other time the next start does the waiting.
        if (i % 2 == 0) CHECK(thread.Join(60000));
        if (i % 2 != 0) thread.Start([] {});
        CHECK(nRuns == i);
        CHECK(id != std::this_thread::get_id());
    }
}

TEST_CASE("Thread: destruction waits for the work to end") {
    std::atomic<bool> bEnded = false;
    Gate gate;
    std::thread opener;
    {
        Util::Thread thread;
        thread.Start([&, opened = gate.opened] {
            opened.wait();
            bEnded = true;
        });
        opener = std::thread([&] { gate.open.set_value(); });
    }
    CHECK(bEnded);
    opener.join();
}

TEST_CASE("Thread: what the work throws is kept until the next start") {
    Util::Thread thread;
    thread.Start([] { throw std::runtime_error("no memory"); });
    CHECK(thread.Join(60000));
    REQUIRE(thread.Failure());
    CHECK_THROWS_WITH(std::rethrow_exception(thread.Failure()), "no memory");
    thread.Start([] {});
    CHECK_FALSE(thread.Failure());
}
