#pragma once

#include "PluginBase/DirectX/base/Platform.h"

/// Marks an object as this plug-in: no operations beyond IUnknown. Its holder may go on to the engine behind
/// it with DXPlugin::FromInterface, inside this module only.
struct IDXPlugin : IUnknown {};

/// The plug-in's own presets, without any file: one, which is the state of a fresh instance.
struct IDXPluginPresets : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetPresetCount(DWORD* pCount) = 0;
    /// A name that is longer than the buffer of uSize characters is cut and terminated.
    virtual HRESULT STDMETHODCALLTYPE GetPresetName(DWORD uIndex, WCHAR* pszName, DWORD uSize) = 0;
    virtual HRESULT STDMETHODCALLTYPE SelectPreset(DWORD uIndex) = 0;
};

inline constexpr CLSID CLSID_DXPlugin = {
    0x37d4be7a, 0xea26, 0x4178, {0x95, 0x8a, 0x35, 0x02, 0xe4, 0xa3, 0x30, 0x9c}};
inline constexpr IID IID_IDXPlugin = {
    0x8d74a1c3, 0xf228, 0x40d3, {0xbc, 0x1f, 0x00, 0x9f, 0x02, 0x82, 0x80, 0xe3}};
inline constexpr IID IID_IDXPluginPresets = {
    0x0d390f32, 0xe1f2, 0x4ed9, {0x96, 0x76, 0xd1, 0x81, 0x13, 0xd9, 0x79, 0x70}};
