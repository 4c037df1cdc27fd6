#include "hvBase/Util/DataStream.h"

#include <doctest/doctest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
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

void CheckAll(DataStream& stream) {
    bool bFirst = false, bSecond = true;
    std::int8_t nS8 = 0;
    std::uint8_t uU8 = 0;
    std::int16_t nS16 = 0;
    std::uint16_t uU16 = 0;
    std::int32_t nS32 = 0, nLong = 0;
    std::uint32_t uU32 = 0, uULong = 0;
    float fF32 = 0;
    double fF64 = 0;
    Bytes bytes(3), written(2);
    std::string strText = "x", strEmpty = "x";
    std::vector<float> elements(2);
    stream.ExtractBool(bFirst);
    stream.ExtractBool(bSecond);
    stream.ExtractS8(nS8);
    stream.ExtractU8(uU8);
    stream.ExtractS16(nS16);
    stream.ExtractU16(uU16);
    stream.ExtractS32(nS32);
    stream.ExtractU32(uU32);
    stream.ExtractLong(nLong);
    stream.ExtractULong(uULong);
    stream.ExtractF32(fF32);
    stream.ExtractF64(fF64);
    stream.ExtractBytes(bytes);
    stream.ExtractBytes(written);
    stream.ExtractString(strText);
    stream.ExtractString(strEmpty);
    stream.ExtractElements(elements);
    CHECK((bFirst && !bSecond));
    CHECK((nS8 == -2 && uU8 == 0xFE && nS16 == -2 && uU16 == 0x1234 && nS32 == -2 && uU32 == 0x12345678));
    CHECK((nLong == std::numeric_limits<std::int32_t>::min() && uULong == 0xFFFFFFFF));
    CHECK((fF32 == 1.0f && fF64 == -2.5));
    CHECK((bytes == Bytes{9, 8, 7} && written == Bytes{'a', 'b'}));
    CHECK((strText == "h\xC3\xBC" && strEmpty.empty()));
    CHECK((elements[0] == 0.0f && std::signbit(elements[0]) && elements[1] == 2.0f));
    CHECK(stream.Tell() == stream.Length());
}

// Each kind's extractor with a value that it must keep when it fails, and that value in decimal.
struct Extractor {
    std::string strHeld;
    std::size_t uSize;
    std::function<bool(DataStream&)> keeps;
};

template <class Value>
Extractor Holding(void (DataStream::*extract)(Value&), Value held, const char* text) {
    return {text, sizeof(Value), [extract, held](DataStream& stream) {
                Value value = held;
                try {
                    (stream.*extract)(value);
                } catch (const DataStreamIO&) {
                    if (value != held) FAIL("value lost");
                    throw;
                }
                return true;
            }};
}

const std::vector<Extractor> kExtractors = {
    Holding(&DataStream::ExtractBool, true, "1"),
    Holding<std::int8_t>(&DataStream::ExtractS8, -100, "-100"),
    Holding<std::uint8_t>(&DataStream::ExtractU8, 200, "200"),
    Holding<std::int16_t>(&DataStream::ExtractS16, -30000, "-30000"),
    Holding<std::uint16_t>(&DataStream::ExtractU16, 60000, "60000"),
    Holding<std::int32_t>(&DataStream::ExtractS32, -2000000000, "-2000000000"),
    Holding<std::uint32_t>(&DataStream::ExtractU32, 4000000000u, "4000000000"),
    Holding<std::int32_t>(&DataStream::ExtractLong, -7, "-7"),
    Holding<std::uint32_t>(&DataStream::ExtractULong, 7u, "7"),
    Holding(&DataStream::ExtractF32, 0.1f, "0.1"),
    Holding(&DataStream::ExtractF64, -1.5, "-1.5"),
};

}  // namespace

TEST_CASE(
    "DataStream: every kind has its bytes, little-endian, and comes back, over memory and over a file") {
    ByteStream memory;
    InsertAll(memory);
    CHECK(memory.Bytes() == kAll);
    CheckAll(memory);

    const Test::TempFolder folder;
    FileStream file(folder.File("all"), File::kReadWrite | File::kTruncate);
    InsertAll(file);
    file.Seek(0);
    CheckAll(file);
    file.Close();
    CHECK(Test::Slurp(folder.File("all")) == std::string(kAll.begin(), kAll.end()));
}

TEST_CASE("DataStream: any bit pattern of a float survives, and any byte but 0 is true") {
    std::mt19937 random(41);
    ByteStream stream;
    std::vector<std::uint32_t> patterns = {0x7FC00001, 0xFF800000, 0x00000001, 0x80000000};
    while (patterns.size() < 300) {
        patterns.push_back(static_cast<std::uint32_t>(random()));
    }
    for (const std::uint32_t uPattern : patterns) {
        stream.InsertU32(uPattern);
        stream.InsertU32(uPattern);
        stream.InsertU32(~uPattern);
    }
    for (const std::uint32_t uPattern : patterns) {
        float fSingle = 0;
        double fDouble = 0;
        stream.ExtractF32(fSingle);
        stream.ExtractF64(fDouble);
        if (std::bit_cast<std::uint32_t>(fSingle) != uPattern) FAIL("f32 " << uPattern);
        const std::uint64_t uWide = std::uint64_t{~uPattern} << 32 | uPattern;
        if (std::bit_cast<std::uint64_t>(fDouble) != uWide) FAIL("f64 " << uWide);
    }
    ByteStream bools(Bytes{0, 1, 2, 255});
    for (const bool bExpected : {false, true, true, true}) {
        bool bValue = !bExpected;
        bools.ExtractBool(bValue);
        CHECK(bValue == bExpected);
    }
}

TEST_CASE(
    "ByteStream: an extraction past the end says what, where and how much there is, and moves nothing") {
    for (const Extractor& extractor : kExtractors) {
        for (std::size_t uLeft = 0; uLeft < extractor.uSize; ++uLeft) {
            ByteStream stream(Bytes(uLeft + 10, 0xAA));
            stream.Seek(10);
            CHECK(FailureOf([&] { extractor.keeps(stream); }) ==
                  "Can't extract " + std::to_string(extractor.uSize) + " bytes at position 10, total size " +
                      std::to_string(uLeft + 10));
            CHECK(stream.Tell() == 10);
        }
    }
    ByteStream stream(Bytes(10));
    std::uint32_t uValue = 0;
    stream.Seek(10 - 3);
    CHECK(FailureOf([&] { stream.ExtractU32(uValue); }) ==
          "Can't extract 4 bytes at position 7, total size 10");
    stream.Seek(std::numeric_limits<std::uint64_t>::max());
    CHECK(FailureOf([&] { stream.ExtractU32(uValue); }) ==
          "Can't extract 4 bytes at position 18446744073709551615, total size 10");
    stream.Seek(6);
    stream.ExtractU32(uValue);
    Bytes none;
    stream.ExtractBytes(none);
    CHECK(stream.Tell() == 10);
}

TEST_CASE("ByteStream: insertion appends wherever reading stands, and the bytes can be taken out") {
    ByteStream stream(Bytes{1, 2});
    std::uint8_t uValue = 0;
    stream.ExtractU8(uValue);
    stream.InsertU8(3);
    CHECK((stream.Tell() == 1 && stream.Length() == 3));
    stream.ExtractU8(uValue);
    CHECK(uValue == 2);
    CHECK(stream.TakeBytes() == Bytes{1, 2, 3});
    CHECK((stream.Tell() == 0 && stream.Length() == 0));
}

TEST_CASE("FileStream: a failed extraction says what was asked for and why it failed below") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("short");
    for (const Extractor& extractor : kExtractors) {
        for (std::size_t uLeft = 0; uLeft < extractor.uSize; ++uLeft) {
            Test::Spill(strPath, std::string(uLeft, 'x'));
            FileStream stream(strPath, File::kRead);
            const std::string strFailure = FailureOf([&] { extractor.keeps(stream); });
            CAPTURE(strFailure);
            CHECK(strFailure.starts_with("Can't extract " + extractor.strHeld + ": File.cpp ("));
            CHECK(strFailure.ends_with("\nBase:\n\tAttempt to read " + std::to_string(extractor.uSize) +
                                       " bytes, only read " + std::to_string(uLeft) +
                                       " bytes\nFileIO:\nRead error"));
        }
    }

    Test::Spill(strPath, std::string("\5\0\0\0abcd", 8));
    FileStream stream(strPath, File::kRead);
    std::string strText = "kept";
    CHECK(FailureOf([&] { stream.ExtractString(strText); }).starts_with("Can't extract string: File.cpp ("));
    CHECK(strText == "kept");
    Bytes bytes(9);
    stream.Seek(0);
    CHECK(FailureOf([&] { stream.ExtractBytes(bytes); }).starts_with("Can't extract 9 bytes: File.cpp ("));
    std::vector<float> elements(3);
    stream.Seek(0);
    const std::string strFailure = FailureOf([&] { stream.ExtractElements(elements); });
    CHECK(strFailure.starts_with("Can't extract 3 elements: DataStream.cpp ("));
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
    failsWith("Can't insert 1: ", [&] { stream.InsertBool(true); });
    failsWith("Can't insert -5: ", [&] { stream.InsertS8(-5); });
    failsWith("Can't insert 255: ", [&] { stream.InsertU8(255); });
    failsWith("Can't insert -6: ", [&] { stream.InsertS16(-6); });
    failsWith("Can't insert 65535: ", [&] { stream.InsertU16(65535); });
    failsWith("Can't insert -7: ", [&] { stream.InsertS32(-7); });
    failsWith("Can't insert 4294967295: ", [&] { stream.InsertU32(0xFFFFFFFF); });
    failsWith("Can't insert -8: ", [&] { stream.InsertLong(-8); });
    failsWith("Can't insert 8: ", [&] { stream.InsertULong(8); });
    failsWith("Can't insert 0.25: ", [&] { stream.InsertF32(0.25f); });
    failsWith("Can't insert -0.5: ", [&] { stream.InsertF64(-0.5); });
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
    CHECK(FailureOf([&] { stream.InsertU8(7); }).find("Attempt to write 1 bytes when not open") !=
          std::string::npos);
    CHECK_THROWS_AS(stream.Tell(), Util::Exception::FileIO);
}

TEST_CASE("DataStream: a string of 200000 bytes passes; one more is refused before memory is asked for") {
    const std::string strLong(200000, 'z');
    ByteStream stream;
    stream.InsertString(strLong);
    CHECK(stream.Length() == 200004);
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
    const Test::TempFolder folder;
    for (const std::uint32_t uLength : {200001u, 0xFFFFFFFFu}) {
        ByteStream hostile;
        hostile.InsertU32(uLength);
        hostile.InsertBytes(Bytes(200001, 'z'));
        Test::Spill(folder.File("hostile"), std::string(hostile.Bytes().begin(), hostile.Bytes().end()));
        FileStream file(folder.File("hostile"), File::kRead);
        // The runtime library makes its buffer at the first read.
        std::uint8_t uFirst = 0;
        file.ExtractU8(uFirst);
        file.Seek(0);
        for (DataStream* each : {static_cast<DataStream*>(&hostile), static_cast<DataStream*>(&file)}) {
            strRead = "kept";
            CHECK(FailureOf([&] { each->ExtractString(strRead); }) ==
                  "Improbable string length " + std::to_string(uLength));
            CHECK(strRead == "kept");
            each->Seek(0);
            CHECK(allocationsOf([&] { each->ExtractString(strRead); }) == uThrowAlone);
        }
    }
}

TEST_CASE("DataStream: a stream cut at any byte fails as a stream does and never reads what is not there") {
    const Test::TempFolder folder;
    for (std::size_t uLength = 0; uLength < kAll.size(); ++uLength) {
        ByteStream memory(Bytes(kAll.begin(), kAll.begin() + static_cast<std::ptrdiff_t>(uLength)));
        CHECK_THROWS_AS(CheckAll(memory), DataStreamIO);
        Test::Spill(folder.File("cut"),
                    std::string(kAll.begin(), kAll.begin() + static_cast<std::ptrdiff_t>(uLength)));
        FileStream file(folder.File("cut"), File::kRead);
        CHECK_THROWS_AS(CheckAll(file), DataStreamIO);
    }
}
