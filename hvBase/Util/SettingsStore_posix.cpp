#include <algorithm>
#include <string_view>

#include "hvBase/Util/Environment.h"
#include "hvBase/Util/FileSettingsStore.h"
#include "hvBase/Util/Path.h"

namespace Util {

namespace {

// The key's steps are names, never ways out of the folder.
std::string FolderName(std::string_view step) {
    std::string strName(step);
    std::replace(strName.begin(), strName.end(), '/', '_');
    std::replace(strName.begin(), strName.end(), '\0', '_');
    if (strName == "." || strName == "..") std::replace(strName.begin(), strName.end(), '.', '_');
    return strName;
}

std::string ConfigurationFolder() {
    // A relative folder is to be taken as none, by the convention that names the variable.
    const auto configuration = EnvironmentText("XDG_CONFIG_HOME");
    if (configuration && configuration->starts_with('/')) return *configuration;
    const auto home = EnvironmentText("HOME");
    if (home && home->starts_with('/')) return JoinPath(*home, ".config");
    return {};
}

}  // namespace

std::string UserSettingsPath(const std::string& strKeyPath) {
    std::string strPath = ConfigurationFolder();
    if (strPath.empty()) return {};
    bool bFirst = true;
    for (std::string_view rest = strKeyPath; !rest.empty();) {
        const auto uEnd = rest.find('\\');
        const std::string_view step = rest.substr(0, uEnd);
        rest.remove_prefix(uEnd == std::string_view::npos ? rest.size() : uEnd + 1);
        // The registry's own top folder for programs means nothing here.
        if (!step.empty() && !(bFirst && step == "SOFTWARE")) strPath = JoinPath(strPath, FolderName(step));
        bFirst = false;
    }
    return JoinPath(strPath, "settings.txt");
}

std::unique_ptr<SettingsStore> OpenUserSettings(const std::string& strKeyPath) {
    return std::make_unique<FileSettingsStore>(UserSettingsPath(strKeyPath));
}

}  // namespace Util
