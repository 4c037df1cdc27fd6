#include "PluginBase/DirectX/DefaultPreset.h"

#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/CopyCut.h"

STDMETHODIMP DefaultPreset::GetPresetCount(DWORD* pCount) {
    if (!pCount) return E_POINTER;
    *pCount = 1;
    return S_OK;
}

STDMETHODIMP DefaultPreset::GetPresetName(DWORD uIndex, WCHAR* pszName, DWORD uSize) {
    if (!pszName) return E_POINTER;
    if (uIndex != 0 || uSize == 0) return E_INVALIDARG;
    CopyCut<WCHAR>(L"Default", pszName, uSize);
    return S_OK;
}

STDMETHODIMP DefaultPreset::SelectPreset(DWORD uIndex) {
    if (uIndex != 0) return E_INVALIDARG;
    return AtBorder([&] {
        std::vector<std::uint8_t> block;
        m_plugin.CaptureDefaultState(block);
        if (!m_plugin.ApplyState(block, Plugin::ApplyMode::Silent)) return E_FAIL;
        m_plugin.PostToEditor(EditorNotifyCode::Refresh);
        return S_OK;
    });
}
