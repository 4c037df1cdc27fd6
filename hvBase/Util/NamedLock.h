#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "hvBase/Util/RealTime.h"

namespace Util {

/// Whether blocks take a lock too. Where they do, whoever holds it does next to nothing.
enum class LockUse { OffAudioThread, OnAudioThread };

/// A lock with a name for people who look for a deadlock. The thread that holds it may take it again
/// and gives it back as many times. Works with std::lock_guard, std::unique_lock and std::scoped_lock.
///
/// Threads:   any. Which lock may be taken while another is held is the owner's matter.
/// Real time: taking a free lock costs no system call and, but for the very first time, allocates nothing.
///            The real-time sanitizer lets a block take the locks that are made for it, and no others.
class NamedLock {
public:
    explicit NamedLock(std::string strName, LockUse use = LockUse::OffAudioThread)
        : m_strName(std::move(strName)), m_use(use) {}
    /// Nobody holds it any more.
    ~NamedLock();
    NamedLock(const NamedLock&) = delete;
    NamedLock& operator=(const NamedLock&) = delete;

    // The names are the standard library's, so that its guards fit.
    void lock() {
        const RealTimeExemption exemption(m_use == LockUse::OnAudioThread);
        m_mutex.lock();
    }
    bool try_lock() {
        const RealTimeExemption exemption(m_use == LockUse::OnAudioThread);
        return m_mutex.try_lock();
    }
    void unlock() {
        const RealTimeExemption exemption(m_use == LockUse::OnAudioThread);
        m_mutex.unlock();
    }

    const std::string& Name() const noexcept { return m_strName; }

private:
    const std::string m_strName;
    const LockUse m_use;
    std::recursive_mutex m_mutex;
};

}  // namespace Util
