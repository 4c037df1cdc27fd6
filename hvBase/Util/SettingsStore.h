#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Util {

/// What belongs to the user and not to a sound: named values of three kinds. A name has one value; a
/// setter of another kind replaces it, a getter of another kind does not find it.
///
/// Each operation opens the storage, does its one thing and closes it again, so that several stores on
/// one place, in one process or many, see each other's values at once; of two writes to one value the
/// last stands.
///
/// Failures: none is raised. A refused write gives false, and a refused read false with the argument
///           as it was.
/// Text:     UTF-8, up to its first 0 character. Names are not empty.
/// Threads:  one at a time for one object; not on the audio thread.
class SettingsStore {
public:
    virtual ~SettingsStore() = default;

    virtual bool SetBytes(const std::string& strName, const void* data, std::size_t uLength) = 0;
    virtual bool SetText(const std::string& strName, const std::string& strText) = 0;
    virtual bool SetNumber(const std::string& strName, std::uint32_t uNumber) = 0;

    virtual bool GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) = 0;
    virtual bool GetText(const std::string& strName, std::string& strText) = 0;
    virtual bool GetNumber(const std::string& strName, std::uint32_t& uNumber) = 0;

    /// The text, or the default if there is none.
    std::string GetText(const std::string& strName, std::string_view defaultText);

    /// Whether values outlive the object. Where they don't, nothing else of the user's should either.
    virtual bool IsLasting() const { return true; }

    /// The names of all values, in no stated order.
    virtual std::vector<std::string> EnumerateValues() = 0;
};

/// The signed-in user's own store under a key path such as "SOFTWARE\Maker\Product\DirectX": that key
/// of the current user's registry hive on Windows; elsewhere the file that UserSettingsPath names.
/// Nothing is created before the first write. Never null.
std::unique_ptr<SettingsStore> OpenUserSettings(const std::string& strKeyPath);

}  // namespace Util
