#include <semaphore.h>

#include <cerrno>

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Semaphore.h"

namespace Util {

struct Semaphore::Platform {
    sem_t semaphore;
};

Semaphore::Semaphore() : m_platform(std::make_unique<Platform>()) {
    if (sem_init(&m_platform->semaphore, 0, 0) != 0) throw ::Exception::Base("Can't create a semaphore");
}

Semaphore::~Semaphore() {
    sem_destroy(&m_platform->semaphore);
}

void Semaphore::Release() noexcept {
    sem_post(&m_platform->semaphore);
}

void Semaphore::Acquire() noexcept {
    // A signal handler may end the wait early.
    while (sem_wait(&m_platform->semaphore) != 0 && errno == EINTR) {
    }
}

}  // namespace Util
