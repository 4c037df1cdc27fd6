#pragma once

#include <memory>

namespace Util {

/// A count of wake-ups: each Release lets one Acquire through, also one that comes later. It stands on the
/// platform's own semaphore. The standard library's loses wake-ups in the Windows build, where it notifies a
/// condition variable without holding its mutex: a sleeper that has looked at the count and not yet gone to
/// sleep misses it.
///
/// Threads:   any; not destroyed while a thread is inside.
/// Real time: Release neither waits nor allocates. Construction allocates.
/// Failures:  construction throws an Exception::Base when the system has no semaphore left.
class Semaphore {
public:
    Semaphore();
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    void Release() noexcept;
    /// Waits for a wake-up and takes it.
    void Acquire() noexcept;

private:
    struct Platform;
    std::unique_ptr<Platform> m_platform;
};

}  // namespace Util
