#include "dsp/SnapshotFile.h"

#include <doctest/doctest.h>

#include <bit>
#include <cstring>

#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Exception.h"

using namespace DSP::Meter;

namespace {

using Bytes = std::vector<std::uint8_t>;

void Put(Bytes& bytes, std::uint32_t uValue) {
    for (int nShift = 0; nShift < 32; nShift += 8)
        bytes.push_back(static_cast<std::uint8_t>(uValue >> nShift));
}

void Put(Bytes& bytes, const SnapshotRecord& record) {
    Put(bytes, static_cast<std::uint32_t>(record.strName.size()));
    bytes.insert(bytes.end(), record.strName.begin(), record.strName.end());
    Put(bytes, static_cast<std::uint32_t>(record.frequencies.size()));
    for (const float f : record.frequencies)
        Put(bytes, std::bit_cast<std::uint32_t>(f));
    for (const float f : record.levels)
        Put(bytes, std::bit_cast<std::uint32_t>(f));
}

SnapshotRecord Example(std::uint32_t i) {
    SnapshotRecord record{"slot " + std::string(i, 'x'), {}, {}};
    for (std::uint32_t n = 0; n <= i; ++n) {
        record.frequencies.push_back(static_cast<float>(10 * n + i));
        record.levels.push_back(-0.5f * static_cast<float>(n) - static_cast<float>(i));
    }
    return record;
}

SnapshotState ExampleState() {
    SnapshotState state{9, 3, {}, {true, false, false, true, false, true, true, false}, {false, true}};
    for (std::uint32_t i = 0; i < 8; ++i)
        state.slots[i] = Example(i);
    return state;
}

Bytes Single() {
    Bytes bytes;
    Put(bytes, 0x32624132u);
    Put(bytes, 1u);
    Put(bytes, Example(2));
    return bytes;
}

Bytes Set() {
    Bytes bytes;
    Put(bytes, 0x51144122u);
    Put(bytes, 1u);
    for (std::uint32_t i = 0; i < 8; ++i)
        Put(bytes, Example(i));
    return bytes;
}

Bytes StateBytes() {
    const SnapshotState state = ExampleState();
    Bytes bytes;
    for (const std::uint32_t u : {0x41872321u, 1u, 9u, 3u})
        Put(bytes, u);
    for (std::uint32_t i = 0; i < 8; ++i) {
        Put(bytes, state.slots[i]);
        Put(bytes, state.visible[i] ? 1u : 0u);
    }
    Put(bytes, 0u);
    Put(bytes, 1u);
    return bytes;
}

template <class Write, class Value>
Bytes Written(Write write, const Value& value) {
    Util::ByteStream stream;
    write(stream, value);
    return stream.TakeBytes();
}

/// Whether the bytes are read to the end without a failure.
bool Read(Bytes bytes, SnapshotSet& slots, std::uint32_t iSlot = 5) {
    Util::ByteStream stream(std::move(bytes));
    try {
        ReadSnapshots(stream, slots, iSlot);
        return true;
    } catch (const Exception::Base&) {
        return false;
    }
}

bool Read(Bytes bytes, SnapshotState& state) {
    Util::ByteStream stream(std::move(bytes));
    try {
        ReadSnapshotState(stream, state);
        return true;
    } catch (const Exception::Base&) {
        return false;
    }
}

Bytes With(Bytes bytes, std::size_t uOffset, std::uint32_t uValue) {
    Bytes four;
    Put(four, uValue);
    std::memcpy(bytes.data() + uOffset, four.data(), 4);
    return bytes;
}

}  // namespace

TEST_CASE("Snapshot files have their layout byte for byte, and give back what was written") {
    CHECK(Written(WriteSnapshot, Example(2)) == Single());
    CHECK(Written(WriteSnapshotSet, ExampleState().slots) == Set());
    CHECK(Written(WriteSnapshotState, ExampleState()) == StateBytes());

    SnapshotSet slots = FactorySnapshots();
    CHECK(slots[7] == SnapshotRecord{"H", {20, 20000}, {-200, -200}});
    SnapshotSet expected = slots;
    expected[5] = Example(2);
    CHECK(Read(Single(), slots));
    CHECK(slots == expected);
    CHECK(Read(Set(), slots));
    CHECK(slots == ExampleState().slots);
    SnapshotState state;
    CHECK(Read(StateBytes(), state));
    CHECK(state == ExampleState());
    // Indices beyond the last built-in read as the first slot; any number but 0 is a flag that is set.
    CHECK(Read(With(With(StateBytes(), 8, 10), 12, 0xFFFFFFFF), state));
    CHECK((state.uSource == 0 && state.uTarget == 0));
    CHECK(Read(With(StateBytes(), StateBytes().size() - 4, 77), state));
    CHECK((state.uSource == 9 && state.builtInVisible[1]));
}

TEST_CASE("A damaged snapshot file changes nothing from the damaged record on") {
    const SnapshotSet before = FactorySnapshots();
    const std::size_t uCount = 8 + 4 + Example(2).strName.size();  // where the single file counts its points
    SnapshotSet slots = before;
    for (const Bytes& bytes :
         {With(Single(), 0, 0x32624133), With(Single(), 4, 0), With(Single(), 4, 2), With(Set(), 4, 2),
          With(Single(), uCount, 0), With(Single(), uCount, 50001), With(Single(), uCount, 0xFFFFFFFF),
          With(Single(), 8, 200001), With(Single(), 8, 0xFFFFFFFF), StateBytes()}) {
        CHECK_FALSE(Read(bytes, slots));
        CHECK(slots == before);
    }
    for (std::size_t uLength = 0; uLength < Single().size(); ++uLength) {
        Bytes bytes = Single();
        bytes.resize(uLength);
        REQUIRE_FALSE(Read(bytes, slots));
        REQUIRE(slots == before);
    }
    // 50000 points are the most, with the longest name.
    SnapshotRecord longest{std::string(200000, 'n'), std::vector<float>(50000, 1.0f),
                           std::vector<float>(50000, -1.0f)};
    CHECK(IsStorable(longest));
    CHECK(Read(Written(WriteSnapshot, longest), slots));
    CHECK(slots[5] == longest);
    longest.frequencies.push_back(2.0f);
    CHECK_FALSE(IsStorable(longest));
    longest.levels.push_back(-2.0f);
    CHECK_FALSE(Read(Written(WriteSnapshot, longest), slots));

    // A set and a state keep the records before the damage, and only those.
    const auto readThrough = [](const Bytes& whole, auto fresh, auto slotsOf) {
        std::size_t uLast = 0;
        for (std::size_t uLength = 0; uLength < whole.size(); ++uLength) {
            auto value = fresh;
            REQUIRE_FALSE(
                Read(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(uLength)), value));
            std::size_t uRead = 0;
            for (std::uint32_t i = 0; i < 8; ++i) {
                const SnapshotRecord& slot = slotsOf(value)[i];
                if (slot == Example(i)) ++uRead;
                REQUIRE((slot == Example(i)) == (i < uRead));
                REQUIRE((slot == Example(i) || slot == slotsOf(fresh)[i]));
            }
            REQUIRE((uRead == uLast || uRead == uLast + 1));
            uLast = uRead;
        }
        return uLast;
    };
    CHECK(readThrough(
              Set(), before, [](auto& set) -> auto& { return set; }) == 7);
    CHECK(readThrough(
              StateBytes(), SnapshotState{}, [](auto& state) -> auto& { return state.slots; }) == 8);
}

TEST_CASE("A name gets the extension of its kind unless it has one") {
    using enum SnapshotFileKind;
    CHECK(WithSnapshotExtension("a", Single) == "a.snapshot");
    CHECK(WithSnapshotExtension("a.txt", Set) == "a.txt.snapshotset");
    CHECK(WithSnapshotExtension("a.SNAPSHOT", Single) == "a.SNAPSHOT");
    CHECK(WithSnapshotExtension("a.snapshotset", Set) == "a.snapshotset");
}
