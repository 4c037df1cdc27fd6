#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>

#include "hvBase/Util/NamedLock.h"
#include "hvBase/Util/Relaxed.h"
#include "hvBase/Util/Semaphore.h"
#include "hvBase/Util/Thread.h"

namespace DSP {

/// A thread for one kind of work that may be asked for at any time, also by the audio thread: it sleeps
/// until there is some. A thread that is started for each piece of work would have to be started by whoever
/// asks, and the audio thread may not.
///
/// Running:   from the moment of asking until all that was asked for is done. The owner uses this as
///            ownership: what the work touches belongs to the work while it runs, and to the holder of the
///            owner's own lock while it does not.
/// Restart:   asking while the work runs makes it run once more when it is through. There is never a
///            second thread.
/// Threads:   any, unless an operation says otherwise. Request and IsRunning neither wait for the work nor
///            allocate: the lock is only ever held for a few flags.
/// Failures:  what the work throws ends that run of it, and is dropped: its owner finds the work undone and
///            does it, or asks again.
class ReverbOffload {
public:
    /// A run longer than this is told to give up when somebody waits for the thread to be free.
    static constexpr std::uint32_t kPatienceMs = 2000;

    /// `work` looks at its argument from time to time, and returns early once it is true.
    using Work = std::function<void(const Util::Relaxed<bool>& stop)>;
    explicit ReverbOffload(Work work);
    /// Tells the work to give up and waits for its end.
    ~ReverbOffload();

    /// Lies within the owner's lock. Whoever holds it may only look at flags and small values.
    Util::NamedLock& Lock() { return m_lock; }

    /// Under the lock.
    bool IsRunning() const { return m_bRunning; }
    /// Under the lock, and under the owner's, so that nothing begins while the owner is at work itself. What
    /// the work is to find has been written.
    void Request();

    /// As Request, but the caller is the thread: true asks it to call RunClaimed once it holds no lock. False
    /// where the thread runs already, and will once more.
    bool Claim();
    void RunClaimed() { RunWork(); }

    /// Runs the work on the calling thread, in the thread's place, beginning under the owner's lock. Waits
    /// for the thread first. Not on the audio thread, and with no lock held.
    void RunHere(Util::NamedLock& ownersLock);
    /// Waits until nothing runs. Not on the audio thread, and with no lock held.
    void Wait();

private:
    void ThreadMain();
    void WaitPatiently();
    void RunWork();

    Work m_work;
    Util::NamedLock m_lock{"Reverb Offloading Thread", Util::LockUse::OnAudioThread};
    std::condition_variable_any m_idle;
    // Under the lock.
    bool m_bRunning = false;
    bool m_bRestart = false;

    Util::Semaphore m_wake;
    Util::Relaxed<bool> m_bStop = false;
    Util::Relaxed<bool> m_bQuit = false;
    Util::Thread m_thread;  // the last member: it must not outlive the others
};

}  // namespace DSP
