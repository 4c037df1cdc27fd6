#include "tests/fuzz/SnapshotEngine.h"

namespace {

using namespace DSP::Meter;

Fuzz::Engine& TheEngine() {
    static Fuzz::Engine engine(&Fuzz::SnapshotModules);
    return engine;
}

Fuzz::Bytes Exported(SnapshotFileKind kind, std::uint32_t iSlot) {
    Fuzz::Engine& engine = TheEngine();
    const std::string strPath = engine.folder.File("exported");
    Fuzz::Demand(Fuzz::Snapshots(engine).Export(strPath, iSlot, kind).empty(), "slots can be exported");
    return Fuzz::FileBytes(strPath);
}

/// A file of every kind is the product's own, and takes the slots to where they were.
void DemandExportsHold() {
    Fuzz::Engine& engine = TheEngine();
    const Fuzz::Bytes slots = Fuzz::SlotBytes(engine);
    for (const SnapshotFileKind kind : {SnapshotFileKind::Single, SnapshotFileKind::Set}) {
        Fuzz::WriteFile(engine.folder.File("again"), Exported(kind, 0));
        Fuzz::Demand(Fuzz::Snapshots(engine).Import(engine.folder.File("again"), 0).empty(),
                     "what was exported is imported again");
        Fuzz::Demand(Fuzz::SlotBytes(engine) == slots, "and changes nothing");
    }
}

}  // namespace

bool Fuzz::TryInput(std::span<const std::uint8_t> input) {
    Engine& engine = TheEngine();
    SnapshotSlots& snapshots = Snapshots(engine);
    const SnapshotSet factory = FactorySnapshots();
    for (std::uint32_t i = 0; i < factory.size(); ++i)
        snapshots.Store(i, factory[i]);
    snapshots.SetSource(0);
    snapshots.SetTarget(1);

    SnapshotSet slots = factory;
    const bool bTaken = Reads(input, [&](auto& stream) { ReadSnapshots(stream, slots, 0); });
    const auto values = engine.Values();
    Fuzz::WriteFile(engine.folder.File("input"), input);
    Demand(snapshots.Import(engine.folder.File("input"), 0).empty() == bTaken,
           "a file is taken if its bytes are");
    Demand(SlotBytes(engine) == Written(&WriteSnapshotSet, slots), "file and bytes give the same slots");
    Demand(engine.Values() == values, "an import changes no parameter");
    if (!bTaken && SlotBytes(engine) == Written(&WriteSnapshotSet, factory)) return false;
    constexpr std::uint8_t kSet[] = {0x22, 0x41, 0x14, 0x51};
    Demand(bTaken || std::equal(std::begin(kSet), std::end(kSet), input.begin()),
           "of a refused file only a set changes slots, those before its damage");
    DemandExportsHold();
    DemandMatchedSound(engine);
    return bTaken;
}

std::vector<Fuzz::Bytes> Fuzz::GoodInputs() {
    Engine& engine = TheEngine();
    SnapshotSlots& snapshots = Snapshots(engine);
    snapshots.Store(0, {"Loud \xC3\xA9", {20, 200, 2000, 20000}, {-10, -20, -5, -400}});
    snapshots.Store(7, {"", {1000}, {-3}});
    return {Exported(SnapshotFileKind::Single, 0), Exported(SnapshotFileKind::Single, 7),
            Exported(SnapshotFileKind::Set, 0)};
}
