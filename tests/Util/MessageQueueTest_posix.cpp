#include <doctest/doctest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "hvBase/Util/MessagePort.h"
#include "hvBase/Util/MessageQueue.h"
#include "tests/support/CountingAllocator.h"

namespace {

using Util::MessageQueue;
using Util::PostToWindow;

}  // namespace

TEST_CASE("MessageQueue: messages come out whole and in order, and a full queue refuses the new one") {
    MessageQueue queue(3);
    MessageQueue::Message message{1, 2, 3};
    CHECK_FALSE(queue.Take(message));
    CHECK((message.uMessage == 1 && message.uFirst == 2 && message.nSecond == 3));

    // Several times round the ring, at every fill.
    std::uintptr_t uPosted = 0, uTaken = 0;
    const Test::AllocationCounter counter;
    std::size_t uWrong = 0;
    for (int nRound = 0; nRound < 20; ++nRound) {
        const int nFill = 1 + nRound % 3;
        for (int i = 0; i < nFill; ++i, ++uPosted)
            uWrong += !PostToWindow(queue.Handle(), 0xC000, uPosted, -static_cast<std::intptr_t>(uPosted));
        if (nFill == 3) uWrong += PostToWindow(queue.Handle(), 0xC001, 0, 0);
        for (; queue.Take(message); ++uTaken) {
            uWrong += message.uMessage != 0xC000 || message.uFirst != uTaken ||
                      message.nSecond != -static_cast<std::intptr_t>(uTaken);
        }
        uWrong += uTaken != uPosted;
    }
    CHECK(counter.Count() == 0);
    CHECK(uWrong == 0);
    const MessageQueue least(0);
    CHECK(PostToWindow(least.Handle(), 1, 0, 0));
    CHECK_FALSE(PostToWindow(least.Handle(), 1, 0, 0));
}

TEST_CASE("MessageQueue: a message goes to its window only, and none to a window that is gone") {
    CHECK_FALSE(PostToWindow(nullptr, 1, 0, 0));
    auto first = std::make_unique<MessageQueue>(), second = std::make_unique<MessageQueue>(),
         third = std::make_unique<MessageQueue>();
    const Util::WindowHandle gone = second->Handle();
    CHECK(PostToWindow(gone, 1, 0, 0));
    second.reset();
    CHECK_FALSE(PostToWindow(gone, 1, 0, 0));
    CHECK(PostToWindow(first->Handle(), 1, 0, 0));
    CHECK(PostToWindow(third->Handle(), 3, 0, 0));
    MessageQueue::Message message;
    CHECK(first->Take(message));
    CHECK(message.uMessage == 1);
    CHECK_FALSE(first->Take(message));
    CHECK(third->Take(message));
    CHECK(message.uMessage == 3);

    int unrelated = 0;
    CHECK_FALSE(PostToWindow(&unrelated, 1, 0, 0));
}

TEST_CASE("MessageQueue: with many posters every accepted message arrives once, each poster's in order") {
    constexpr unsigned kPosters = 3;
    constexpr std::uintptr_t kMessages = 5000;
    MessageQueue queue(16);
    std::atomic<unsigned> uAlive = kPosters;
    std::vector<std::thread> posters;
    for (unsigned i = 0; i < kPosters; ++i) {
        posters.emplace_back([&, i] {
            for (std::uintptr_t uNext = 0; uNext < kMessages;) {
                if (PostToWindow(queue.Handle(), i, uNext, 0)) {
                    ++uNext;
                } else {
                    std::this_thread::yield();
                }
            }
            --uAlive;
        });
    }
    std::uintptr_t expected[kPosters] = {};
    unsigned uDisorder = 0;
    for (bool bLast = false; !bLast;) {
        bLast = uAlive == 0;
        MessageQueue::Message message;
        while (queue.Take(message)) {
            if (message.uFirst != expected[message.uMessage]++) ++uDisorder;
        }
    }
    for (std::thread& poster : posters) {
        poster.join();
    }
    CHECK(uDisorder == 0);
    for (const std::uintptr_t uCount : expected) {
        CHECK(uCount == kMessages);
    }
}

TEST_CASE("MessageQueue: a window may go while others still post to it") {
    for (int nRound = 0; nRound < 200; ++nRound) {
        auto queue = std::make_unique<MessageQueue>(4);
        const Util::WindowHandle window = queue->Handle();
        std::atomic<bool> bPosting = false;
        std::thread poster([&] {
            for (int i = 0; i < 1000; ++i) {
                PostToWindow(window, 1, 0, 0);
                bPosting = true;
            }
        });
        while (!bPosting) {
            std::this_thread::yield();
        }
        queue.reset();
        CHECK_FALSE(PostToWindow(window, 1, 0, 0));
        poster.join();
    }
}
