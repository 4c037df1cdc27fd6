#include "apps/dxhost/PluginState.h"

namespace DxHost {

namespace {

void Rewind(IStream* stream) {
    Check(stream->Seek({}, STREAM_SEEK_SET, nullptr), "Seek");
}

}  // namespace

ComPtr<IStream> MemoryStream(std::span<const std::uint8_t> bytes) {
    ComPtr<IStream> stream;
    Check(CreateStreamOnHGlobal(nullptr, TRUE, stream.GetAddressOf()), "CreateStreamOnHGlobal");
    if (!bytes.empty())
        Check(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr), "Write");
    Rewind(stream.Get());
    return stream;
}

std::vector<std::uint8_t> StreamBytes(IStream* stream) {
    STATSTG status{};
    Check(stream->Stat(&status, STATFLAG_NONAME), "Stat");
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.cbSize.QuadPart));
    Rewind(stream);
    ULONG uRead = 0;
    if (!bytes.empty()) Check(stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &uRead), "Read");
    bytes.resize(uRead);
    return bytes;
}

HRESULT LoadState(IUnknown* plugin, std::span<const std::uint8_t> bytes) {
    return Query<IPersistStream>(plugin, "IPersistStream")->Load(MemoryStream(bytes).Get());
}

std::vector<std::uint8_t> SaveState(IUnknown* plugin, bool bClearDirty) {
    const ComPtr<IStream> stream = MemoryStream();
    Check(Query<IPersistStream>(plugin, "IPersistStream")->Save(stream.Get(), bClearDirty), "Save");
    return StreamBytes(stream.Get());
}

bool IsDirty(IUnknown* plugin) {
    return Check(Query<IPersistStream>(plugin, "IPersistStream")->IsDirty(), "IsDirty") == S_OK;
}

}  // namespace DxHost
