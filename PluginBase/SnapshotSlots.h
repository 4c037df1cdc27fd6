#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// A stored spectrum: a level for each frequency.
struct SnapshotRecord {
    std::string strName;                              ///< UTF-8
    std::vector<float> frequencies{20.0f, 20000.0f};  ///< Hz, ascending
    std::vector<float> levels{-200.0f, -200.0f};      ///< dB, as many

    friend bool operator==(const SnapshotRecord&, const SnapshotRecord&) = default;
};

/// What a *.snapshot file and a *.snapshotset file hold.
enum class SnapshotFileKind { Single, Set };

/// The chain's stored spectra, for an editor or a command: eight slots, and behind them two built-in curves
/// that never change. One of the ten is the source and one the target of the matching equalizer, which
/// follows every change of the two at once.
///
/// Indices: records 0 to 9, the built-ins being 8 and 9; slots 0 to 7. An index beyond that changes nothing
///          and reads as record 0.
/// Threads: one at a time, and never the audio thread.
/// Failures: told as a text for a person; an empty one means that all went well.
class SnapshotSlots {
public:
    static constexpr std::uint32_t kSlots = 8;
    static constexpr std::uint32_t kBuiltIns = 2;
    static constexpr std::uint32_t kRecords = kSlots + kBuiltIns;

    virtual const SnapshotRecord& Record(std::uint32_t iRecord) const = 0;

    /// Puts a record into a slot. False, and nothing changes, for one that no file could hold: without
    /// points, with more than 50000, with lists of unequal length, with a name beyond 200000 bytes.
    virtual bool Store(std::uint32_t iSlot, SnapshotRecord record) = 0;

    /// Puts the spectrum meter's present values into a slot, which keeps its name.
    virtual void Capture(std::uint32_t iSlot) = 0;

    /// Takes a file's record into a slot, or a file's eight records into all slots; the file itself says
    /// which of the two it is. Of a set that is damaged further on, the records before the damage are taken.
    virtual std::string Import(const std::string& strPath, std::uint32_t iSlot) = 0;

    /// Writes one slot, or all of them and iSlot counts for nothing. The file appears whole or not at all.
    virtual std::string Export(const std::string& strPath, std::uint32_t iSlot,
                               SnapshotFileKind kind) const = 0;

    virtual std::uint32_t Source() const = 0;
    virtual void SetSource(std::uint32_t iRecord) = 0;
    virtual std::uint32_t Target() const = 0;
    virtual void SetTarget(std::uint32_t iRecord) = 0;

    /// Whether the spectrum display draws a record.
    virtual bool IsVisible(std::uint32_t iRecord) const = 0;
    virtual void SetVisible(std::uint32_t iRecord, bool bVisible) = 0;

protected:
    ~SnapshotSlots() = default;
};
