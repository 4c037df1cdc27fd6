#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "hvBase/Util/Path.h"

namespace Util::Dir {

// Folders. Paths are UTF-8; a leading "~/" stands for the folder in the variable HOME.
// Threads: any. Never on the audio thread.

/// Whether the path names a folder.
bool Exists(const std::string& strPath);

/// Whether the path names anything else: a file to read.
bool FileExists(const std::string& strPath);

/// Makes a folder with those above it that are missing; does nothing if it exists. Throws
/// Util::Exception::FileIO "_mkdir() failed".
void Create(const std::string& strPath);

enum class Entry { File, Folder };

/// The names, without the folder, of the entries of one kind that match a pattern, in the order of
/// their bytes. "." and ".." never occur. Empty if the folder is missing or can't be read.
std::vector<std::string> List(const std::string& strFolder, std::string_view pattern,
                              Entry kind = Entry::File);

/// Whether a name matches a pattern: '*' stands for any characters, also none, '?' for exactly one
/// byte. Letters of ASCII match in either case on every platform, as users' files come from all of them.
bool Matches(std::string_view name, std::string_view pattern) noexcept;

}  // namespace Util::Dir
