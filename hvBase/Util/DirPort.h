#pragma once

#include <functional>
#include <string>

namespace Util::DirPort {

// What the platforms do differently. Paths are UTF-8 and stand as they are.

enum class Kind { Missing, File, Folder };
Kind KindOf(const std::string& strPath);

/// Makes one folder whose parent exists. A folder that exists already counts as made.
bool MakeFolder(const std::string& strPath);

/// Calls `visit` with each entry's name, "." and ".." left out. Nothing for a folder that can't be read.
void Visit(const std::string& strFolder, const std::function<void(std::string strName, Kind kind)>& visit);

}  // namespace Util::DirPort
