#include "hvBase/Util/File.h"

#include <doctest/doctest.h>

#include <string>
#include <vector>

#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/Exception.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/TempFolder.h"

namespace {

using Test::Slurp;
using Test::Spill;
using Util::File;
using Util::Exception::FileIO;

// The message and the reason of the failure that a body ends in.
template <class Body>
std::string FailureOf(Body&& body) {
    try {
        body();
    } catch (const FileIO& failure) {
        return failure.Message() + " | " + std::string(FileIO::Reason(failure.ErrorCode()));
    }
    return "none";
}

}  // namespace

TEST_CASE("File: the mode's text follows the flags") {
    const struct {
        std::uint32_t uMode;
        const char* text;
    } table[] = {
        {File::kRead, "rb"},
        {File::kRead | File::kText, "rt"},
        {File::kWrite, "wb"},
        {File::kWrite | File::kAppend | File::kText, "at"},
        {File::kReadWrite, "r+b"},
        {File::kRead | File::kWrite, "r+b"},
        {File::kReadWrite | File::kAppend, "a+b"},
        {File::kReadWrite | File::kTruncate | File::kText, "w+t"},
        {File::kReadWrite | File::kAppend | File::kTruncate, "w+b"},
        {0, "rb"},
    };
    for (const auto& row : table) {
        CAPTURE(row.uMode);
        CHECK(File::ModeText(row.uMode) == row.text);
    }
}

TEST_CASE("File: each failure has its message and its reason") {
    const Test::TempFolder folder;
    char buffer[8] = {};
    File file;

    CHECK(FailureOf([&] { file.Read(buffer, 4); }) == "Attempt to read 4 bytes when not open | Read error");
    CHECK(FailureOf([&] { file.Write(buffer, 5); }) ==
          "Attempt to write 5 bytes when not open | Write error");
    CHECK(FailureOf([&] { file.Seek(9); }) == "Attempt to seek to 9 when not open | Unexpected error");
    CHECK(FailureOf([&] { file.Open(folder.File("none"), File::kRead); }) ==
          "Error opening file | File not found");
    CHECK(FailureOf([&] { file.Open(folder.Path(), File::kWrite); }) == "Error opening file | Open error");
    CHECK(FailureOf([&] { File::Remove(folder.File("none")); }) == "Remove failed | Remove error");
    CHECK(FailureOf([&] { File::Rename(folder.File("none"), folder.File("other")); }) ==
          "Rename failed | Unexpected error");
    CHECK(FailureOf([&] { file.Close(); }) == "none");

    Spill(folder.File("short"), "abc");
    file.Open(folder.File("short"), File::kRead);
    CHECK(FailureOf([&] { file.Read(buffer, 4); }) ==
          "Attempt to read 4 bytes, only read 3 bytes | Read error");
    CHECK(std::string(buffer) == "abc");
    CHECK(FailureOf([&] { file.Write("x", 1); }) ==
          "Attempt to write 1 bytes, only wrote 0 bytes | Write error");
    CHECK(FailureOf([&] { file.Seek(std::uint64_t{1} << 63); }) ==
          "Seek to 9223372036854775808 failed | Unexpected error");
}

TEST_CASE("File: reads and writes mix in one file, and length and position tell of both") {
    const Test::TempFolder folder;
    File file;
    file.Open(folder.File("mixed"), File::kReadWrite | File::kTruncate);
    file.Write("0123456789", 10);
    CHECK(file.Length() == 10);
    CHECK(file.Tell() == 10);
    file.Seek(2);
    char read[3] = {};
    file.Read(read, 2);
    CHECK(std::string(read) == "23");
    file.Write("AB", 2);
    file.Read(read, 2);
    CHECK(std::string(read) == "67");
    CHECK(file.Tell() == 8);
    CHECK(file.Length() == 10);
    file.Close();
    CHECK_FALSE(file.IsOpen());
    CHECK(Slurp(folder.File("mixed")) == "0123AB6789");

    file.Open(folder.File("mixed"), File::kWrite | File::kAppend);
    file.Write("!", 1);
    // Opening another file closes the first and brings its bytes out.
    file.Open(folder.File("second"), File::kWrite);
    CHECK(Slurp(folder.File("mixed")) == "0123AB6789!");

    // Beyond 32 bits, behind the end and without a write: the file stays empty.
    file.Open(folder.File("far"), File::kReadWrite | File::kTruncate);
    const std::uint64_t uFar = (std::uint64_t{5} << 32) + 3;
    file.Seek(uFar);
    CHECK(file.Tell() == uFar);
    CHECK(file.Length() == 0);
    CHECK(file.Tell() == uFar);
}

TEST_CASE("File: a name outside ASCII and a path from the home folder reach the same file") {
    const Test::TempFolder folder;
    const std::string strName = "M\xC3\xA4rz \xE2\x99\xAA.hst";
    const Test::ScopedVariable home("HOME", folder.Path());
    File file;
    file.Open("~/" + strName, File::kWrite);
    file.Write("x", 1);
    file.Close();
    CHECK(Slurp(folder.File(strName)) == "x");

    File::Rename("~/" + strName, "~/moved");
    CHECK(Slurp(folder.File("moved")) == "x");
    File::Remove("~/moved");
    CHECK(folder.Count() == 0);
}

TEST_CASE("AtomicFile: the target is the old file until Commit and the new one after, with nothing left") {
    const Test::TempFolder folder;
    const std::string strPath = folder.File("state");
    Spill(strPath, "old");
    {
        Util::AtomicFile abandoned(strPath);
        abandoned.Write("half", 4);
        CHECK(abandoned.TemporaryPath().starts_with(strPath + '.'));
    }
    CHECK(folder.Count() == 1);
    // Two writers do not mix, and the last to commit stands.
    Util::AtomicFile first(strPath), second(strPath);
    first.Write("11", 2);
    CHECK(Slurp(strPath) == "old");
    second.Write("2", 1);
    second.Commit();
    CHECK(Slurp(strPath) == "2");
    first.Write("1", 1);
    first.Commit();
    CHECK(Slurp(strPath) == "111");
    Util::WriteFileAtomically(strPath, std::vector<std::uint8_t>{'a', 0, 'b'});
    CHECK(Slurp(strPath) == std::string("a\0b", 3));
    Util::WriteFileAtomically(strPath, {});
    CHECK(Slurp(strPath).empty());
    CHECK(folder.Count() == 1);
}

TEST_CASE("AtomicFile: a replacement that fails leaves the target and removes the temporary file") {
    // A folder with something in it can't be replaced by a file.
    const Test::TempFolder target;
    Spill(target.File("inside"), "kept");
    std::string strTemporary;
    CHECK(FailureOf([&] {
              Util::AtomicFile file(target.Path());
              strTemporary = file.TemporaryPath();
              file.Commit();
          }) == "Rename failed | Unexpected error");
    CHECK(Slurp(target.File("inside")) == "kept");
    CHECK_FALSE(std::filesystem::exists(strTemporary));
    CHECK(FailureOf([&] { Util::WriteFileAtomically(target.File("no/such/folder"), {}); }) ==
          "Error opening file | File not found");
}
