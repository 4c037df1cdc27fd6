#pragma once

#include <atomic>
#include <functional>

namespace DSP {

/// The greatest or the least of the values since a display last took it.
///
/// Threads: one thread includes values, any thread reads, takes or clears. All of it is lock-free, and a
///          value that is taken while another is included counts exactly once, before or after.
/// Values:  a NaN is never included.
template <class Better>
class HeldExtreme {
public:
    /// What it reads as before the first value.
    explicit HeldExtreme(float fNone) noexcept : m_fNone(fNone), m_fHeld(fNone) {}

    void Include(float fValue) noexcept {
        float fHeld = m_fHeld.load(std::memory_order_relaxed);
        while (Better{}(fValue, fHeld) &&
               !m_fHeld.compare_exchange_weak(fHeld, fValue, std::memory_order_relaxed)) {
        }
    }

    float Read() const noexcept { return m_fHeld.load(std::memory_order_relaxed); }

    /// Reads, and begins anew.
    float Take() noexcept { return m_fHeld.exchange(m_fNone, std::memory_order_relaxed); }
    void Clear() noexcept { m_fHeld.store(m_fNone, std::memory_order_relaxed); }

private:
    const float m_fNone;
    std::atomic<float> m_fHeld;
    static_assert(std::atomic<float>::is_always_lock_free);
};

using HeldMaximum = HeldExtreme<std::greater<float>>;
using HeldMinimum = HeldExtreme<std::less<float>>;

}  // namespace DSP
