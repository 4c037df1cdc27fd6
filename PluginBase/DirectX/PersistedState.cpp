#include "PluginBase/DirectX/PersistedState.h"

#include <algorithm>
#include <span>

#include "PluginBase/DirectX/AtBorder.h"
#include "PluginBase/DirectX/IDXPlugin.h"
#include "PluginBase/StateBlock.h"

namespace {

/// Whether all of the bytes came. A stream may give them in pieces.
bool ReadAll(IStream& stream, std::span<std::uint8_t> bytes) {
    while (!bytes.empty()) {
        ULONG uRead = 0;
        if (FAILED(stream.Read(bytes.data(), static_cast<ULONG>(bytes.size()), &uRead))) return false;
        if (uRead == 0 || uRead > bytes.size()) return false;
        bytes = bytes.subspan(uRead);
    }
    return true;
}

}  // namespace

STDMETHODIMP PersistedState::GetClassID(CLSID* pClass) {
    if (!pClass) return E_POINTER;
    *pClass = CLSID_DXPlugin;
    return S_OK;
}

STDMETHODIMP PersistedState::IsDirty() {
    return AtBorder([&] {
        std::vector<std::uint8_t> present;
        m_plugin.CaptureState(present);
        return present == m_saved ? S_FALSE : S_OK;
    });
}

STDMETHODIMP PersistedState::Load(IStream* pStream) {
    if (!pStream) return E_POINTER;
    return AtBorder([&]() -> HRESULT {
        std::vector<std::uint8_t> block(StateBlock::kHeaderSize);
        if (!ReadAll(*pStream, block)) return E_FAIL;
        // The size is checked before anything is allocated for it.
        const auto header = StateBlock::ReadHeader(block);
        if (!header || header->uMagic != StateBlock::kMagic || header->uVersion != StateBlock::kVersion ||
            header->uSize != m_plugin.StateSize()) {
            return E_FAIL;
        }
        block.resize(header->uSize);
        if (!ReadAll(*pStream, std::span(block).subspan(StateBlock::kHeaderSize))) return E_FAIL;
        if (!m_plugin.ApplyState(block, Plugin::ApplyMode::Silent)) return E_FAIL;
        m_plugin.PostToEditor(EditorNotifyCode::StateLoaded);
        m_plugin.PostToEditor(EditorNotifyCode::Refresh);
        return S_OK;
    });
}

STDMETHODIMP PersistedState::Save(IStream* pStream, BOOL bClearDirty) {
    if (!pStream) return E_POINTER;
    return AtBorder([&]() -> HRESULT {
        std::vector<std::uint8_t> block;
        m_plugin.CaptureState(block);
        ULONG uWritten = 0;
        const HRESULT hr = pStream->Write(block.data(), static_cast<ULONG>(block.size()), &uWritten);
        if (FAILED(hr) || uWritten != block.size()) return E_FAIL;
        if (bClearDirty) {
            m_plugin.Dirty() = false;
            m_saved = std::move(block);
        }
        return S_OK;
    });
}

STDMETHODIMP PersistedState::GetSizeMax(ULARGE_INTEGER* pSize) {
    if (!pSize) return E_POINTER;
    pSize->QuadPart = m_plugin.StateSize();
    return S_OK;
}
