#include "dsp/SnapshotFile.h"

#include <utility>

#include "hvBase/Util/Dir.h"
#include "hvBase/Util/Text.h"

namespace DSP::Meter {

namespace {

constexpr std::uint32_t kSingleMagic = 0x32624132;
constexpr std::uint32_t kSetMagic = 0x51144122;
constexpr std::uint32_t kStateMagic = 0x41872321;
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kMostPoints = 50000;

std::uint32_t ExtractU32(Util::DataStream& stream) {
    std::uint32_t uValue = 0;
    stream.ExtractU32(uValue);
    return uValue;
}

void RequireVersion(Util::DataStream& stream) {
    const std::uint32_t uVersion = ExtractU32(stream);
    if (uVersion != kVersion)
        throw InvalidSnapshotFile(
            Util::Format("version %1; this engine reads version %2", uVersion, kVersion));
}

InvalidSnapshotFile WrongMagic(std::uint32_t uMagic) {
    return InvalidSnapshotFile(Util::Format("not a snapshot file: it begins with 0x%1", Util::Hex(uMagic)));
}

void InsertHeader(Util::DataStream& stream, std::uint32_t uMagic) {
    stream.InsertU32(uMagic);
    stream.InsertU32(kVersion);
}

void InsertRecord(Util::DataStream& stream, const SnapshotRecord& record) {
    stream.InsertString(record.strName);
    stream.InsertU32(static_cast<std::uint32_t>(record.frequencies.size()));
    stream.InsertElements(record.frequencies);
    stream.InsertElements(record.levels);
}

SnapshotRecord ExtractRecord(Util::DataStream& stream) {
    SnapshotRecord record;
    stream.ExtractString(record.strName);
    const std::uint32_t uCount = ExtractU32(stream);
    if (uCount == 0 || uCount > kMostPoints)
        throw InvalidSnapshotFile(
            Util::Format("a spectrum of %1 points; 1 to %2 are possible", uCount, kMostPoints));
    record.frequencies.resize(uCount);
    record.levels.resize(uCount);
    stream.ExtractElements(record.frequencies);
    stream.ExtractElements(record.levels);
    return record;
}

}  // namespace

SnapshotSet FactorySnapshots() {
    SnapshotSet slots;
    char name = 'A';
    for (SnapshotRecord& slot : slots)
        slot.strName = name++;
    return slots;
}

bool IsStorable(const SnapshotRecord& record) {
    return !record.frequencies.empty() && record.frequencies.size() <= kMostPoints &&
           record.levels.size() == record.frequencies.size() &&
           record.strName.size() <= Util::DataStream::kMaxStringLength;
}

void WriteSnapshot(Util::DataStream& stream, const SnapshotRecord& record) {
    InsertHeader(stream, kSingleMagic);
    InsertRecord(stream, record);
}

void WriteSnapshotSet(Util::DataStream& stream, const SnapshotSet& slots) {
    InsertHeader(stream, kSetMagic);
    for (const SnapshotRecord& slot : slots)
        InsertRecord(stream, slot);
}

void WriteSnapshotState(Util::DataStream& stream, const SnapshotState& state) {
    InsertHeader(stream, kStateMagic);
    stream.InsertU32(state.uSource);
    stream.InsertU32(state.uTarget);
    for (std::size_t i = 0; i < state.slots.size(); ++i) {
        InsertRecord(stream, state.slots[i]);
        stream.InsertU32(state.visible[i]);
    }
    for (const bool bVisible : state.builtInVisible)
        stream.InsertU32(bVisible);
}

void ReadSnapshots(Util::DataStream& stream, SnapshotSet& slots, std::uint32_t iSlot) {
    const std::uint32_t uMagic = ExtractU32(stream);
    if (uMagic != kSingleMagic && uMagic != kSetMagic) throw WrongMagic(uMagic);
    RequireVersion(stream);
    if (uMagic == kSingleMagic) {
        slots[iSlot] = ExtractRecord(stream);
        return;
    }
    for (SnapshotRecord& slot : slots)
        slot = ExtractRecord(stream);
}

void ReadSnapshotState(Util::DataStream& stream, SnapshotState& state) {
    const std::uint32_t uMagic = ExtractU32(stream);
    if (uMagic != kStateMagic) throw WrongMagic(uMagic);
    RequireVersion(stream);
    for (std::uint32_t* const index : {&state.uSource, &state.uTarget}) {
        const std::uint32_t uIndex = ExtractU32(stream);
        *index = uIndex < SnapshotSlots::kRecords ? uIndex : 0;
    }
    for (std::size_t i = 0; i < state.slots.size(); ++i) {
        SnapshotRecord record = ExtractRecord(stream);
        state.visible[i] = ExtractU32(stream) != 0;
        state.slots[i] = std::move(record);
    }
    for (bool& bVisible : state.builtInVisible)
        bVisible = ExtractU32(stream) != 0;
}

std::string WithSnapshotExtension(const std::string& strPath, SnapshotFileKind kind) {
    if (Util::Dir::Matches(strPath, "*.snapshot") || Util::Dir::Matches(strPath, "*.snapshotset"))
        return strPath;
    return strPath + Util::Format(".%1", kind == SnapshotFileKind::Single ? "snapshot" : "snapshotset");
}

}  // namespace DSP::Meter
