#include "PluginBase/HistoryFile.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>

#include "PluginBase/InvalidHistoryFile.h"
#include "hvBase/Util/ByteStream.h"
#include "tests/support/Signals.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestPlugin.h"

using Bytes = std::vector<std::uint8_t>;

namespace {

/// An engine whose history file stands in a folder of its own.
struct Rig {
    Rig() { plugin.Settings().SetText("InstallPath", folder.Path()); }
    /// Adds steps "1", "2" ... whose output gain is minus their number.
    void Push(int nSteps) {
        for (int i = 1; i <= nSteps; ++i) {
            plugin.Set("Gain: Output Left", -0.01 * i);
            file.Push(list, std::to_string(i));
        }
    }
    std::string Saved() {
        REQUIRE(file.Save(list));
        return Test::Slurp(file.Path());
    }

    Test::TempFolder folder;
    Test::TestPlugin plugin;
    HistoryFile file{plugin};
    HistoryList list;
};

std::string Labels(const HistoryList& list) {
    std::string strLabels;
    for (const auto& entry : list.Entries())
        strLabels += entry.strLabel + ' ';
    return strLabels;
}

/// A small file, read for an engine with 4 bytes of state.
struct Draft : Util::ByteStream {
    Draft(std::uint32_t uMagic, std::uint32_t uVersion, std::uint32_t uSize) {
        *this << uMagic << uVersion << uSize;
    }
    Draft& operator<<(std::uint32_t uValue) {
        InsertU32(uValue);
        return *this;
    }
    std::string Failure() {
        try {
            HistoryFile::Read(*this, 4);
        } catch (const Exception::InvalidHistoryFile& failure) {
            CHECK(failure.Text().ends_with("\t" + failure.Message() + "\nInvalidHistoryFile\n"));
            return failure.Message();
        }
        return "none";
    }
};

}  // namespace

TEST_CASE("A history keeps what is in force and in slots through any steps, and fits its depth") {
    constexpr std::array<std::size_t, 4> kDepths = {50, 100, 500, 100000};
    for (std::uint64_t uSeed = 1; uSeed <= 20; ++uSeed) {
        CAPTURE(uSeed);
        Test::Random random(uSeed);
        const auto draw = [&](std::size_t uBelow) {
            return std::min(
                static_cast<std::uint32_t>(random.Uniform(0.0f, 1.0f) * static_cast<float>(uBelow)),
                static_cast<std::uint32_t>(uBelow - 1));
        };
        HistoryList list;
        list.Reset({0});
        std::string strCurrent = HistoryList::kInitialLabel;
        std::array<std::string, HistoryList::kSlots> slots;
        for (int nStep = 0; nStep < 1500; ++nStep) {
            const auto uEntry = draw(list.Entries().size());
            const auto uSlot = draw(slots.size());
            const std::uint32_t uAction = draw(20);
            if (uAction == 0) {
                slots[uSlot] = list.Entries()[uEntry].strLabel;
                REQUIRE(list.SetSlot(uSlot, uEntry));
            } else if (uAction == 1) {
                strCurrent = list.Entries()[uEntry].strLabel;
                REQUIRE(list.SetCurrent(uEntry));
            } else if (uAction == 2) {
                const auto uDepth = draw(kDepths.size());
                const std::size_t uExpected = std::min(list.Entries().size(), kDepths[uDepth]);
                list.LimitDepth(static_cast<std::int32_t>(uDepth));
                REQUIRE(list.Entries().size() == uExpected);
            } else {
                const std::string strOld = strCurrent;
                list.Push({1}, strCurrent = std::to_string(nStep));
                REQUIRE(list.Current() + 1 == list.Entries().size());
                REQUIRE(list.Entries()[list.Current() - 1].strLabel == strOld);
            }
            REQUIRE(list.Entries()[list.Current()].strLabel == strCurrent);
            for (std::uint32_t i = 0; i < slots.size(); ++i)
                REQUIRE((list.Slot(i) ? list.Entries()[*list.Slot(i)].strLabel : "") == slots[i]);
        }
        std::set<std::string> labels;
        for (const auto& entry : list.Entries())
            labels.insert(entry.strLabel);
        CHECK(labels.size() == list.Entries().size());
    }
}

TEST_CASE("A new step drops the steps taken back, but moves those of slots down; the oldest make room") {
    HistoryList list;
    list.Reset({});
    for (int i = 1; i <= 6; ++i)
        list.Push({}, std::to_string(i));
    CHECK(list.SetSlot(3, 5));
    CHECK(list.SetCurrent(2));
    list.Push({}, "7");
    CHECK(Labels(list) == "<Initial State> 1 5 2 7 ");
    CHECK(list.Slot(3) == 2u);
    for (int i = 8; i <= 60; ++i)
        list.Push({}, std::to_string(i));
    REQUIRE(list.SetCurrent(1));
    list.LimitDepth(0);
    CHECK(Labels(list).starts_with("1 5 13 14 "));
    CHECK(list.Current() == 0);
    CHECK(list.Entries().size() == 50);
    CHECK_FALSE(list.SetSlot(4, 0));
    CHECK_FALSE(list.SetSlot(0, 50));
    CHECK_FALSE(list.SetCurrent(50));
    CHECK_FALSE(list.Slot(4));
}

TEST_CASE("Going back gives the engine the stored values and tells the host; a misfit changes nothing") {
    Rig rig;
    rig.file.Reset(rig.list);
    rig.Push(3);
    rig.plugin.events.clear();
    REQUIRE(rig.file.GoTo(rig.list, 1));
    CHECK(rig.plugin.Get("Gain: Output Left") == double{-0.01f});
    CHECK(rig.list.Current() == 1);
    CHECK_FALSE(rig.plugin.events.empty());

    rig.list.Push(Bytes(rig.plugin.StateSize()), "no block");
    REQUIRE(rig.list.SetCurrent(1));
    rig.plugin.events.clear();
    CHECK_FALSE(rig.file.GoTo(rig.list, 2));
    CHECK_FALSE(rig.file.GoTo(rig.list, 3));
    CHECK(rig.list.Current() == 1);
    CHECK(rig.plugin.Get("Gain: Output Left") == double{-0.01f});
    CHECK(rig.plugin.events.empty());

    rig.plugin.Set("Global: History Depth", 0);
    rig.Push(70);
    CHECK(rig.list.Entries().size() == 50);
}

TEST_CASE("A saved history of 500 steps loads as it was, at the step that the engine is at") {
    Rig rig;
    rig.plugin.Set("Global: History Depth", 2);
    rig.file.Reset(rig.list);
    rig.Push(510);
    REQUIRE(rig.list.Entries().size() == 500);
    REQUIRE(rig.list.SetSlot(1, 7));
    REQUIRE(rig.file.GoTo(rig.list, 400));
    const std::string strSaved = rig.Saved();
    CHECK(rig.folder.Count() == 1);
    CHECK(rig.file.Path() == rig.folder.File("hvVesca3.hst"));

    HistoryList loaded;
    REQUIRE(rig.file.Load(loaded));
    CHECK(loaded.Current() == 400);
    CHECK(Labels(loaded) == Labels(rig.list));
    CHECK(loaded.Slot(1) == 7u);
    CHECK_FALSE(loaded.Slot(0));
    REQUIRE(rig.file.Save(loaded));
    CHECK(Test::Slurp(rig.file.Path()) == strSaved);

    rig.plugin.Set("Gain: Output Left", 9);
    REQUIRE(rig.file.Load(loaded));
    CHECK(loaded.Current() == 499);
    CHECK(rig.plugin.Get("Gain: Output Left") == 9);
    CHECK(rig.file.Remove());
    CHECK_FALSE(rig.file.Remove());
    CHECK_FALSE(rig.file.Load(loaded));
    CHECK(Labels(loaded) == "<Initial State> ");
}

TEST_CASE("A file cut anywhere but between records is no file, and the list starts anew") {
    Rig rig;
    rig.file.Reset(rig.list);
    rig.Push(2);
    REQUIRE(rig.list.SetSlot(0, 1));
    const std::string strWhole = rig.Saved();
    const std::size_t uState = 4 + rig.plugin.StateSize() + 4;
    const std::array<std::size_t, 4> ends = {12 + uState + 15, 12 + 2 * uState + 16, 12 + 3 * uState + 17,
                                             12 + 3 * uState + 17 + 12};
    REQUIRE(strWhole.size() == ends[3]);
    CHECK(strWhole.substr(12, 4) == std::string("\x50\x3D\x01\0", 4));
    CHECK(strWhole.substr(ends[2]) == std::string("\x2F\x45\0\0"
                                                  "\0\0\0\0"
                                                  "\1\0\0\0",
                                                  12));
    for (std::size_t uLength = 0; uLength <= strWhole.size(); ++uLength) {
        CAPTURE(uLength);
        Test::Spill(rig.file.Path(), strWhole.substr(0, uLength));
        HistoryList loaded;
        const auto end = std::find(ends.begin(), ends.end(), uLength);
        REQUIRE(rig.file.Load(loaded) == (end != ends.end()));
        const auto uEntries = end == ends.end() ? 1 : std::min(end - ends.begin() + 1, std::ptrdiff_t{3});
        REQUIRE(loaded.Entries().size() == static_cast<std::size_t>(uEntries));
        if (end == ends.end()) REQUIRE(loaded.Entries()[0].strLabel == HistoryList::kInitialLabel);
    }
    // A save puts a new file in the old one's place, which whoever holds it keeps whole.
    std::filesystem::create_hard_link(rig.file.Path(), rig.folder.File("held"));
    rig.Push(1);
    CHECK(rig.Saved() != strWhole);
    CHECK(Test::Slurp(rig.folder.File("held")) == strWhole);
    REQUIRE(rig.file.Remove());
    std::filesystem::remove(rig.folder.File("held"));
    // Nothing can be put in the place of a folder that holds something.
    std::filesystem::create_directories(rig.file.Path() + "/x");
    CHECK_FALSE(rig.file.Save(rig.list));
    CHECK_FALSE(rig.file.Load(rig.list));
    CHECK(rig.folder.Count() == 1);
}

TEST_CASE("A wrong header or record is refused with its own text; a slot beyond the last ends the reading") {
    constexpr auto kMagic = HistoryFile::kMagic;
    CHECK(Draft(1, 13, 4).Failure() == "Invalid magic number 1");
    CHECK(Draft(kMagic, 12, 4).Failure() == "Invalid version 12");
    CHECK(Draft(kMagic, 13, 0xFFFFFFFF).Failure() == "Invalid total param size 4294967295");
    CHECK((Draft(kMagic, 13, 4) << 81231).Failure() == "Invalid record tag 81231");
    // State 5, label of length 0; slot 0 at an entry that comes later, slot 1 at none, slot 4.
    Draft draft(kMagic, 13, 4);
    draft << 17711 << 0 << 1 << 17711 << 1 << 2 << 81232 << 5 << 0 << 81232 << 6 << 0 << 17711 << 4 << 0
          << 99;
    const HistoryList list = HistoryFile::Read(draft, 4);
    REQUIRE(list.Entries().size() == 2);
    CHECK(list.Entries()[1].state == Bytes{6, 0, 0, 0});
    CHECK(list.Slot(0) == 1u);
    CHECK_FALSE(list.Slot(1));
}
