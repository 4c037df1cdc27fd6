#pragma once

#include <mutex>
#include <string>
#include <utility>

namespace Util {

/// A lock with a name for people who look for a deadlock. The thread that holds it may take it again
/// and gives it back as many times. Works with std::lock_guard, std::unique_lock and std::scoped_lock.
///
/// Threads:   any. Which lock may be taken while another is held is the owner's matter.
/// Real time: taking a free lock costs no system call and, but for the very first time, allocates nothing.
class NamedLock {
public:
    explicit NamedLock(std::string strName) : m_strName(std::move(strName)) {}
    /// Nobody holds it any more.
    ~NamedLock();
    NamedLock(const NamedLock&) = delete;
    NamedLock& operator=(const NamedLock&) = delete;

    // The names are the standard library's, so that its guards fit.
    void lock() { m_mutex.lock(); }
    bool try_lock() { return m_mutex.try_lock(); }
    void unlock() { m_mutex.unlock(); }

    const std::string& Name() const noexcept { return m_strName; }

private:
    const std::string m_strName;
    std::recursive_mutex m_mutex;
};

}  // namespace Util
