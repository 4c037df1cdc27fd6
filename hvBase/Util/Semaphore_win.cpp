#include <windows.h>

#include <limits>

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Semaphore.h"

namespace Util {

struct Semaphore::Platform {
    HANDLE handle = CreateSemaphoreW(nullptr, 0, std::numeric_limits<LONG>::max(), nullptr);
    ~Platform() {
        if (handle) CloseHandle(handle);
    }
};

Semaphore::Semaphore() : m_platform(std::make_unique<Platform>()) {
    if (!m_platform->handle) throw ::Exception::Base("Can't create a semaphore");
}

Semaphore::~Semaphore() = default;

void Semaphore::Release() noexcept {
    ReleaseSemaphore(m_platform->handle, 1, nullptr);
}

void Semaphore::Acquire() noexcept {
    WaitForSingleObject(m_platform->handle, INFINITE);
}

}  // namespace Util
