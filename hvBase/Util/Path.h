#pragma once

#include <string>
#include <string_view>

namespace Util {

/// The separator that JoinPath puts in: '\' on Windows, '/' elsewhere.
#ifdef _WIN32
inline constexpr char kPathSeparator = '\\';
#else
inline constexpr char kPathSeparator = '/';
#endif

/// '/' everywhere; on Windows '\' and the colon of a drive too.
bool IsPathSeparator(char c) noexcept;

struct PathNames {
    /// Up to and with the last separator; empty if there is none.
    std::string strFolder;
    /// What follows it.
    std::string strName;
};

/// Cuts a path after its last separator. Folder and name in a row give the path again.
PathNames SplitPath(std::string_view path);

/// Folder and name with one separator between them. An empty folder gives the name alone.
std::string JoinPath(std::string_view folder, std::string_view name);

/// Puts the content of the variable HOME in the place of a leading "~" before a '/'. Without the
/// variable, and for any other path, the path as it is.
std::string ExpandHome(const std::string& strPath);

}  // namespace Util
