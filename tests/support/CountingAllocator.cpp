#include "tests/support/CountingAllocator.h"

#include <cstdlib>
#include <new>

// The thread sanitizer's library defines the operators itself and can't be linked beside others.
#if defined(__SANITIZE_THREAD__)
#define VESCA_COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VESCA_COUNTS_ALLOCATIONS 0
#endif
#endif
#ifndef VESCA_COUNTS_ALLOCATIONS
#define VESCA_COUNTS_ALLOCATIONS 1
#endif

namespace {

thread_local std::size_t t_uAllocations = 0;

}  // namespace

#if VESCA_COUNTS_ALLOCATIONS

namespace {

void* Allocate(std::size_t uSize) {
    ++t_uAllocations;
    if (void* memory = std::malloc(uSize == 0 ? 1 : uSize)) return memory;
    throw std::bad_alloc();
}

void* AllocateAligned(std::size_t uSize, std::align_val_t alignment) {
    ++t_uAllocations;
    const auto uAlignment = static_cast<std::size_t>(alignment);
#ifdef _WIN32
    void* memory = _aligned_malloc(uSize, uAlignment);
#else
    void* memory = std::aligned_alloc(uAlignment, (uSize + uAlignment - 1) / uAlignment * uAlignment);
#endif
    if (memory) return memory;
    throw std::bad_alloc();
}

void FreeAligned(void* memory) noexcept {
#ifdef _WIN32
    _aligned_free(memory);
#else
    std::free(memory);
#endif
}

}  // namespace

void* operator new(std::size_t uSize) {
    return Allocate(uSize);
}
void* operator new[](std::size_t uSize) {
    return Allocate(uSize);
}
void* operator new(std::size_t uSize, const std::nothrow_t&) noexcept {
    ++t_uAllocations;
    return std::malloc(uSize == 0 ? 1 : uSize);
}
void* operator new[](std::size_t uSize, const std::nothrow_t& nothrow) noexcept {
    return operator new(uSize, nothrow);
}
void* operator new(std::size_t uSize, std::align_val_t alignment) {
    return AllocateAligned(uSize, alignment);
}
void* operator new[](std::size_t uSize, std::align_val_t alignment) {
    return AllocateAligned(uSize, alignment);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    FreeAligned(memory);
}
void operator delete[](void* memory, std::align_val_t) noexcept {
    FreeAligned(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    FreeAligned(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    FreeAligned(memory);
}

#endif

namespace Test {

AllocationCounter::AllocationCounter() : m_uStart(t_uAllocations) {}
AllocationCounter::~AllocationCounter() = default;
std::size_t AllocationCounter::Count() const {
    return t_uAllocations - m_uStart;
}

}  // namespace Test
