#include "hvBase/Util/NamedLock.h"

namespace Util {

NamedLock::~NamedLock() = default;

}  // namespace Util
