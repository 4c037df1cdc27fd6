#include "hvBase/Util/FileSettingsStore.h"

#include <utility>

#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/Dir.h"
#include "hvBase/Util/Exception.h"
#include "hvBase/Util/FileLock.h"
#include "hvBase/Util/Quietly.h"

namespace Util {

bool FileSettingsStore::SetBytes(const std::string& strName, const void* data, std::size_t uLength) {
    return Quietly([&] { return Store(strName, SettingsData::FromBytes(data, uLength)); });
}

bool FileSettingsStore::SetText(const std::string& strName, const std::string& strText) {
    return Quietly([&] { return Store(strName, SettingsData::FromText(strText)); });
}

bool FileSettingsStore::SetNumber(const std::string& strName, std::uint32_t uNumber) {
    return Quietly([&] { return Store(strName, SettingsData::FromNumber(uNumber)); });
}

bool FileSettingsStore::GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) {
    return Quietly([&] { return Load().GetBytes(strName, bytes); });
}

bool FileSettingsStore::GetText(const std::string& strName, std::string& strText) {
    return Quietly([&] { return Load().GetText(strName, strText); });
}

bool FileSettingsStore::GetNumber(const std::string& strName, std::uint32_t& uNumber) {
    return Quietly([&] { return Load().GetNumber(strName, uNumber); });
}

std::vector<std::string> FileSettingsStore::EnumerateValues() {
    std::vector<std::string> names;
    Quietly([&] {
        names = Load().Names();
        return true;
    });
    return names;
}

SettingsData FileSettingsStore::Load() const {
    File file;
    try {
        file.Open(m_strPath, File::kRead);
    } catch (const Exception::FileIO& failure) {
        if (failure.ErrorCode() == Exception::FileIO::Code::NotFound) return {};
        throw;
    }
    const std::uint64_t uLength = file.Length();
    if (uLength > kMaxFileSize) {
        throw Exception::FileIO(Exception::FileIO::Code::Read, "Settings file too large");
    }
    std::string strText(static_cast<std::size_t>(uLength), '\0');
    file.Read(strText.data(), strText.size());
    return SettingsData::Parse(strText);
}

bool FileSettingsStore::Store(const std::string& strName, SettingsData::Value value) const {
    if (m_strPath.empty()) return false;
    Dir::Create(SplitPath(m_strPath).strFolder);
    const FileLock lock(m_strPath + ".lock");

    SettingsData data = Load();
    const SettingsData::Value* const present = data.Find(strName);
    // Preferences are saved all at once, and most have not changed.
    if (present && *present == value) return true;
    if (!data.Set(strName, std::move(value))) return false;

    const std::string strText = data.Print();
    // What could not be read back would shut the store for ever.
    if (strText.size() > kMaxFileSize) return false;
    AtomicFile file(m_strPath);
    file.Write(strText.data(), strText.size());
    file.Commit();
    return true;
}

}  // namespace Util
