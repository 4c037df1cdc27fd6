#include "hvBase/Util/Path.h"

#include "hvBase/Util/Environment.h"

namespace Util {

bool IsPathSeparator(char c) noexcept {
#ifdef _WIN32
    return c == '/' || c == '\\' || c == ':';
#else
    return c == '/';
#endif
}

PathNames SplitPath(std::string_view path) {
    std::size_t uCut = path.size();
    while (uCut > 0 && !IsPathSeparator(path[uCut - 1])) {
        --uCut;
    }
    return {std::string(path.substr(0, uCut)), std::string(path.substr(uCut))};
}

std::string JoinPath(std::string_view folder, std::string_view name) {
    std::string strPath(folder);
    if (!strPath.empty() && !IsPathSeparator(strPath.back())) strPath += kPathSeparator;
    return strPath.append(name);
}

std::string ExpandHome(const std::string& strPath) {
    if (!strPath.starts_with("~/")) return strPath;
    const auto home = EnvironmentText("HOME");
    return home ? *home + strPath.substr(1) : strPath;
}

}  // namespace Util
