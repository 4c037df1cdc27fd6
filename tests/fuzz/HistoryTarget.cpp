#include "PluginBase/HistoryFile.h"
#include "PluginBase/InvalidHistoryFile.h"
#include "hvBase/Util/ByteStream.h"
#include "tests/fuzz/FuzzEngine.h"

namespace {

struct Rig {
    Fuzz::Engine engine{&Fuzz::OneModule};
    HistoryFile file{engine.plugin};
};

Rig& TheRig() {
    static Rig rig;
    return rig;
}

Fuzz::Bytes Written(const HistoryList& list) {
    Util::ByteStream stream;
    HistoryFile::Write(stream, list, TheRig().engine.plugin.StateSize());
    return stream.Bytes();
}

/// Reads from memory; nothing for a refusal.
std::optional<HistoryList> ReadBytes(std::span<const std::uint8_t> input) {
    Util::ByteStream stream(Fuzz::Bytes(input.begin(), input.end()));
    try {
        return HistoryFile::Read(stream, TheRig().engine.plugin.StateSize());
    } catch (const Util::Exception::DataStreamIO&) {
    } catch (const Exception::InvalidHistoryFile&) {
    }
    return std::nullopt;
}

}  // namespace

bool Fuzz::TryInput(std::span<const std::uint8_t> input) {
    auto& [engine, file] = TheRig();
    const auto before = engine.Values();
    const auto read = ReadBytes(input);

    Fuzz::WriteFile(file.Path(), input);
    HistoryList list;
    list.Push({1}, "stale");
    Demand(file.Load(list) == read.has_value(), "a file is taken if its bytes are");
    Demand(engine.Values() == before, "loading a history changes no value");
    Demand(!list.Entries().empty() && list.Current() < list.Entries().size(), "an entry is in force");
    if (!read) {
        Demand(list.Entries().size() == 1 && list.Entries()[0].strLabel == HistoryList::kInitialLabel,
               "a refused file leaves the initial state alone");
        return false;
    }
    const Bytes written = Written(list);
    Demand(written == Written(*read), "file and bytes give the same list");
    const auto again = ReadBytes(written);
    Demand(again && Written(*again) == written, "what was taken and saved is taken again");
    for (std::uint32_t i = 0; i < list.Entries().size(); ++i) {
        const auto values = engine.Values();
        if (!file.GoTo(list, i)) Demand(engine.Values() == values, "a misfit entry changes no value");
        engine.DemandValuesInRange();
    }
    file.Push(list, "next");
    Demand(ReadBytes(Written(list)).has_value(), "a loaded list with a further step is taken");
    engine.Reset();
    return true;
}

std::vector<Fuzz::Bytes> Fuzz::GoodInputs() {
    auto& [engine, file] = TheRig();
    std::vector<Bytes> inputs;
    HistoryList list;
    file.Reset(list);
    inputs.push_back(Written(list));
    for (std::uint64_t i = 0; i < 3; ++i) {
        engine.plugin.Randomise(i);
        file.Push(list, "Step " + std::to_string(i));
    }
    inputs.push_back(Written(list));
    list.SetSlot(0, 1);
    list.SetSlot(3, 2);
    inputs.push_back(Written(list));
    engine.Reset();
    return inputs;
}
