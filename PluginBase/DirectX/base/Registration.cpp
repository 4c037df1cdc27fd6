#include "PluginBase/DirectX/base/Registration.h"

#include <array>
#include <cwchar>

namespace {

/// Characters of "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" with its end.
constexpr int kGuidText = 39;
/// The longest path that the platform has, in characters.
constexpr DWORD kMaxPath = 32768;

/// An open registry key.
class Key {
public:
    Key(HKEY parent, LPCWSTR name) {
        m_result = RegCreateKeyExW(parent, name, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr,
                                   &m_key, nullptr);
    }
    ~Key() {
        if (m_key != nullptr) RegCloseKey(m_key);
    }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    /// The value named `name`, or with null the key's own. After a failure nothing more is written.
    void Write(LPCWSTR name, LPCWSTR text) {
        if (m_result != ERROR_SUCCESS) return;
        const auto uBytes = static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(WCHAR));
        m_result = RegSetValueExW(m_key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), uBytes);
    }

    HKEY Get() const { return m_key; }
    HRESULT Result() const { return HRESULT_FROM_WIN32(static_cast<DWORD>(m_result)); }

private:
    HKEY m_key = nullptr;
    LSTATUS m_result = ERROR_SUCCESS;
};

/// "CLSID\{...}", below HKEY_CLASSES_ROOT.
struct ClassKeyName {
    explicit ClassKeyName(const CLSID& clsid) { StringFromGUID2(clsid, text.data() + kPrefix, kGuidText); }
    static constexpr int kPrefix = 6;
    std::array<WCHAR, kPrefix + kGuidText> text = {L'C', L'L', L'S', L'I', L'D', L'\\'};
};

HRESULT RegisterServers() {
    std::array<WCHAR, kMaxPath> path;
    const DWORD uLength = GetModuleFileNameW(g_hInst, path.data(), kMaxPath);
    if (uLength == 0) return HRESULT_FROM_WIN32(GetLastError());
    if (uLength == kMaxPath) return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
    for (int i = 0; i < g_cTemplates; ++i) {
        const HRESULT hr =
            AMovieSetupRegisterServer(*g_Templates[i].m_ClsID, g_Templates[i].m_Name, path.data());
        if (FAILED(hr)) return hr;
    }
    return NOERROR;
}

/// The first failure; taking back goes on behind it, so that as little as possible stays.
HRESULT SetUpFilters(BOOL bRegister) {
    void* pMapper = nullptr;
    HRESULT hr =
        CoCreateInstance(CLSID_FilterMapper2, nullptr, CLSCTX_INPROC_SERVER, IID_IFilterMapper2, &pMapper);
    if (FAILED(hr)) return hr;
    auto* pFilterMapper = static_cast<IFilterMapper2*>(pMapper);
    for (int i = 0; i < g_cTemplates && (SUCCEEDED(hr) || !bRegister); ++i) {
        if (g_Templates[i].m_pAMovieSetup_Filter == nullptr) continue;
        const HRESULT one =
            AMovieSetupRegisterFilter2(g_Templates[i].m_pAMovieSetup_Filter, pFilterMapper, bRegister);
        if (SUCCEEDED(hr)) hr = one;
    }
    pFilterMapper->Release();
    return hr;
}

HRESULT UnregisterAll() {
    HRESULT hr = SetUpFilters(FALSE);
    for (int i = 0; i < g_cTemplates; ++i) {
        const HRESULT one = AMovieSetupUnregisterServer(*g_Templates[i].m_ClsID);
        if (SUCCEEDED(hr)) hr = one;
    }
    return hr;
}

HRESULT RegisterAll() {
    HRESULT hr = RegisterServers();
    if (SUCCEEDED(hr)) hr = SetUpFilters(TRUE);
    // Half a registration would offer hosts a filter that they cannot make.
    if (FAILED(hr)) UnregisterAll();
    return hr;
}

}  // namespace

STDAPI AMovieDllRegisterServer2(BOOL bRegister) {
    const HRESULT initialised = CoInitialize(nullptr);
    const HRESULT hr = bRegister ? RegisterAll() : UnregisterAll();
    if (SUCCEEDED(initialised)) CoUninitialize();
    return hr;
}

STDAPI AMovieDllRegisterServer() {
    return AMovieDllRegisterServer2(TRUE);
}

STDAPI AMovieDllUnregisterServer() {
    return AMovieDllRegisterServer2(FALSE);
}

STDAPI AMovieSetupRegisterServer(CLSID clsServer, LPCWSTR szDescription, LPCWSTR szFileName,
                                 LPCWSTR szThreadingModel, LPCWSTR szServerType) {
    Key classKey(HKEY_CLASSES_ROOT, ClassKeyName(clsServer).text.data());
    classKey.Write(nullptr, szDescription);
    if (FAILED(classKey.Result())) return classKey.Result();
    Key server(classKey.Get(), szServerType);
    server.Write(nullptr, szFileName);
    server.Write(L"ThreadingModel", szThreadingModel);
    return server.Result();
}

STDAPI AMovieSetupUnregisterServer(CLSID clsServer) {
    const LSTATUS result = RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKeyName(clsServer).text.data());
    return result == ERROR_FILE_NOT_FOUND ? NOERROR : HRESULT_FROM_WIN32(static_cast<DWORD>(result));
}

STDAPI AMovieSetupRegisterFilter2(const AMOVIESETUP_FILTER* psetupdata, IFilterMapper2* pIFM2,
                                  BOOL bRegister) {
    if (psetupdata == nullptr) return S_FALSE;
    if (pIFM2 == nullptr) return E_POINTER;
    // An entry of an earlier version goes first; that there is none is no failure.
    const HRESULT gone = pIFM2->UnregisterFilter(nullptr, nullptr, *psetupdata->clsID);
    if (!bRegister) return gone == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) ? NOERROR : gone;
    REGFILTER2 description = {};
    description.dwVersion = 1;
    description.dwMerit = psetupdata->dwMerit;
    description.cPins = psetupdata->nPins;
    description.rgPins = psetupdata->lpPin;
    return pIFM2->RegisterFilter(*psetupdata->clsID, psetupdata->strName, nullptr,
                                 &CLSID_LegacyAmFilterCategory, nullptr, &description);
}
