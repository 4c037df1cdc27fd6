#pragma once

#include <atomic>

namespace DSP {

/// One of several threads may design with what is shared for that; the others do not wait for it, since one
/// of them may be the audio thread.
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

private:
    std::atomic<bool> m_bTaken = false;
};

}  // namespace DSP
