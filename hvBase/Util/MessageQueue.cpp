#include "hvBase/Util/MessageQueue.h"

#include <algorithm>
#include <mutex>

namespace Util {

namespace {

// One lock for the list and for every ring: a poster finds the queue and fills its place in one step,
// so that the queue can't vanish in between.
constinit std::mutex g_mutex;
constinit MessageQueue* g_first = nullptr;
constinit std::uintptr_t g_uLastHandle = 0;

}  // namespace

MessageQueue::MessageQueue(std::size_t uCapacity) : m_ring(std::max<std::size_t>(uCapacity, 1)) {
    const std::lock_guard guard(g_mutex);
    m_handle = reinterpret_cast<WindowHandle>(++g_uLastHandle);
    m_next = g_first;
    if (m_next) m_next->m_previous = this;
    g_first = this;
}

MessageQueue::~MessageQueue() {
    const std::lock_guard guard(g_mutex);
    (m_previous ? m_previous->m_next : g_first) = m_next;
    if (m_next) m_next->m_previous = m_previous;
}

bool MessageQueue::Take(Message& message) noexcept {
    const std::lock_guard guard(g_mutex);
    if (m_uCount == 0) return false;
    message = m_ring[m_uFirst];
    m_uFirst = (m_uFirst + 1) % m_ring.size();
    --m_uCount;
    return true;
}

bool MessageQueue::Post(WindowHandle window, const Message& message) noexcept {
    const std::lock_guard guard(g_mutex);
    MessageQueue* queue = g_first;
    while (queue && queue->m_handle != window) {
        queue = queue->m_next;
    }
    if (!queue || queue->m_uCount == queue->m_ring.size()) return false;
    queue->m_ring[(queue->m_uFirst + queue->m_uCount) % queue->m_ring.size()] = message;
    ++queue->m_uCount;
    return true;
}

}  // namespace Util
