#include "tests/fuzz/SnapshotEngine.h"

namespace {

using namespace DSP::Meter;

Fuzz::Bytes StateBytes(const SnapshotState& state) {
    return Fuzz::Written(&WriteSnapshotState, state);
}

}  // namespace

bool Fuzz::TryInput(std::span<const std::uint8_t> input) {
    SnapshotState state;
    const bool bTaken = Reads(input, [&](auto& stream) { ReadSnapshotState(stream, state); });
    Demand(state.uSource < SnapshotSlots::kRecords && state.uTarget < SnapshotSlots::kRecords,
           "source and target are records");
    const Bytes written = StateBytes(state);
    SnapshotState again;
    Demand(Reads(written, [&](auto& stream) { ReadSnapshotState(stream, again); }),
           "what was read and saved is taken again");
    Demand(StateBytes(again) == written, "and is saved the same again");

    // The component reads the file when it is made and writes it when it goes.
    const Test::TempFolder folder;
    Settings settings(folder.Path());
    const std::string strPath = folder.File("hvVesca3.snapshotstate");
    WriteFile(strPath, input);
    {
        Test::TestPlugin plugin(settings, &SnapshotModules);
        SnapshotSlots& snapshots = *plugin.GetTransform().Snapshots();
        Demand(snapshots.Source() == state.uSource && snapshots.Target() == state.uTarget,
               "file and bytes choose the same records");
        for (std::uint32_t i = 0; i < state.slots.size(); ++i)
            Demand(Written(&WriteSnapshot, snapshots.Record(i)) == Written(&WriteSnapshot, state.slots[i]) &&
                       snapshots.IsVisible(i) == state.visible[i],
                   "file and bytes give the same slots");
    }
    const Bytes kept = FileBytes(strPath);
    if (bTaken) {
        Demand(kept == written, "the file is saved as it was read");
    } else {
        Demand(kept == Bytes(input.begin(), input.end()), "a file that can't be read is left alone");
    }
    return bTaken;
}

std::vector<Fuzz::Bytes> Fuzz::GoodInputs() {
    SnapshotState state;
    state.uSource = 9;
    state.slots[3] = {"Mix", {20, 200, 20000}, {-10, -20, -400}};
    state.visible[3] = true;
    state.builtInVisible[0] = true;
    return {StateBytes(SnapshotState{}), StateBytes(state)};
}
