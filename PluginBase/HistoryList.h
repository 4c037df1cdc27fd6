#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The undo list: engine states with labels, oldest first, the one of them that is in force, and a few memory
/// slots that point at entries. It holds data alone; HistoryFile connects it with an engine and a file.
///
/// What a slot points at is the user's own choice and stays: neither a new step after going back nor a full
/// list takes it away.
///
/// Threads: one at a time, the editor's. Never on the audio thread.
class HistoryList {
public:
    struct Entry {
        std::vector<std::uint8_t> state;  ///< a state block
        std::string strLabel;
    };

    static constexpr std::uint32_t kSlots = 4;
    static constexpr const char* kInitialLabel = "<Initial State>";

    /// Drops everything. `state` becomes the only entry, labelled kInitialLabel and in force.
    void Reset(std::vector<std::uint8_t> state);

    /// Adds an entry, which is then in force. Those newer than the one in force so far, steps taken back,
    /// go; of them, entries of slots move down, before the one that was in force. A label is cut to what a
    /// stream takes, DataStream::kMaxStringLength bytes.
    void Push(std::vector<std::uint8_t> state, std::string strLabel);

    /// Drops the oldest entries until the list fits a value of "Global: History Depth": 0, 1 and 2 stand for
    /// 50, 100 and 500 entries, everything else for no limit. The entry in force stays, as those of slots do.
    void LimitDepth(std::int32_t nDepth);

    const std::vector<Entry>& Entries() const noexcept { return m_entries; }

    /// Index of the entry in force; 0 in an empty list.
    std::uint32_t Current() const noexcept { return m_uCurrent; }
    /// False, and nothing changes, if there is no such entry.
    bool SetCurrent(std::uint32_t uEntry) noexcept;

    /// The entry that a slot points at; nothing for an empty slot, and for a number of kSlots or more.
    std::optional<std::uint32_t> Slot(std::uint32_t uSlot) const noexcept;
    /// False, and nothing changes, if there is no such slot or no such entry.
    bool SetSlot(std::uint32_t uSlot, std::uint32_t uEntry) noexcept;

private:
    bool IsInSlot(std::uint32_t uEntry) const noexcept;
    void Arrange(const std::vector<std::uint32_t>& order);

    std::vector<Entry> m_entries;
    std::array<std::optional<std::uint32_t>, kSlots> m_slots;  ///< each below the number of entries
    std::uint32_t m_uCurrent = 0;
};
