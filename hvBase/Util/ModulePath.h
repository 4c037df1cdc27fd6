#pragma once

#include <string>

namespace Util {

/// The full path, in UTF-8, of the module file that holds this code: the plug-in's library when a host
/// has loaded one, otherwise the program. Empty if the system does not tell.
std::string ModulePath();

/// The module's path cut after its last separator, which stays. The data folder where the user has
/// chosen none.
std::string DefaultInstallPath();

}  // namespace Util
