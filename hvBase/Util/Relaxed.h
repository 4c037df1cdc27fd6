#pragma once

#include <atomic>

namespace Util {

/// One value that crosses threads without a lock: a parameter, a flag, a measurement for a display.
/// Reads and writes are relaxed atomics, which cost what a plain move costs; they order nothing else.
///
/// Threads: any. A reader may see a value one block old, never a torn one.
/// Copies:  take the value, so that records holding one can live in a vector. Copying is for set-up,
///          when no other thread looks on.
template <class T>
class Relaxed {
public:
    constexpr Relaxed() noexcept = default;
    constexpr Relaxed(T value) noexcept : m_value(value) {}
    Relaxed(const Relaxed& other) noexcept : m_value(other.Get()) {}
    Relaxed& operator=(const Relaxed& other) noexcept { return *this = other.Get(); }
    Relaxed& operator=(T value) noexcept {
        m_value.store(value, std::memory_order_relaxed);
        return *this;
    }

    T Get() const noexcept { return m_value.load(std::memory_order_relaxed); }
    operator T() const noexcept { return Get(); }

    /// Stores a value and gives back the one before it, in one step.
    T Exchange(T value) noexcept { return m_value.exchange(value, std::memory_order_relaxed); }

private:
    std::atomic<T> m_value{};
    static_assert(std::atomic<T>::is_always_lock_free);
};

}  // namespace Util
