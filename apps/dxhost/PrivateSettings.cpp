#include "apps/dxhost/PrivateSettings.h"

#include "PluginBase/Plugin.h"

namespace DxHost {

namespace {

constexpr const char* kCompensationName = "Params.Global.Global: Delay Compensation";

void CheckRegistry(LSTATUS nStatus, const char* what) {
    Check(HRESULT_FROM_WIN32(static_cast<DWORD>(nStatus)), what);
}

}  // namespace

PrivateSettings::PrivateSettings()
    : m_strPath(L"SOFTWARE\\Halvane\\Vesca\\Host" + std::to_wstring(GetCurrentProcessId())) {
    CheckRegistry(RegCreateKeyExW(HKEY_CURRENT_USER, m_strPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                  nullptr, &m_key, nullptr),
                  "RegCreateKeyEx");
    const LSTATUS nStatus = RegOverridePredefKey(HKEY_CURRENT_USER, m_key);
    if (nStatus != ERROR_SUCCESS) {
        RegCloseKey(m_key);
        CheckRegistry(nStatus, "RegOverridePredefKey");
    }
}

PrivateSettings::~PrivateSettings() {
    RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
    RegCloseKey(m_key);
    RegDeleteTreeW(HKEY_CURRENT_USER, m_strPath.c_str());
}

void PrivateSettings::SetDelayCompensation(bool bOn) {
    if (!Util::OpenUserSettings(Plugin::kSettingsKey)->SetNumber(kCompensationName, bOn ? 1 : 0))
        throw Failure(E_FAIL, "can't store a preference");
}

}  // namespace DxHost
