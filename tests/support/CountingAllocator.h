#pragma once

#include <cstddef>

namespace Test {

/// Counts the calls of operator new on this thread while an object of it lives. The replacement
/// operators stand in every test executable; with no counter alive they only allocate. Under the
/// thread sanitizer, which brings its own, the count stays 0: that build looks for races alone.
///
///     AllocationCounter counter;
///     module.ProcessBlock(...);
///     CHECK(counter.Count() == 0);
class AllocationCounter {
public:
    AllocationCounter();
    ~AllocationCounter();
    AllocationCounter(const AllocationCounter&) = delete;
    AllocationCounter& operator=(const AllocationCounter&) = delete;

    /// Allocations since construction, by this thread.
    std::size_t Count() const;

private:
    std::size_t m_uStart;
};

}  // namespace Test
