#pragma once

#include "PluginBase/DirectX/FilterInterface.h"
#include "PluginBase/DirectX/IDXPlugin.h"
#include "PluginBase/Plugin.h"

/// The one preset that the filter itself offers, "Default". Every other index is E_INVALIDARG.
///
/// Threads: the host's control thread.
class DefaultPreset final : public FilterInterface<IDXPluginPresets> {
public:
    DefaultPreset(IUnknown& filter, Plugin& plugin) : FilterInterface(filter), m_plugin(plugin) {}

    STDMETHODIMP GetPresetCount(DWORD* pCount) override;
    STDMETHODIMP GetPresetName(DWORD uIndex, WCHAR* pszName, DWORD uSize) override;
    STDMETHODIMP SelectPreset(DWORD uIndex) override;

private:
    Plugin& m_plugin;
};
