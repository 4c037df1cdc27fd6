#pragma once

#include <atomic>
#include <thread>

namespace DSP {

/// One of several threads may design with what is shared for that. The others need not wait for it, since one
/// of them may be the audio thread; those that are certainly not may.
///
/// Threads: any. Taking and giving back order what the holders do, one after another.
class DesignTurn {
public:
    bool IsTaken() const noexcept { return m_bTaken; }

    /// Holds the turn, if it was free, until destruction.
    class Attempt {
    public:
        explicit Attempt(DesignTurn& turn) noexcept
            : m_turn(turn), m_bSucceeded(!turn.m_bTaken.exchange(true)) {}
        ~Attempt() {
            if (m_bSucceeded) m_turn.m_bTaken = false;
        }
        Attempt(const Attempt&) = delete;
        Attempt& operator=(const Attempt&) = delete;
        bool Succeeded() const noexcept { return m_bSucceeded; }

    private:
        DesignTurn& m_turn;
        const bool m_bSucceeded;
    };

    /// Holds the turn until destruction, and waits for it. Never on the audio thread, nor with a lock held
    /// that a holder asks for.
    class Hold {
    public:
        explicit Hold(DesignTurn& turn) noexcept : m_turn(turn) {
            while (m_turn.m_bTaken.exchange(true))
                std::this_thread::yield();
        }
        ~Hold() { m_turn.m_bTaken = false; }
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;

    private:
        DesignTurn& m_turn;
    };

private:
    std::atomic<bool> m_bTaken = false;
};

}  // namespace DSP
