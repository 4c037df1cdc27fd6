#include "hvBase/Util/Thread.h"

#include <chrono>
#include <utility>

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Text.h"

namespace Util {

Thread::~Thread() {
    if (m_thread.joinable()) m_thread.join();
}

void Thread::Start(std::function<void()> work) {
    if (m_thread.joinable()) m_thread.join();
    {
        const std::lock_guard guard(m_mutex);
        m_bRunning = true;
        m_failure = nullptr;
    }
    try {
        m_thread = std::thread([this, work = std::move(work)] {
            std::exception_ptr failure;
            try {
                work();
            } catch (...) {
                failure = std::current_exception();
            }
            const std::lock_guard guard(m_mutex);
            m_failure = std::move(failure);
            m_bRunning = false;
            m_ended.notify_all();
        });
    } catch (const std::exception& failure) {
        const std::lock_guard guard(m_mutex);
        m_bRunning = false;
        throw ::Exception::Base(Format("Can't start a thread: %1", failure.what()));
    }
}

bool Thread::Join(std::uint32_t uTimeoutMs) {
    {
        std::unique_lock lock(m_mutex);
        const bool bEnded =
            m_ended.wait_for(lock, std::chrono::milliseconds(uTimeoutMs), [this] { return !m_bRunning; });
        if (!bEnded) return false;
    }
    // The work is done; only the thread's last few instructions are waited for.
    if (m_thread.joinable()) m_thread.join();
    return true;
}

bool Thread::IsRunning() const {
    const std::lock_guard guard(m_mutex);
    return m_bRunning;
}

std::exception_ptr Thread::Failure() const {
    const std::lock_guard guard(m_mutex);
    return m_failure;
}

}  // namespace Util
