#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "hvBase/Util/SettingsData.h"
#include "hvBase/Util/SettingsStore.h"

namespace Util {

/// A store in one file, not on Windows. Its form is SettingsData's.
///
/// A write reads the file, changes one value and replaces the file in one step; a lock file beside it,
/// "<path>.lock", keeps other writers out meanwhile, so that two processes which set different values
/// lose none. A read takes no lock: it sees the file before or after a write. A file that is there but
/// can't be read is never written over.
class FileSettingsStore : public SettingsStore {
public:
    /// Above this size, in bytes, a file is not this store's and is left alone.
    static constexpr std::uint64_t kMaxFileSize = 16u << 20;

    /// An empty path gives a store that refuses everything.
    explicit FileSettingsStore(std::string strPath) : m_strPath(std::move(strPath)) {}

    using SettingsStore::GetText;

    bool SetBytes(const std::string& strName, const void* data, std::size_t uLength) override;
    bool SetText(const std::string& strName, const std::string& strText) override;
    bool SetNumber(const std::string& strName, std::uint32_t uNumber) override;
    bool GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) override;
    bool GetText(const std::string& strName, std::string& strText) override;
    bool GetNumber(const std::string& strName, std::uint32_t& uNumber) override;
    std::vector<std::string> EnumerateValues() override;

    const std::string& Path() const noexcept { return m_strPath; }

private:
    // A missing file has no values; one that can't be read throws.
    SettingsData Load() const;
    bool Store(const std::string& strName, SettingsData::Value value) const;

    const std::string m_strPath;
};

/// Where a key path's values lie: the path without a leading "SOFTWARE", its steps as folders, and
/// "settings.txt" in the last, all under the folder that XDG_CONFIG_HOME names or else "~/.config".
/// Empty if neither variable is set.
std::string UserSettingsPath(const std::string& strKeyPath);

}  // namespace Util
