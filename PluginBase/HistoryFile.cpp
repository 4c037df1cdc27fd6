#include "PluginBase/HistoryFile.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "PluginBase/InvalidHistoryFile.h"
#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Exception.h"
#include "hvBase/Util/FileStream.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

using Exception::InvalidHistoryFile;

namespace {

std::vector<std::uint8_t> PresentState(const Plugin& plugin) {
    std::vector<std::uint8_t> state;
    plugin.CaptureState(state);
    return state;
}

std::uint32_t ReadU32(Util::DataStream& stream) {
    std::uint32_t uValue = 0;
    stream.ExtractU32(uValue);
    return uValue;
}

void ReadHeader(Util::DataStream& stream, std::uint32_t uStateSize) {
    const std::uint32_t uMagic = ReadU32(stream);
    if (uMagic != HistoryFile::kMagic) {
        throw InvalidHistoryFile(Util::Format("Invalid magic number %1", uMagic));
    }
    const std::uint32_t uVersion = ReadU32(stream);
    if (uVersion != HistoryFile::kVersion) {
        throw InvalidHistoryFile(Util::Format("Invalid version %1", uVersion));
    }
    const std::uint32_t uSize = ReadU32(stream);
    if (uSize != uStateSize) {
        throw InvalidHistoryFile(Util::Format("Invalid total param size %1", uSize));
    }
}

/// The failures that make a file count as no file, or as one that can't be written. Everything else, as
/// exhausted memory, is the caller's.
template <class Work>
bool Succeeds(Work&& work) {
    try {
        work();
        return true;
    } catch (const Util::Exception::FileIO&) {
    } catch (const Util::Exception::DataStreamIO&) {
    } catch (const InvalidHistoryFile&) {
    }
    return false;
}

}  // namespace

std::string HistoryFile::Path() const {
    return Util::JoinPath(m_plugin.InstallPath(), Util::Format("hv%1.hst", "Vesca3"));
}

void HistoryFile::Reset(HistoryList& list) const {
    list.Reset(PresentState(m_plugin));
}

bool HistoryFile::Load(HistoryList& list) const {
    HistoryList loaded;
    const bool bLoaded = Succeeds([&] {
        Util::FileStream file(Path(), Util::File::kRead);
        loaded = Read(file, m_plugin.StateSize());
    });
    if (!bLoaded) {
        Reset(list);
        return false;
    }
    const auto& entries = loaded.Entries();
    const auto inForce = std::find_if(
        entries.rbegin(), entries.rend(),
        [present = PresentState(m_plugin)](const auto& entry) { return entry.state == present; });
    if (inForce != entries.rend()) {
        loaded.SetCurrent(static_cast<std::uint32_t>(entries.rend() - inForce - 1));
    }
    list = std::move(loaded);
    return true;
}

bool HistoryFile::Save(const HistoryList& list) const {
    return Succeeds([&] {
        Util::ByteStream stream;
        Write(stream, list, m_plugin.StateSize());
        Util::WriteFileAtomically(Path(), stream.Bytes());
    });
}

bool HistoryFile::Remove() const {
    return Succeeds([&] { Util::File::Remove(Path()); });
}

void HistoryFile::Push(HistoryList& list, std::string strLabel) const {
    list.Push(PresentState(m_plugin), std::move(strLabel));
    list.LimitDepth(m_plugin.GetTransform().GlobalSettings().HistoryDepth());
}

bool HistoryFile::GoTo(HistoryList& list, std::uint32_t uEntry) const {
    return uEntry < list.Entries().size() &&
           m_plugin.ApplyState(list.Entries()[uEntry].state, Plugin::ApplyMode::Notify) &&
           list.SetCurrent(uEntry);
}

HistoryList HistoryFile::Read(Util::DataStream& stream, std::uint32_t uStateSize) {
    ReadHeader(stream, uStateSize);
    HistoryList list;
    std::array<std::optional<std::uint32_t>, HistoryList::kSlots> slots;
    const std::uint64_t uLength = stream.Length();
    while (stream.Tell() < uLength) {
        const std::uint32_t uTag = ReadU32(stream);
        if (uTag == kEntryTag) {
            std::vector<std::uint8_t> state(uStateSize);
            std::string strLabel;
            stream.ExtractBytes(state);
            stream.ExtractString(strLabel);
            list.Push(std::move(state), std::move(strLabel));
        } else if (uTag == kSlotTag) {
            const std::uint32_t uSlot = ReadU32(stream);
            const std::uint32_t uEntry = ReadU32(stream);
            if (uSlot >= slots.size()) break;
            slots[uSlot] = uEntry;
        } else {
            throw InvalidHistoryFile(Util::Format("Invalid record tag %1", uTag));
        }
    }
    if (list.Entries().empty()) throw InvalidHistoryFile("No entries");
    for (std::uint32_t i = 0; i < slots.size(); ++i) {
        if (slots[i]) list.SetSlot(i, *slots[i]);
    }
    return list;
}

void HistoryFile::Write(Util::DataStream& stream, const HistoryList& list, std::uint32_t uStateSize) {
    stream.InsertU32(kMagic);
    stream.InsertU32(kVersion);
    stream.InsertU32(uStateSize);
    for (const HistoryList::Entry& entry : list.Entries()) {
        if (entry.state.size() != uStateSize) {
            throw InvalidHistoryFile(Util::Format("Invalid entry size %1", entry.state.size()));
        }
        stream.InsertU32(kEntryTag);
        stream.InsertBytes(entry.state);
        stream.InsertString(entry.strLabel);
    }
    for (std::uint32_t i = 0; i < HistoryList::kSlots; ++i) {
        const auto slot = list.Slot(i);
        if (!slot) continue;
        stream.InsertU32(kSlotTag);
        stream.InsertU32(i);
        stream.InsertU32(*slot);
    }
}
