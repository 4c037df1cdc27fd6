#include "dsp/ReverbOffload.h"

#include <chrono>
#include <mutex>
#include <utility>

namespace DSP {

ReverbOffload::ReverbOffload(Work work) : m_work(std::move(work)) {
    m_thread.Start([this] { ThreadMain(); });
}

ReverbOffload::~ReverbOffload() {
    m_bStop = true;
    m_bQuit = true;
    m_wake.Release();
}

void ReverbOffload::Request() {
    if (Claim()) m_wake.Release();
}

bool ReverbOffload::Claim() {
    if (m_bRunning) {
        m_bRestart = true;
        return false;
    }
    m_bRunning = true;
    return true;
}

void ReverbOffload::ThreadMain() {
    for (;;) {
        m_wake.Acquire();
        if (m_bQuit) return;
        RunWork();
    }
}

// The running flag is set, and this thread is the one that it stands for.
void ReverbOffload::RunWork() {
    for (;;) {
        try {
            m_work(m_bStop);
        } catch (...) {
            // The owner sees that nothing has changed.
        }
        const std::lock_guard guard(m_lock);
        if (m_bRestart && !m_bStop) {
            m_bRestart = false;
            continue;
        }
        m_bRunning = m_bRestart = false;
        m_idle.notify_all();
        return;
    }
}

void ReverbOffload::RunHere(Util::NamedLock& ownersLock) {
    for (bool bMine = false; !bMine;) {
        WaitPatiently();
        // Somebody else may have been quicker.
        const std::scoped_lock guard(ownersLock, m_lock);
        bMine = !m_bRunning;
        m_bRunning = true;
    }
    RunWork();
}

void ReverbOffload::WaitPatiently() {
    std::unique_lock guard(m_lock);
    const auto isIdle = [this] { return !m_bRunning; };
    if (m_idle.wait_for(guard, std::chrono::milliseconds(kPatienceMs), isIdle)) return;
    m_bStop = true;
    m_idle.wait(guard, isIdle);
    m_bStop = false;
}

void ReverbOffload::Wait() {
    std::unique_lock guard(m_lock);
    m_idle.wait(guard, [this] { return !m_bRunning; });
}

}  // namespace DSP
