#include <windows.h>

#include "hvBase/Util/DirPort.h"
#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/Path.h"

namespace Util::DirPort {

namespace {

Kind KindOfAttributes(DWORD uAttributes) noexcept {
    return (uAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? Kind::Folder : Kind::File;
}

// Closes also when a visitor throws.
class Search {
public:
    Search(const std::wstring& strPattern, WIN32_FIND_DATAW& found)
        : m_handle(FindFirstFileW(strPattern.c_str(), &found)) {}
    ~Search() {
        if (IsOpen()) FindClose(m_handle);
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    bool IsOpen() const noexcept { return m_handle != INVALID_HANDLE_VALUE; }
    bool Next(WIN32_FIND_DATAW& found) const noexcept { return FindNextFileW(m_handle, &found) != 0; }

private:
    HANDLE m_handle;
};

}  // namespace

Kind KindOf(const std::string& strPath) {
    const DWORD uAttributes = GetFileAttributesW(WideFromUtf8(strPath).c_str());
    return uAttributes == INVALID_FILE_ATTRIBUTES ? Kind::Missing : KindOfAttributes(uAttributes);
}

bool MakeFolder(const std::string& strPath) {
    if (CreateDirectoryW(WideFromUtf8(strPath).c_str(), nullptr)) return true;
    // Another process may have been quicker.
    const DWORD uError = GetLastError();
    const bool bThere = uError == ERROR_ALREADY_EXISTS && KindOf(strPath) == Kind::Folder;
    SetLastError(uError);
    return bThere;
}

void Visit(const std::string& strFolder, const std::function<void(std::string strName, Kind kind)>& visit) {
    WIN32_FIND_DATAW found;
    const Search search(WideFromUtf8(JoinPath(strFolder, "*")), found);
    if (!search.IsOpen()) return;
    do {
        const std::wstring_view name = found.cFileName;
        if (name == L"." || name == L"..") continue;
        visit(Utf8FromWide(name), KindOfAttributes(found.dwFileAttributes));
    } while (search.Next(found));
}

}  // namespace Util::DirPort
