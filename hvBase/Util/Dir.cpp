#include "hvBase/Util/Dir.h"

#include <algorithm>

#include "hvBase/Util/DirPort.h"
#include "hvBase/Util/Exception.h"

namespace Util::Dir {

namespace {

char LowerAscii(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

bool Exists(const std::string& strPath) {
    return DirPort::KindOf(ExpandHome(strPath)) == DirPort::Kind::Folder;
}

bool FileExists(const std::string& strPath) {
    return DirPort::KindOf(ExpandHome(strPath)) == DirPort::Kind::File;
}

void Create(const std::string& strPath) {
    std::string strFolder = ExpandHome(strPath);
    while (!strFolder.empty() && IsPathSeparator(strFolder.back())) {
        strFolder.pop_back();
    }
    if (strFolder.empty() || DirPort::KindOf(strFolder) == DirPort::Kind::Folder) return;

    const std::string strParent = SplitPath(strFolder).strFolder;
    if (!strParent.empty()) Create(strParent);
    if (!DirPort::MakeFolder(strFolder)) {
        throw Exception::FileIO(Exception::FileIO::Code::Unexpected, "_mkdir() failed");
    }
}

std::vector<std::string> List(const std::string& strFolder, std::string_view pattern, Entry kind) {
    const auto wanted = kind == Entry::Folder ? DirPort::Kind::Folder : DirPort::Kind::File;
    std::vector<std::string> names;
    DirPort::Visit(ExpandHome(strFolder), [&](std::string strName, DirPort::Kind found) {
        if (found == wanted && Matches(strName, pattern)) names.push_back(std::move(strName));
    });
    std::sort(names.begin(), names.end());
    return names;
}

bool Matches(std::string_view name, std::string_view pattern) noexcept {
    // On a mismatch only the last '*' is worth another try with one character more: an earlier one
    // could do nothing that the last can't.
    std::size_t uName = 0, uPattern = 0;
    std::size_t uStar = std::string_view::npos, uStarName = 0;
    while (uName < name.size()) {
        if (uPattern < pattern.size() && pattern[uPattern] == '*') {
            uStar = uPattern++;
            uStarName = uName;
        } else if (uPattern < pattern.size() &&
                   (pattern[uPattern] == '?' || LowerAscii(pattern[uPattern]) == LowerAscii(name[uName]))) {
            ++uName;
            ++uPattern;
        } else if (uStar != std::string_view::npos) {
            uPattern = uStar + 1;
            uName = ++uStarName;
        } else {
            return false;
        }
    }
    while (uPattern < pattern.size() && pattern[uPattern] == '*') {
        ++uPattern;
    }
    return uPattern == pattern.size();
}

}  // namespace Util::Dir
