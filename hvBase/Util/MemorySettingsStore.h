#pragma once

#include "hvBase/Util/SettingsData.h"
#include "hvBase/Util/SettingsStore.h"

namespace Util {

/// A store that lives as long as the object: for the command line, whose renders depend on nothing but
/// the command, and for tests. It starts empty.
class MemorySettingsStore : public SettingsStore {
public:
    using SettingsStore::GetText;

    bool SetBytes(const std::string& strName, const void* data, std::size_t uLength) override;
    bool SetText(const std::string& strName, const std::string& strText) override;
    bool SetNumber(const std::string& strName, std::uint32_t uNumber) override;
    bool GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) override;
    bool GetText(const std::string& strName, std::string& strText) override;
    bool GetNumber(const std::string& strName, std::uint32_t& uNumber) override;
    bool IsLasting() const override { return false; }
    std::vector<std::string> EnumerateValues() override;

private:
    SettingsData m_data;
};

}  // namespace Util
