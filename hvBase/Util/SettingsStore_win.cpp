#include <windows.h>

#include <limits>
#include <utility>

#include "hvBase/Util/Encoding.h"
#include "hvBase/Util/Quietly.h"
#include "hvBase/Util/SettingsStore.h"

namespace Util {

namespace {

// One key, open for one operation.
class OpenKey {
public:
    static OpenKey ForReading(const std::wstring& strPath) {
        OpenKey key;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, strPath.c_str(), 0, KEY_READ, &key.m_handle) != ERROR_SUCCESS) {
            key.m_handle = nullptr;
        }
        return key;
    }
    static OpenKey ForWriting(const std::wstring& strPath) {
        OpenKey key;
        if (RegCreateKeyExW(HKEY_CURRENT_USER, strPath.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                            KEY_ALL_ACCESS, nullptr, &key.m_handle, nullptr) != ERROR_SUCCESS) {
            key.m_handle = nullptr;
        }
        return key;
    }
    OpenKey(OpenKey&& other) noexcept : m_handle(std::exchange(other.m_handle, nullptr)) {}
    OpenKey& operator=(OpenKey&&) = delete;
    ~OpenKey() {
        if (m_handle) RegCloseKey(m_handle);
    }

    explicit operator bool() const noexcept { return m_handle != nullptr; }
    HKEY Handle() const noexcept { return m_handle; }

private:
    OpenKey() = default;

    HKEY m_handle = nullptr;
};

// The longest name of a value, in characters, with its final 0.
constexpr DWORD kNameSize = 16384;

class RegistrySettingsStore : public SettingsStore {
public:
    explicit RegistrySettingsStore(const std::string& strKeyPath) : m_strKeyPath(WideFromUtf8(strKeyPath)) {}

    using SettingsStore::GetText;

    bool SetBytes(const std::string& strName, const void* data, std::size_t uLength) override;
    bool SetText(const std::string& strName, const std::string& strText) override;
    bool SetNumber(const std::string& strName, std::uint32_t uNumber) override;
    bool GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) override;
    bool GetText(const std::string& strName, std::string& strText) override;
    bool GetNumber(const std::string& strName, std::uint32_t& uNumber) override;
    std::vector<std::string> EnumerateValues() override;

private:
    bool Write(const std::string& strName, DWORD uType, const void* data, std::size_t uLength) const;
    bool Read(const std::string& strName, DWORD uType, std::vector<std::uint8_t>& bytes) const;

    const std::wstring m_strKeyPath;
};

bool RegistrySettingsStore::Write(const std::string& strName, DWORD uType, const void* data,
                                  std::size_t uLength) const {
    // An empty name would be the key's own value.
    if (strName.empty() || uLength > std::numeric_limits<DWORD>::max()) return false;
    const OpenKey key = OpenKey::ForWriting(m_strKeyPath);
    return key &&
           RegSetValueExW(key.Handle(), WideFromUtf8(strName).c_str(), 0, uType,
                          static_cast<const BYTE*>(data), static_cast<DWORD>(uLength)) == ERROR_SUCCESS;
}

bool RegistrySettingsStore::Read(const std::string& strName, DWORD uType,
                                 std::vector<std::uint8_t>& bytes) const {
    if (strName.empty()) return false;
    const OpenKey key = OpenKey::ForReading(m_strKeyPath);
    if (!key) return false;
    const std::wstring strWideName = WideFromUtf8(strName);

    DWORD uFound = 0, uSize = 0;
    LSTATUS nStatus = RegQueryValueExW(key.Handle(), strWideName.c_str(), nullptr, &uFound, nullptr, &uSize);
    std::vector<std::uint8_t> read;
    // Another program may put a longer value there between the question and the answer.
    do {
        if (nStatus != ERROR_SUCCESS && nStatus != ERROR_MORE_DATA) return false;
        if (uFound != uType) return false;
        // One byte at least: a null buffer would ask for the size again.
        read.resize(uSize > 0 ? uSize : 1);
        uSize = static_cast<DWORD>(read.size());
        nStatus = RegQueryValueExW(key.Handle(), strWideName.c_str(), nullptr, &uFound, read.data(), &uSize);
    } while (nStatus == ERROR_MORE_DATA);
    if (nStatus != ERROR_SUCCESS || uFound != uType) return false;
    read.resize(uSize);
    bytes = std::move(read);
    return true;
}

bool RegistrySettingsStore::SetBytes(const std::string& strName, const void* data, std::size_t uLength) {
    return Quietly([&] { return Write(strName, REG_BINARY, data, uLength); });
}

bool RegistrySettingsStore::SetText(const std::string& strName, const std::string& strText) {
    return Quietly([&] {
        // c_str ends at the text's first 0; the value holds its own final 0.
        const std::wstring strWide = WideFromUtf8(strText.c_str());
        return Write(strName, REG_SZ, strWide.c_str(), (strWide.size() + 1) * sizeof(wchar_t));
    });
}

bool RegistrySettingsStore::SetNumber(const std::string& strName, std::uint32_t uNumber) {
    return Quietly([&] { return Write(strName, REG_DWORD, &uNumber, sizeof uNumber); });
}

bool RegistrySettingsStore::GetBytes(const std::string& strName, std::vector<std::uint8_t>& bytes) {
    return Quietly([&] { return Read(strName, REG_BINARY, bytes); });
}

bool RegistrySettingsStore::GetText(const std::string& strName, std::string& strText) {
    return Quietly([&] {
        std::vector<std::uint8_t> bytes;
        if (!Read(strName, REG_SZ, bytes)) return false;
        // Whoever wrote the value may have left the final 0 out, or half a character in.
        std::wstring strWide(bytes.size() / sizeof(wchar_t), L'\0');
        for (std::size_t i = 0; i < strWide.size(); ++i) {
            strWide[i] = static_cast<wchar_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
        }
        strText = Utf8FromWide(strWide.c_str());
        return true;
    });
}

bool RegistrySettingsStore::GetNumber(const std::string& strName, std::uint32_t& uNumber) {
    return Quietly([&] {
        std::vector<std::uint8_t> bytes;
        if (!Read(strName, REG_DWORD, bytes) || bytes.size() != sizeof uNumber) return false;
        uNumber = 0;
        for (std::size_t i = sizeof uNumber; i-- > 0;) {
            uNumber = uNumber << 8 | bytes[i];
        }
        return true;
    });
}

std::vector<std::string> RegistrySettingsStore::EnumerateValues() {
    std::vector<std::string> names;
    Quietly([&] {
        const OpenKey key = OpenKey::ForReading(m_strKeyPath);
        if (!key) return false;
        std::wstring strName(kNameSize, L'\0');
        for (DWORD i = 0;; ++i) {
            DWORD uLength = kNameSize;
            const LSTATUS nStatus =
                RegEnumValueW(key.Handle(), i, strName.data(), &uLength, nullptr, nullptr, nullptr, nullptr);
            if (nStatus != ERROR_SUCCESS) return nStatus == ERROR_NO_MORE_ITEMS;
            // The key's own value has no name and is not the store's.
            if (uLength > 0) names.push_back(Utf8FromWide(std::wstring_view(strName.data(), uLength)));
        }
    });
    return names;
}

}  // namespace

std::unique_ptr<SettingsStore> OpenUserSettings(const std::string& strKeyPath) {
    return std::make_unique<RegistrySettingsStore>(strKeyPath);
}

}  // namespace Util
