#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "apps/dxhost/Com.h"

namespace DxHost {

/// A stream in memory with bytes in it, at its start.
ComPtr<IStream> MemoryStream(std::span<const std::uint8_t> bytes = {});
/// All bytes of a stream, from its start.
std::vector<std::uint8_t> StreamBytes(IStream* stream);

/// Gives a plug-in the state that a host has kept for it.
HRESULT LoadState(IUnknown* plugin, std::span<const std::uint8_t> bytes);
/// The state that a host would keep. Throws a Failure.
std::vector<std::uint8_t> SaveState(IUnknown* plugin, bool bClearDirty = true);
/// Whether the plug-in says that its state has changed since it was saved. Throws a Failure.
bool IsDirty(IUnknown* plugin);

}  // namespace DxHost
