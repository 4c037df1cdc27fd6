#include "hvBase/Util/ModulePath.h"

#include "hvBase/Util/Path.h"

namespace Util {

std::string DefaultInstallPath() {
    return SplitPath(ModulePath()).strFolder;
}

}  // namespace Util
