#pragma once

#include <cstdint>
#include <vector>

#include "PluginBase/DirectX/FilterInterface.h"
#include "PluginBase/Plugin.h"

/// The engine's state in the host's project: one state block, as it stands in the stream.
///
/// Threads: the host's control thread.
class PersistedState final : public FilterInterface<IPersistStream> {
public:
    PersistedState(IUnknown& filter, Plugin& plugin) : FilterInterface(filter), m_plugin(plugin) {}

    STDMETHODIMP GetClassID(CLSID* pClass) override;
    /// S_OK if the present state differs from the last one that Save was asked to keep as clean.
    STDMETHODIMP IsDirty() override;
    /// Refuses with E_FAIL, and changes nothing, whatever is not a whole block of this very form.
    STDMETHODIMP Load(IStream* pStream) override;
    STDMETHODIMP Save(IStream* pStream, BOOL bClearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* pSize) override;

private:
    Plugin& m_plugin;
    std::vector<std::uint8_t> m_saved;  ///< the last block that was written and kept as clean
};
