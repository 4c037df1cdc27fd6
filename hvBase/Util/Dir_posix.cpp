#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string_view>

#include "hvBase/Util/DirPort.h"
#include "hvBase/Util/Path.h"

namespace Util::DirPort {

Kind KindOf(const std::string& strPath) {
    struct stat status;
    if (stat(strPath.c_str(), &status) != 0) return Kind::Missing;
    return S_ISDIR(status.st_mode) ? Kind::Folder : Kind::File;
}

bool MakeFolder(const std::string& strPath) {
    if (mkdir(strPath.c_str(), 0777) == 0) return true;
    // Another process may have been quicker.
    const int nError = errno;
    const bool bThere = nError == EEXIST && KindOf(strPath) == Kind::Folder;
    errno = nError;
    return bThere;
}

void Visit(const std::string& strFolder, const std::function<void(std::string strName, Kind kind)>& visit) {
    struct Closer {
        void operator()(DIR* handle) const noexcept { closedir(handle); }
    };
    const std::unique_ptr<DIR, Closer> folder(opendir(strFolder.c_str()));
    if (!folder) return;
    while (const dirent* entry = readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        // A link counts as what it leads to; one that leads nowhere is not listed.
        const Kind kind = KindOf(JoinPath(strFolder, name));
        if (kind != Kind::Missing) visit(std::string(name), kind);
    }
}

}  // namespace Util::DirPort
