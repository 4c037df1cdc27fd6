#include "hvBase/Util/NamedLock.h"

namespace Util {

// The standard library's recursive mutex starts as a constant, and this system's threads make a record for it
// on its first locking; the library's destructor leaves that record behind.
NamedLock::~NamedLock() {
    __gthread_recursive_mutex_destroy(m_mutex.native_handle());
}

}  // namespace Util
