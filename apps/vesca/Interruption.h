#pragma once

#include <exception>

namespace App {

/// The user, or the system, wants the process to end. Thrown so that everything half done is cleaned up on
/// the way out.
class Interrupted : public std::exception {
public:
    explicit Interrupted(int nSignal) : m_nSignal(nSignal) {}

    int Signal() const { return m_nSignal; }
    const char* what() const noexcept override { return "interrupted"; }

private:
    int m_nSignal;
};

/// While an object of it lives, the signals that ask a process to end are only noted. One at a time.
class InterruptionGuard {
public:
    InterruptionGuard();
    ~InterruptionGuard();
    InterruptionGuard(const InterruptionGuard&) = delete;
    InterruptionGuard& operator=(const InterruptionGuard&) = delete;

    /// Throws Interrupted if such a signal has come.
    static void Check();
};

/// Ends the process by a signal's own default, so that the caller's shell sees what happened.
[[noreturn]] void EndBySignal(int nSignal);

}  // namespace App
