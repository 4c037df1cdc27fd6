#include "dsp/Snapshot.h"

#include <algorithm>
#include <utility>

#include "dsp/SnapshotMigration.h"
#include "dsp/vector/Decibel.h"
#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Dir.h"
#include "hvBase/Util/File.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace DSP::Meter {

namespace {

/// Above the longest file there can be: eight slots with the longest names and spectra.
constexpr std::uint64_t kMostBytes = 8 * 1024 * 1024;

std::array<SnapshotRecord, SnapshotSlots::kBuiltIns> BuiltIns() {
    const std::vector<float> frequencies{20.0f, 1000.0f, 20000.0f};
    return {SnapshotRecord{"", frequencies, {-50.0f, -50.0f, -75.931396f}},
            SnapshotRecord{"", frequencies, {-50.0f, -50.0f, -62.965698f}}};
}

std::string StatePath(const std::string& strFolder) {
    if (strFolder.empty()) return {};
    return Util::JoinPath(strFolder, Util::Format("hv%1.snapshotstate", "Vesca3"));
}

/// Read in one go, so that a file that changes meanwhile can't be seen in two conditions.
Util::ByteStream ReadFile(const std::string& strPath) {
    Util::File file;
    file.Open(strPath, Util::File::kRead);
    const std::uint64_t uLength = file.Length();
    if (uLength > kMostBytes) throw InvalidSnapshotFile("too long for a snapshot file");
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(uLength));
    if (!bytes.empty()) file.Read(bytes.data(), bytes.size());
    return Util::ByteStream(std::move(bytes));
}

/// Runs what may fail and tells the failure as a text for a person, empty if there was none.
template <class Body>
std::string Problem(Body&& body) {
    try {
        body();
        return {};
    } catch (const Util::Exception::FileIO& failure) {
        return std::string(Util::Exception::FileIO::Reason(failure.ErrorCode()));
    } catch (const ::Exception::Base& failure) {
        return failure.Message();
    }
}

void FillFrom(const Spectrum::Reading& reading, SnapshotRecord& record) {
    record.frequencies = reading.frequencies;
    const std::size_t uValues = reading.magnitudes.size();
    record.levels.resize(uValues);
    for (std::size_t i = 0; i < uValues; ++i) {
        record.levels[i] = LinearToDb(reading.magnitudes[i]);
        if (reading.type == SpectrumType::Linear)
            record.frequencies[i] = static_cast<float>(static_cast<double>(i) * (reading.uSampleRate * 0.5) /
                                                       static_cast<double>(uValues));
    }
    if (reading.type == SpectrumType::Linear) return;
    record.frequencies.insert(record.frequencies.begin(), 0.0f);
    record.levels.insert(record.levels.begin(), record.levels.front());
}

}  // namespace

Snapshot::Snapshot(PluginContext& plugin, Spectrum& spectrum, Equalizer::Parametric& equalizer)
    : ComponentImpl(plugin, "Snapshot"),
      m_spectrum(spectrum),
      m_equalizer(equalizer),
      m_builtIns(BuiltIns()),
      m_strStatePath(StatePath(plugin.DataFolder())) {
    Float("EQ: Matching Amount", "%", 0, 100, 10, &Snapshot::Amount, &Snapshot::SetAmount)
        .InPreset(PresetGroup::Equalizer)
        .Automatable();
    Float("EQ: Smoothing Amount", "", 0, 1, 0.5f, &Snapshot::Smoothing, &Snapshot::SetSmoothing)
        .InPreset(PresetGroup::Equalizer)
        .Automatable();
    FinishTables();
    LoadState();
}

Snapshot::~Snapshot() {
    SaveState();
}

// Parameters. The equalizer compares with its own copy, so that a value set twice costs no design. ----------

void Snapshot::SetAmount(float fPercent) {
    fPercent = std::clamp(fPercent, 0.0f, 100.0f);
    if (m_fAmount.Exchange(fPercent) != fPercent) MarkDirty();
    m_equalizer.SetMatchingAmount(fPercent);
}

void Snapshot::SetSmoothing(float fSmoothing) {
    fSmoothing = std::clamp(fSmoothing, 0.0f, 1.0f);
    if (m_fSmoothing.Exchange(fSmoothing) != fSmoothing) MarkDirty();
    m_equalizer.SetSmoothing(fSmoothing);
}

// Slots. ----------------------------------------------------------------------------------------------------

const SnapshotRecord& Snapshot::Record(std::uint32_t iRecord) const {
    if (iRecord >= kRecords) iRecord = 0;
    return iRecord < kSlots ? m_state.slots[iRecord] : m_builtIns[iRecord - kSlots];
}

/// Whatever changes slots ends here: if the source or the target is among them, the equalizer follows.
void Snapshot::ReplaceSlots(SnapshotSet slots) {
    const bool bHeard =
        std::any_of(slots.begin(), slots.end(), [&, iSlot = 0u](const SnapshotRecord& slot) mutable {
            const std::uint32_t i = iSlot++;
            return (i == m_state.uSource || i == m_state.uTarget) && !(slot == m_state.slots[i]);
        });
    m_state.slots = std::move(slots);
    if (bHeard) UpdateEqualizer();
}

bool Snapshot::Store(std::uint32_t iSlot, SnapshotRecord record) {
    if (iSlot >= kSlots || !IsStorable(record)) return false;
    SnapshotSet slots = m_state.slots;
    slots[iSlot] = std::move(record);
    ReplaceSlots(std::move(slots));
    return true;
}

void Snapshot::Capture(std::uint32_t iSlot) {
    if (iSlot >= kSlots) return;
    SnapshotSet slots = m_state.slots;
    FillFrom(m_spectrum.Current(), slots[iSlot]);
    ReplaceSlots(std::move(slots));
}

std::string Snapshot::Import(const std::string& strPath, std::uint32_t iSlot) {
    if (iSlot >= kSlots) return "no slot to import into";
    SnapshotSet slots = m_state.slots;
    std::string strProblem = Problem([&] {
        Util::ByteStream stream = ReadFile(strPath);
        ReadSnapshots(stream, slots, iSlot);
    });
    ReplaceSlots(std::move(slots));
    return strProblem;
}

std::string Snapshot::Export(const std::string& strPath, std::uint32_t iSlot, SnapshotFileKind kind) const {
    if (kind == SnapshotFileKind::Single && iSlot >= kSlots) return "no slot to export";
    return Problem([&] {
        Util::ByteStream stream;
        if (kind == SnapshotFileKind::Single) {
            WriteSnapshot(stream, m_state.slots[iSlot]);
        } else {
            WriteSnapshotSet(stream, m_state.slots);
        }
        Util::WriteFileAtomically(strPath, stream.Bytes());
    });
}

void Snapshot::Choose(std::uint32_t& choice, std::uint32_t iRecord) {
    if (iRecord >= kRecords) return;
    choice = iRecord;
    UpdateEqualizer();
}

bool Snapshot::IsVisible(std::uint32_t iRecord) const {
    if (iRecord >= kRecords) iRecord = 0;
    return iRecord < kSlots ? m_state.visible[iRecord] : m_state.builtInVisible[iRecord - kSlots];
}

void Snapshot::SetVisible(std::uint32_t iRecord, bool bVisible) {
    if (iRecord >= kRecords) return;
    (iRecord < kSlots ? m_state.visible[iRecord] : m_state.builtInVisible[iRecord - kSlots]) = bVisible;
}

void Snapshot::UpdateEqualizer() {
    const SnapshotRecord& source = Record(m_state.uSource);
    const SnapshotRecord& target = Record(m_state.uTarget);
    m_equalizer.SetSpectra({source.frequencies, source.levels}, {target.frequencies, target.levels});
}

// The state file. -------------------------------------------------------------------------------------------

void Snapshot::LoadState() {
    if (m_strStatePath.empty() || !Util::Dir::FileExists(m_strStatePath)) {
        MigrateSnapshots(m_plugin.Settings(), m_state);
    } else {
        const bool bDamaged = !Problem([&] {
                                   Util::ByteStream stream = ReadFile(m_strStatePath);
                                   ReadSnapshotState(stream, m_state);
                               }).empty();
        if (bDamaged) m_salvaged = StateBytes();
    }
    UpdateEqualizer();
}

void Snapshot::SaveState() noexcept {
    if (m_strStatePath.empty()) return;
    // Nobody is left to be told, and no exception may leave a destructor: memory may be short too.
    try {
        const auto bytes = StateBytes();
        if (bytes != m_salvaged) Util::WriteFileAtomically(m_strStatePath, bytes);
    } catch (...) {
    }
}

std::vector<std::uint8_t> Snapshot::StateBytes() const {
    Util::ByteStream stream;
    WriteSnapshotState(stream, m_state);
    return stream.TakeBytes();
}

}  // namespace DSP::Meter
