#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "PluginBase/SnapshotSlots.h"
#include "hvBase/Util/DataStream.h"
#include "hvBase/Util/Exception.h"

namespace DSP::Meter {

using SnapshotSet = std::array<SnapshotRecord, SnapshotSlots::kSlots>;

/// Eight slots named "A" to "H", each of two points at -200 dB.
SnapshotSet FactorySnapshots();

/// All that outlives the plug-in.
struct SnapshotState {
    std::uint32_t uSource = 0;
    std::uint32_t uTarget = 0;
    SnapshotSet slots = FactorySnapshots();
    std::array<bool, SnapshotSlots::kSlots> visible{};
    std::array<bool, SnapshotSlots::kBuiltIns> builtInVisible{};

    friend bool operator==(const SnapshotState&, const SnapshotState&) = default;
};

/// The bytes are no snapshot file, one of a version that this engine does not know, or a damaged one.
class InvalidSnapshotFile : public ::Exception::Base {
public:
    using Base::Base;
};

// The three formats. All numbers are little-endian.
//
//   record:  name (unsigned 32-bit length, bytes), count of points (unsigned 32-bit, 1 to 50000), as many
//            frequencies, as many levels (32-bit floats)
//   single:  0x32624132, version 1, a record
//   set:     0x51144122, version 1, eight records
//   state:   0x41872321, version 1, source index, target index, eight times a record and its visible flag
//            (unsigned 32-bit), the visible flags of the two built-ins
//
// Threads: any, one at a time for one stream; never the audio thread.
// Failures: Util::Exception::FileIO and DataStreamIO of the stream, and InvalidSnapshotFile.

/// Whether a record can be written and read again.
bool IsStorable(const SnapshotRecord& record);

void WriteSnapshot(Util::DataStream& stream, const SnapshotRecord& record);
void WriteSnapshotSet(Util::DataStream& stream, const SnapshotSet& slots);
void WriteSnapshotState(Util::DataStream& stream, const SnapshotState& state);

/// Reads a single file into slot iSlot, or a set into all slots. On a failure the slot it occurred in and
/// those behind it are as they were.
void ReadSnapshots(Util::DataStream& stream, SnapshotSet& slots, std::uint32_t iSlot);

/// Reads a state. An index beyond the last record becomes 0. On a failure the entry it occurred in and what
/// lies behind it are as they were.
void ReadSnapshotState(Util::DataStream& stream, SnapshotState& state);

/// A path with the extension of its kind, ".snapshot" or ".snapshotset", added if it has none of the two's
/// own; letters of either case count.
std::string WithSnapshotExtension(const std::string& strPath, SnapshotFileKind kind);

}  // namespace DSP::Meter
