#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "hvBase/Util/MessagePort.h"

namespace Util {

/// The messages posted to one window where the system has no queue of its own for them: everywhere but
/// on Windows. First in, first out, with a fixed capacity; a full queue refuses the new message.
///
/// Threads:   PostToWindow on any thread, also while the queue is being destroyed: a handle of a queue
///            that is gone is refused. Construction, Take and destruction on the window's thread.
/// Real time: posting holds a lock that nobody holds for more than one copied message or one step
///            through the living queues.
class MessageQueue {
public:
    struct Message {
        std::uint32_t uMessage = 0;
        std::uintptr_t uFirst = 0;
        std::intptr_t nSecond = 0;
    };

    static constexpr std::size_t kDefaultCapacity = 256;

    /// Allocates for `uCapacity` messages, 1 at least.
    explicit MessageQueue(std::size_t uCapacity = kDefaultCapacity);
    ~MessageQueue();
    MessageQueue(const MessageQueue&) = delete;
    MessageQueue& operator=(const MessageQueue&) = delete;

    /// What PostToWindow takes: a number in a pointer's clothes, never null and never given twice, so that
    /// a late message can't reach another queue that came to lie at the same address.
    WindowHandle Handle() const noexcept { return m_handle; }

    /// Gives the oldest message out and forgets it; false, with the argument as it was, if there is none.
    bool Take(Message& message) noexcept;

    /// What PostToWindow does. False for a handle that is no living queue's, and for a full queue.
    static bool Post(WindowHandle window, const Message& message) noexcept;

private:
    WindowHandle m_handle = nullptr;
    std::vector<Message> m_ring;
    std::size_t m_uFirst = 0;
    std::size_t m_uCount = 0;

    // The list of all living queues, through the objects themselves so that it needs no memory.
    MessageQueue* m_previous = nullptr;
    MessageQueue* m_next = nullptr;
};

}  // namespace Util
