#pragma once

#include <cstdint>
#include <string>

#include "PluginBase/HistoryList.h"
#include "PluginBase/Plugin.h"
#include "hvBase/Util/DataStream.h"

/// Connects an undo list with the engine, whose states it holds, and with the file that keeps it. The file
/// "hvVesca3.hst" stands in the plug-in's install path and holds, little-endian:
///
///     0   u32  magic
///     4   u32  version
///     8   u32  size of a state block in bytes
///     12  records until the end, each after a u32 tag:
///         kEntryTag: a state block; its label, as a u32 length and the characters
///         kSlotTag:  u32 slot number, u32 entry index
///
/// Failures: none leaves the operations on the engine: a file that can't be read counts as no file, one that
///           can't be written stays as it was. Read and Write throw.
/// Threads:  the editor's; two processes may save at once, and one of the two files remains, whole.
class HistoryFile {
public:
    static constexpr std::uint32_t kMagic = 0x003A2B11;
    static constexpr std::uint32_t kVersion = 13;
    static constexpr std::uint32_t kEntryTag = 81232;
    static constexpr std::uint32_t kSlotTag = 17711;

    /// The engine outlives the object.
    explicit HistoryFile(Plugin& plugin) noexcept : m_plugin(plugin) {}

    std::string Path() const;

    /// Starts the list anew with the engine's present state as its only entry.
    void Reset(HistoryList& list) const;

    /// Replaces the list by the file's. The newest entry that equals the engine's present state is then in
    /// force, since a session may have ended on a step taken back; if none does, the newest. The engine
    /// itself does not change. False: there is no file of this engine, and the list is as after Reset.
    bool Load(HistoryList& list) const;

    /// Replaces the file in one step. False: it could not be written, and the old one stands.
    bool Save(const HistoryList& list) const;

    /// False if there was nothing to delete, or if it can't be deleted.
    bool Remove() const;

    /// Adds the engine's present state and drops what "Global: History Depth" leaves no room for.
    void Push(HistoryList& list, std::string strLabel) const;

    /// Gives the engine the state of an entry, which is then in force; the host hears of each value that
    /// differs. The setters mark the engine as changed, as they always do. False, and nothing changes, if
    /// there is no such entry or its block does not fit.
    bool GoTo(HistoryList& list, std::uint32_t uEntry) const;

    /// The list that a stream holds, for an engine with state blocks of that size. A slot number of kSlots
    /// or more ends the reading, and what stands before it is kept; a slot that points at no entry is empty.
    /// Throws Exception::InvalidHistoryFile with "Invalid magic number %1", "Invalid version %1", "Invalid
    /// total param size %1", "Invalid record tag %1" (decimal), or "No entries", and what the stream throws.
    static HistoryList Read(Util::DataStream& stream, std::uint32_t uStateSize);

    /// Throws what the stream throws, and Exception::InvalidHistoryFile for an entry whose block is not of
    /// that size.
    static void Write(Util::DataStream& stream, const HistoryList& list, std::uint32_t uStateSize);

private:
    Plugin& m_plugin;
};
