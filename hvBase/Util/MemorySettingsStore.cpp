#include "hvBase/Util/MemorySettingsStore.h"

#include "hvBase/Util/Quietly.h"

namespace Util {

bool MemorySettingsStore::SetBytes(const std::string& strName, const void* data, std::size_t uLength) {
    return Quietly([&] { return m_data.Set(strName, SettingsData::FromBytes(data, uLength)); });
}

bool MemorySettingsStore::SetText(const std::string& strName, const std::string& strText) {
    return Quietly([&] { return m_data.Set(strName, SettingsData::FromText(strText)); });
}

bool MemorySettingsStore::SetNumber(const std::string& strName, std::uint32_t uNumber) {
    return Quietly([&] { return m_data.Set(strName, SettingsData::FromNumber(uNumber)); });
}

bool MemorySettingsStore::GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) {
    return Quietly([&] { return m_data.GetBytes(strName, bytes); });
}

bool MemorySettingsStore::GetText(const std::string& strName, std::string& strText) {
    return Quietly([&] { return m_data.GetText(strName, strText); });
}

bool MemorySettingsStore::GetNumber(const std::string& strName, std::uint32_t& uNumber) {
    return Quietly([&] { return m_data.GetNumber(strName, uNumber); });
}

std::vector<std::string> MemorySettingsStore::EnumerateValues() {
    std::vector<std::string> names;
    Quietly([&] {
        names = m_data.Names();
        return true;
    });
    return names;
}

}  // namespace Util
