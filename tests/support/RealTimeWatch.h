#pragma once

#include <cstddef>

namespace Test {

/// Watches what the audio thread must not do, and what others must not do to it: the calls of the memory
/// allocator and of the system's locks are seen through replacements that stand in the test executable.
/// First a thread learns which locks a block takes; from then on every piece of memory that any thread takes
/// or gives back while it holds one of those is counted: it may take the allocator's own locks or enter the
/// system, and the audio thread waits for it.
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
};

}  // namespace Test
