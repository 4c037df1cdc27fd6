#pragma once

#include <cstddef>
#include <string>

namespace Test {

/// Watches what the audio thread must not do, and what others must not do to it: the calls of the memory
/// allocator and of the system's locks are seen through replacements that stand in the test executable.
/// First a thread learns which locks a block takes; from then on every piece of memory that any thread takes
/// or gives back while it holds one of those is counted: it may take the allocator's own locks or enter the
/// system, and the audio thread waits for it.
///
/// Under the real-time sanitizer, which replaces the same calls, nothing is counted and no lock is learnt:
/// the program ends where it would be, with a line of what was under way.
///
/// Threads: counts belong to the thread that asks. Learning is for one thread, while no other is watched.
class RealTimeWatch {
public:
    /// Memory taken and given back by this thread so far.
    static std::size_t Allocations();

    /// The same, while holding a learnt lock. Of several held at once the innermost says nothing, so it is
    /// the outermost that counts.
    static std::size_t AllocationsInLocks();

    /// While one of these lives, each lock that this thread takes is learnt.
    class Learning {
    public:
        Learning();
        ~Learning();
        Learning(const Learning&) = delete;
        Learning& operator=(const Learning&) = delete;
    };
    static std::size_t LearntLocks();
    static void Forget();

    /// What is under way from now on, for the sanitizer's report.
    static void Announce(const std::string& strWhat);
};

/// Pieces of memory that this thread takes and gives back while it runs something.
template <class Something>
std::size_t MemoryTaken(const std::string& strWhat, const Something& something) {
    RealTimeWatch::Announce(strWhat);
    const std::size_t uBefore = RealTimeWatch::Allocations();
    something();
    return RealTimeWatch::Allocations() - uBefore;
}

}  // namespace Test
