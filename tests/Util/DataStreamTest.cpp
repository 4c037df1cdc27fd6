#include "hvBase/Util/DataStream.h"

#include <doctest/doctest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "hvBase/Util/ByteStream.h"
#include "hvBase/Util/Exception.h"
#include "hvBase/Util/FileStream.h"
#include "hvBase/Util/Text.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/TempFolder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Util::ByteStream;
using Util::DataStream;
using Util::File;
using Util::FileStream;
using Util::Exception::DataStreamIO;

template <class Body>
std::string FailureOf(Body&& body) {
    try {
        body();
    } catch (const DataStreamIO& failure) {
        return failure.Message();
    }
    return "none";
}

// One value of every kind and then of everything else; below it the bytes, worked out by hand.
void InsertAll(DataStream& stream) {
    stream.InsertBool(true);
    stream.InsertBool(false);
    stream.InsertS8(-2);
    stream.InsertU8(0xFE);
    stream.InsertS16(-2);
    stream.InsertU16(0x1234);
    stream.InsertS32(-2);
    stream.InsertU32(0x12345678);
    stream.InsertLong(std::numeric_limits<std::int32_t>::min());
    stream.InsertULong(0xFFFFFFFF);
    stream.InsertF32(1.0f);
    stream.InsertF64(-2.5);
    stream.InsertBytes({9, 8, 7});
    stream.WriteBytes("ab", 2);
    stream.InsertString("h\xC3\xBC");
    stream.InsertString("");
    stream.InsertElements({-0.0f, 2.0f});
}

const Bytes kAll = {1,    0,                                          // bool
                    0xFE, 0xFE,                                       // 8 bits
                    0xFE, 0xFF, 0x34, 0x12,                           // 16
                    0xFE, 0xFF, 0xFF, 0xFF, 0x78, 0x56, 0x34, 0x12,   // 32
                    0,    0,    0,    0x80, 0xFF, 0xFF, 0xFF, 0xFF,   // long
                    0,    0,    0x80, 0x3F,                           // f32
                    0,    0,    0,    0,    0,    0,    0x04, 0xC0,   // f64
                    9,    8,    7,    'a',  'b',                      // bytes
                    3,    0,    0,    0,    'h',  0xC3, 0xBC,         // string
                    0,    0,    0,    0,                              // empty string
                    0,    0,    0,    0x80, 0,    0,    0,    0x40};  // elements

template <class Value>
Value Next(DataStream& stream, void (DataStream::*extract)(Value&), Value value = {}) {
    (stream.*extract)(value);
    return value;
}

/// The kinds of values that do not come back as InsertAll has put them in.
std::string WrongIn(DataStream& stream) {
    std::string strWrong;
    const auto expect = [&](bool bRight, const char* kind) { strWrong += bRight ? "" : kind; };
    expect(Next(stream, &DataStream::ExtractBool), "true ");
    expect(!Next(stream, &DataStream::ExtractBool, true), "false ");
    expect(Next(stream, &DataStream::ExtractS8) == -2, "s8 ");
    expect(Next(stream, &DataStream::ExtractU8) == 0xFE, "u8 ");
    expect(Next(stream, &DataStream::ExtractS16) == -2, "s16 ");
    expect(Next(stream, &DataStream::ExtractU16) == 0x1234, "u16 ");
    expect(Next(stream, &DataStream::ExtractS32) == -2, "s32 ");
    expect(Next(stream, &DataStream::ExtractU32) == 0x12345678, "u32 ");
    expect(Next(stream, &DataStream::ExtractLong) == std::numeric_limits<std::int32_t>::min(), "long ");
    expect(Next(stream, &DataStream::ExtractULong) == 0xFFFFFFFF, "ulong ");
    expect(Next(stream, &DataStream::ExtractF32) == 1.0f, "f32 ");
    expect(Next(stream, &DataStream::ExtractF64) == -2.5, "f64 ");
    expect(Next(stream, &DataStream::ExtractBytes, Bytes(3)) == Bytes{9, 8, 7}, "bytes ");
    expect(Next(stream, &DataStream::ExtractBytes, Bytes(2)) == Bytes{'a', 'b'}, "written ");
    expect(Next(stream, &DataStream::ExtractString) == "h\xC3\xBC", "string ");
    expect(Next(stream, &DataStream::ExtractString, std::string("x")).empty(), "empty string ");
    const auto elements = Next(stream, &DataStream::ExtractElements, std::vector<float>(2));
    expect(elements[0] == 0.0f && std::signbit(elements[0]) && elements[1] == 2.0f, "elements ");
    expect(stream.Tell() == stream.Length(), "end");
    return strWrong;
}

}  // namespace

TEST_CASE(
    "DataStream: every kind has its bytes, little-endian, and comes back, over memory and over a file") {
    ByteStream memory;
    InsertAll(memory);
    CHECK(memory.Bytes() == kAll);
    CHECK(WrongIn(memory) == "");

    const Test::TempFolder folder;
    FileStream file(folder.File("all"), File::kReadWrite | File::kTruncate);
    InsertAll(file);
    file.Seek(0);
    CHECK(WrongIn(file) == "");
    file.Close();
    CHECK(Test::Slurp(folder.File("all")) == std::string(kAll.begin(), kAll.end()));
}

TEST_CASE("DataStream: any bit pattern of a float survives, and any byte but 0 is true") {
    for (const std::uint32_t uPattern : {0x7FC00001u, 0xFF800000u, 0x00000001u, 0x80000000u, 0xFFFFFFFFu}) {
        CAPTURE(uPattern);
        ByteStream stream;
        for (const std::uint32_t uWord : {uPattern, uPattern, ~uPattern})
            stream.InsertU32(uWord);
        float fSingle = 0;
        double fDouble = 0;
        stream.ExtractF32(fSingle);
        stream.ExtractF64(fDouble);
        CHECK(std::bit_cast<std::uint32_t>(fSingle) == uPattern);
        CHECK(std::bit_cast<std::uint64_t>(fDouble) == (std::uint64_t{~uPattern} << 32 | uPattern));
    }
    ByteStream bools(Bytes{0, 1, 2, 255});
    for (const bool bExpected : {false, true, true, true}) {
        bool bValue = !bExpected;
        bools.ExtractBool(bValue);
        CHECK(bValue == bExpected);
    }
}

TEST_CASE("ByteStream: insertion appends, and an extraction past the end says where and moves nothing") {
    ByteStream stream(Bytes(10));
    std::uint32_t uValue = 77;
    stream.Seek(7);
    CHECK(FailureOf([&] { stream.ExtractU32(uValue); }) ==
          "Can't extract 4 bytes at position 7, total size 10");
    CHECK((uValue == 77 && stream.Tell() == 7));
    stream.InsertU8(3);
    CHECK(stream.Tell() == 7);
    stream.ExtractU32(uValue);
    CHECK(uValue == 0x03000000);
    Bytes none;
    stream.ExtractBytes(none);
    CHECK(stream.Tell() == 11);
    stream.Seek(std::numeric_limits<std::uint64_t>::max());
    CHECK(FailureOf([&] { stream.ExtractU32(uValue); }) ==
          "Can't extract 4 bytes at position 18446744073709551615, total size 11");
    CHECK(stream.TakeBytes().size() == 11);
    CHECK((stream.Tell() == 0 && stream.Length() == 0));
}

TEST_CASE("FileStream: a failed extraction says what was asked for and why it failed below") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("short");
    Test::Spill(strPath, std::string("\5\0\0\0abc", 7));
    FileStream stream(strPath, File::kRead);
    const auto failsWith = [&](const std::string& strHead, auto&& body) {
        stream.Seek(0);
        const std::string strFailure = FailureOf(body);
        CAPTURE(strFailure);
        CHECK(strFailure.starts_with("Can't extract " + strHead));
        return strFailure;
    };
    double fValue = -1.5;
    CHECK(failsWith("-1.5: File.cpp (", [&] {
              stream.ExtractF64(fValue);
          }).ends_with("\nBase:\n\tAttempt to read 8 bytes, only read 7 bytes\nFileIO:\nRead error"));
    CHECK(fValue == -1.5);
    std::string strText = "kept";
    failsWith("string: File.cpp (", [&] { stream.ExtractString(strText); });
    CHECK(strText == "kept");
    Bytes bytes(9);
    failsWith("9 bytes: File.cpp (", [&] { stream.ExtractBytes(bytes); });
    std::vector<float> elements(3);
    const std::string strFailure =
        failsWith("3 elements: DataStream.cpp (", [&] { stream.ExtractElements(elements); });
    CHECK(strFailure.find("\n\tCan't extract 0: File.cpp (") != std::string::npos);
    CHECK(strFailure.ends_with("\nDataStreamIO\n"));
}

TEST_CASE("FileStream: a failed insertion and a failed opening say so in the same way") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("readonly");
    Test::Spill(strPath, "");
    FileStream stream(strPath, File::kRead);
    const auto failsWith = [&](const char* head, auto&& body) {
        const std::string strFailure = FailureOf(body);
        CAPTURE(strFailure);
        CHECK(strFailure.starts_with(head));
        CHECK(strFailure.find("): Thrown, GetLastError(): ") != std::string::npos);
        CHECK(strFailure.ends_with("\nFileIO:\nWrite error"));
    };
    failsWith("Can't insert -5: ", [&] { stream.InsertS8(-5); });
    failsWith("Can't insert 0.25: ", [&] { stream.InsertF32(0.25f); });
    failsWith("Can't insert 3 bytes: ", [&] { stream.InsertBytes(Bytes(3)); });
    failsWith("Can't write 2 bytes: ", [&] { stream.WriteBytes("ab", 2); });
    failsWith("Can't insert 4: ", [&] { stream.InsertString("some"); });
    CHECK(FailureOf([&] {
              stream.InsertElements({1.0f, 2.0f});
          }).starts_with("Can't insert 2 elements: DataStream.cpp ("));

    const std::string strFailure = FailureOf([&] { stream.Open(folder.File("none"), File::kRead); });
    CAPTURE(strFailure);
    CHECK(strFailure.starts_with("Can't open file: File.cpp ("));
    CHECK(strFailure.ends_with("Base:\n\tError opening file\nFileIO:\nFile not found"));
    CHECK_FALSE(stream.IsOpen());
    CHECK_THROWS_AS(stream.Tell(), Util::Exception::FileIO);
}

TEST_CASE("DataStream: a string of 200000 bytes passes; one more is refused before memory is asked for") {
    const std::string strLong(200000, 'z');
    ByteStream stream;
    stream.InsertString(strLong);
    std::string strRead;
    stream.ExtractString(strRead);
    CHECK(strRead == strLong);
    CHECK(FailureOf([&] { stream.InsertString(strLong + 'z'); }) == "Improbable string length 200001");
    CHECK(stream.Length() == 200004);

    const auto allocationsOf = [](auto&& body) {
        const Test::AllocationCounter counter;
        try {
            body();
        } catch (const DataStreamIO&) {
        }
        return counter.Count();
    };
    // The failure alone, from the file whose name it will bear.
    const std::size_t uThrowAlone = allocationsOf([] {
        throw DataStreamIO(Util::Format("Improbable string length %1", std::uint32_t{200001}),
                           {"DataStream.cpp", 1});
    });
    for (const std::uint32_t uLength : {200001u, 0xFFFFFFFFu}) {
        ByteStream hostile;
        hostile.InsertU32(uLength);
        hostile.InsertBytes(Bytes(200001, 'z'));
        strRead = "kept";
        CHECK(FailureOf([&] { hostile.ExtractString(strRead); }) ==
              "Improbable string length " + std::to_string(uLength));
        CHECK(strRead == "kept");
        hostile.Seek(0);
        CHECK(allocationsOf([&] { hostile.ExtractString(strRead); }) == uThrowAlone);
    }
}

TEST_CASE("DataStream: a stream cut at any byte fails as a stream does and never reads what is not there") {
    const Test::TempFolder folder;
    for (std::size_t uLength = 0; uLength < kAll.size(); ++uLength) {
        ByteStream memory(Bytes(kAll.begin(), kAll.begin() + static_cast<std::ptrdiff_t>(uLength)));
        Test::Spill(folder.File("cut"), std::string(memory.Bytes().begin(), memory.Bytes().end()));
        FileStream file(folder.File("cut"), File::kRead);
        CHECK_THROWS_AS(WrongIn(memory), DataStreamIO);
        CHECK_THROWS_AS(WrongIn(file), DataStreamIO);
    }
}
