#include "dsp/SnapshotFile.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <type_traits>
#include <utility>

#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Exception.h"

using namespace DSP::Meter;

namespace {

using Bytes = std::vector<std::uint8_t>;

SnapshotRecord Example(std::size_t i) {
    return {"slot" + std::to_string(i), {20, 1000}, {-1, -2}};
}

/// The same as it lies in a file: name and points, each behind their number, and the frequencies first.
Bytes ExampleBytes(std::size_t i) {
    return {5, 0,    0,    0, 's', 'l',  'o',  't',  static_cast<std::uint8_t>('0' + i),
            2, 0,    0,    0, 0,   0,    0xA0, 0x41, 0,
            0, 0x7A, 0x44, 0, 0,   0x80, 0xBF, 0,    0,
            0, 0xC0};
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

SnapshotState ExampleState() {
    SnapshotState state{9, 3, {}, {true, false, false, true, false, true, true, false}, {false, true}};
    for (std::size_t i = 0; i < 8; ++i)
        state.slots[i] = Example(i);
    return state;
}

const Bytes kSingle = Bytes{0x32, 0x41, 0x62, 0x32, 1, 0, 0, 0} + ExampleBytes(2);

Bytes SetBytes() {
    Bytes bytes{0x22, 0x41, 0x14, 0x51, 1, 0, 0, 0};
    for (std::size_t i = 0; i < 8; ++i)
        bytes = bytes + ExampleBytes(i);
    return bytes;
}

Bytes StateBytes() {
    Bytes bytes{0x21, 0x23, 0x87, 0x41, 1, 0, 0, 0, 9, 0, 0, 0, 3, 0, 0, 0};
    for (std::size_t i = 0; i < 8; ++i)
        bytes = bytes + ExampleBytes(i) + Bytes{ExampleState().visible[i], 0, 0, 0};
    return bytes + Bytes{0, 0, 0, 0, 1, 0, 0, 0};
}

template <class Write, class Value>
Bytes Written(Write write, const Value& value) {
    Util::ByteStream stream;
    write(stream, value);
    return stream.TakeBytes();
}

/// Whether the bytes are read to the end without a failure; a single record goes into slot 5.
template <class Value>
bool Read(Bytes bytes, Value& value) {
    Util::ByteStream stream(std::move(bytes));
    try {
        if constexpr (std::is_same_v<Value, SnapshotSet>) {
            ReadSnapshots(stream, value, 5);
        } else {
            ReadSnapshotState(stream, value);
        }
        return true;
    } catch (const Exception::Base&) {
        return false;
    }
}

/// The bytes with four others at a place.
Bytes With(Bytes bytes, std::size_t uOffset, std::uint32_t uValue) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes[uOffset + i] = static_cast<std::uint8_t>(uValue >> (8 * i));
    return bytes;
}

}  // namespace

TEST_CASE("Snapshot files have their layout byte for byte, and give back what was written") {
    CHECK(Written(WriteSnapshot, Example(2)) == kSingle);
    CHECK(Written(WriteSnapshotSet, ExampleState().slots) == SetBytes());
    CHECK(Written(WriteSnapshotState, ExampleState()) == StateBytes());

    SnapshotSet slots = FactorySnapshots();
    CHECK(slots[7] == SnapshotRecord{"H", {20, 20000}, {-200, -200}});
    SnapshotSet expected = slots;
    expected[5] = Example(2);
    CHECK(Read(kSingle, slots));
    CHECK(slots == expected);
    CHECK(Read(SetBytes(), slots));
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
    SnapshotSet slots = before;
    // Wrong magics and versions; no points, too many, too long a name; a file of another kind.
    for (const Bytes& bytes :
         {With(kSingle, 0, 0x32624133), With(kSingle, 4, 0), With(kSingle, 4, 2), With(SetBytes(), 4, 2),
          With(kSingle, 17, 0), With(kSingle, 17, 50001), With(kSingle, 17, 0xFFFFFFFF),
          With(kSingle, 8, 200001), With(kSingle, 8, 0xFFFFFFFF), StateBytes()}) {
        CHECK_FALSE(Read(bytes, slots));
        CHECK(slots == before);
    }
    // Cut short anywhere: a set and a state keep the whole records, and only those.
    const std::size_t uRecord = ExampleBytes(0).size();
    for (std::size_t uLength = 0; uLength < StateBytes().size(); ++uLength) {
        const auto piece = [&](Bytes bytes) {
            bytes.resize(std::min(uLength, bytes.size() - 1));
            return bytes;
        };
        CAPTURE(uLength);
        SnapshotState state;
        REQUIRE_FALSE(Read(piece(kSingle), slots));
        REQUIRE(slots == before);
        SnapshotSet set = before;
        REQUIRE_FALSE(Read(piece(SetBytes()), set));
        REQUIRE_FALSE(Read(piece(StateBytes()), state));
        for (std::size_t i = 0; i < 8; ++i) {
            const bool bInSet = piece(SetBytes()).size() >= 8 + (i + 1) * uRecord;
            REQUIRE(set[i] == (bInSet ? Example(i) : before[i]));
            // With its flag.
            REQUIRE(state.slots[i] == (uLength >= 16 + (i + 1) * (uRecord + 4) ? Example(i) : before[i]));
        }
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
}

TEST_CASE("A name gets the extension of its kind unless it has one") {
    using enum SnapshotFileKind;
    CHECK(WithSnapshotExtension("a", Single) == "a.snapshot");
    CHECK(WithSnapshotExtension("a.txt", Set) == "a.txt.snapshotset");
    CHECK(WithSnapshotExtension("a.SNAPSHOT", Single) == "a.SNAPSHOT");
    CHECK(WithSnapshotExtension("a.snapshotset", Set) == "a.snapshotset");
}
