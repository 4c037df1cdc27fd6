#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

namespace DSP {

/// Gives memory that begins on a 64-byte boundary: a cache line, and the widest vector. Kernels take any
/// alignment and give the same bits; on this one no load crosses a line.
///
/// Long pieces begin at different places of a 4096-byte page, each a few lines behind the last one's (cache
/// colouring: Bonwick, "The Slab Allocator", 1994). A system that gives whole pages would have the same index
/// of several buffers fall into one cache set, and a pair of long transforms takes a tenth longer.
///
/// Threads: any.
template <class T>
struct AlignedAllocator {
    using value_type = T;

    AlignedAllocator() noexcept = default;
    template <class U>
    AlignedAllocator(const AlignedAllocator<U>&) noexcept {}

    T* allocate(std::size_t uCount) {
        if (!IsLong(uCount)) return static_cast<T*>(::operator new(uCount * sizeof(T), kLine));
        const std::size_t uColour = s_uPieces.fetch_add(1, std::memory_order_relaxed) % kColours;
        const std::size_t uOffset = (1 + uColour * kLinesApart) * kLineBytes;
        auto* const piece = static_cast<char*>(::operator new(uCount * sizeof(T) + uOffset, kLine));
        // Right before what the caller gets stands where the piece begins.
        std::memcpy(piece + uOffset - sizeof(piece), &piece, sizeof(piece));
        return reinterpret_cast<T*>(piece + uOffset);
    }
    void deallocate(T* memory, std::size_t uCount) noexcept {
        void* piece = memory;
        if (IsLong(uCount))
            std::memcpy(&piece, reinterpret_cast<char*>(memory) - sizeof(piece), sizeof(piece));
        ::operator delete(piece, kLine);
    }

    friend bool operator==(const AlignedAllocator&, const AlignedAllocator&) noexcept { return true; }

private:
    static constexpr std::size_t kLineBytes = 64;
    static constexpr std::align_val_t kLine{kLineBytes};
    static constexpr std::size_t kLongBytes = 16384;
    static constexpr std::size_t kLinesApart = 5;  ///< prime to the 64 lines of a page
    static constexpr std::size_t kColours = 16;

    static constexpr bool IsLong(std::size_t uCount) noexcept { return uCount >= kLongBytes / sizeof(T); }

    static inline std::atomic<std::uint32_t> s_uPieces{0};
};

template <class T>
using AlignedVector = std::vector<T, AlignedAllocator<T>>;

}  // namespace DSP
