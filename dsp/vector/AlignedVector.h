#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace DSP {

/// Gives memory that begins on a 64-byte boundary: a cache line, and the widest vector. Kernels take any
/// alignment and give the same bits; on this one no load crosses a line.
template <class T>
struct AlignedAllocator {
    using value_type = T;

    AlignedAllocator() noexcept = default;
    template <class U>
    AlignedAllocator(const AlignedAllocator<U>&) noexcept {}

    T* allocate(std::size_t uCount) {
        return static_cast<T*>(::operator new (uCount * sizeof(T), std::align_val_t{64}));
    }
    void deallocate(T* memory, std::size_t) noexcept { ::operator delete (memory, std::align_val_t{64}); }

    friend bool operator==(const AlignedAllocator&, const AlignedAllocator&) noexcept { return true; }
};

template <class T>
using AlignedVector = std::vector<T, AlignedAllocator<T>>;

}  // namespace DSP
