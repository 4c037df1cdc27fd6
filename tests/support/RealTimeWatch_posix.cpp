#include "tests/support/RealTimeWatch.h"

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

// Nothing in here may allocate or take a lock: it runs inside the allocator and the locks.
namespace {

thread_local std::size_t t_uAllocations = 0;
thread_local std::size_t t_uBefore = 0;  ///< allocations when the outermost learnt lock was taken
thread_local std::size_t t_uInLocks = 0;
thread_local int t_nHeld = 0;  ///< learnt locks that this thread holds
thread_local bool t_bLearning = false;

std::array<std::atomic<const void*>, 1024> g_learnt{};
std::atomic<std::size_t> g_uLearnt = 0;

bool IsLearnt(const void* lock) {
    const std::size_t uCount = g_uLearnt;
    return std::find(g_learnt.begin(), g_learnt.begin() + static_cast<std::ptrdiff_t>(uCount), lock) !=
           g_learnt.begin() + static_cast<std::ptrdiff_t>(uCount);
}

using LockCall = int (*)(pthread_mutex_t*);
LockCall Real(const char* name) {
    return reinterpret_cast<LockCall>(dlsym(RTLD_NEXT, name));
}

void Taken(const void* lock) {
    if (t_bLearning && !IsLearnt(lock) && g_uLearnt < g_learnt.size()) {
        g_learnt[g_uLearnt] = lock;
        ++g_uLearnt;
    } else if (!t_bLearning && IsLearnt(lock) && t_nHeld++ == 0) {
        t_uBefore = t_uAllocations;
    }
}

void GivenBack(const void* lock) {
    if (!t_bLearning && t_nHeld > 0 && IsLearnt(lock) && --t_nHeld == 0)
        t_uInLocks += t_uAllocations - t_uBefore;
}

}  // namespace

// The C library's own names for the functions that are replaced.
extern "C" {

void* __libc_malloc(std::size_t uSize);
void* __libc_calloc(std::size_t uCount, std::size_t uSize);
void* __libc_realloc(void* memory, std::size_t uSize);
void* __libc_memalign(std::size_t uAlignment, std::size_t uSize);
void __libc_free(void* memory);

void* malloc(std::size_t uSize) {
    ++t_uAllocations;
    return __libc_malloc(uSize);
}

void* calloc(std::size_t uCount, std::size_t uSize) {
    ++t_uAllocations;
    return __libc_calloc(uCount, uSize);
}

void* realloc(void* memory, std::size_t uSize) {
    ++t_uAllocations;
    return __libc_realloc(memory, uSize);
}

void* aligned_alloc(std::size_t uAlignment, std::size_t uSize) {
    ++t_uAllocations;
    return __libc_memalign(uAlignment, uSize);
}

int posix_memalign(void** memory, std::size_t uAlignment, std::size_t uSize) {
    ++t_uAllocations;
    *memory = __libc_memalign(uAlignment, uSize);
    return *memory ? 0 : ENOMEM;
}

void free(void* memory) {
    if (memory) ++t_uAllocations;
    __libc_free(memory);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static const LockCall real = Real("pthread_mutex_lock");
    const int nResult = real(mutex);
    if (nResult == 0) Taken(mutex);
    return nResult;
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    static const LockCall real = Real("pthread_mutex_trylock");
    const int nResult = real(mutex);
    if (nResult == 0) Taken(mutex);
    return nResult;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static const LockCall real = Real("pthread_mutex_unlock");
    GivenBack(mutex);
    return real(mutex);
}

}  // extern "C"

namespace Test {

std::size_t RealTimeWatch::Allocations() {
    return t_uAllocations;
}
std::size_t RealTimeWatch::AllocationsInLocks() {
    return t_uInLocks;
}
RealTimeWatch::Learning::Learning() {
    t_bLearning = true;
}
RealTimeWatch::Learning::~Learning() {
    t_bLearning = false;
}
std::size_t RealTimeWatch::LearntLocks() {
    return g_uLearnt;
}
void RealTimeWatch::Forget() {
    g_uLearnt = 0;
}
void RealTimeWatch::Announce(const std::string&) {}

}  // namespace Test
