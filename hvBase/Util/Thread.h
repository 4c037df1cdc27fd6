#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace Util {

/// One thread that runs one piece of work and ends, and that can be waited for with a limit of time.
/// The same object may run another piece later.
///
/// Threads: Start, Join and destruction by the owner, one at a time; IsRunning by any. Start allocates
///          and calls the system: never on the audio thread.
class Thread {
public:
    Thread() = default;
    /// Waits for the work to end, however long that takes: it must not outlive what it works on.
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    /// Runs `work` on a thread of its own. Work that still runs is waited for first. Throws
    /// ::Exception::Base if the system has no thread to give.
    void Start(std::function<void()> work);

    /// Waits until the work has ended, at most `uTimeoutMs` milliseconds; 0 only looks. True if nothing
    /// runs any more, also when nothing was ever started. False leaves the work running.
    bool Join(std::uint32_t uTimeoutMs);

    /// Whether work was started and has not ended.
    bool IsRunning() const;

    /// What the last work threw, or null. Read it after a Join that gave true. An exception does not
    /// leave the thread otherwise: nobody above it could catch it.
    std::exception_ptr Failure() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_ended;
    // Under m_mutex.
    bool m_bRunning = false;
    std::exception_ptr m_failure;

    std::thread m_thread;
};

}  // namespace Util
