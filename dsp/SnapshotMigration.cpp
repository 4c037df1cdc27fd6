#include "dsp/SnapshotMigration.h"

#include <optional>
#include <utility>
#include <vector>

#include "dsp/vector/Elementary.h"
#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Text.h"

namespace DSP::Meter {

namespace {

constexpr std::size_t kPixels = 417;
constexpr std::size_t kStoredBytes = 3340;  // two numbers for each pixel, and four bytes without a meaning

/// The points of a stored curve: columns up to the first negative one, then as many half decibels below 0.
std::optional<SnapshotRecord> ReadCurve(std::vector<std::uint8_t> bytes) {
    if (bytes.size() != kStoredBytes) return std::nullopt;
    Util::ByteStream stream(std::move(bytes));
    std::vector<std::int32_t> columns(kPixels);
    for (std::int32_t& nColumn : columns)
        stream.ExtractS32(nColumn);

    const double fLowest = Log2(20.0);
    const double fPixelsPerOctave = static_cast<double>(kPixels) / (Log2(20000.0) - fLowest);
    SnapshotRecord record;
    record.frequencies.clear();
    record.levels.clear();
    for (std::size_t i = 0; i < kPixels && columns[i] >= 0; ++i) {
        std::int32_t nHalfDb = 0;
        stream.ExtractS32(nHalfDb);
        const double fOctave = (columns[i] + fLowest * fPixelsPerOctave) / fPixelsPerOctave;
        record.frequencies.push_back(static_cast<float>(Exp2(fOctave)));
        record.levels.push_back(static_cast<float>(-0.5 * nHalfDb));
    }
    if (record.frequencies.empty()) return std::nullopt;
    return record;
}

}  // namespace

void MigrateSnapshots(Util::SettingsStore& settings, SnapshotState& state) {
    for (std::size_t i = 0; i < state.slots.size(); ++i) {
        SnapshotRecord& slot = state.slots[i];
        std::vector<std::uint8_t> bytes;
        if (settings.GetBytes(Util::Format("SnapshotState%1", i), bytes)) {
            if (auto record = ReadCurve(std::move(bytes))) {
                record->strName = slot.strName;
                slot = std::move(*record);
            }
        }
        std::string strName;
        if (settings.GetText(Util::Format("SnapshotName%1", i), strName) &&
            strName.size() <= Util::DataStream::kMaxStringLength)
            slot.strName = std::move(strName);
    }
    std::uint32_t uGuide = 0;
    if (settings.GetNumber("Snapshot6dBGuide", uGuide)) state.builtInVisible[0] = uGuide != 0;
}

}  // namespace DSP::Meter
