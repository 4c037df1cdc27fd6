#include "hvBase/Util/Exception.h"

#include <doctest/doctest.h>

#include <cerrno>
#include <exception>
#include <string>

#include "hvBase/Util/SystemError.h"
#include "hvBase/Util/Text.h"

namespace {

std::string Head(const Exception::Base& failure, int nLine) {
    return Util::Format("ExceptionTest.cpp (%1): Thrown, GetLastError(): %2\n", nLine, failure.SystemError());
}

}  // namespace

TEST_CASE("Exception: the text names the throwing place, then the message, then what a derived class adds") {
    const Exception::Base plain("One");
    const int nLine = __LINE__ - 1;
    CHECK(plain.Text() == Head(plain, nLine) + "Base:\n\tOne");
    CHECK(std::string(plain.what()) == "One");
    CHECK(plain.Line() == nLine);
    CHECK(plain.File() == "ExceptionTest.cpp");

    const Exception::Base lines("One\nTwo\n\nThree\n");
    CHECK(lines.Text() == Head(lines, __LINE__ - 1) + "Base:\n\tOne\n\tTwo\n\t\n\tThree\n");

    const Util::Exception::DataStreamIO stream("Cut");
    CHECK(stream.Text() == Head(stream, __LINE__ - 1) + "Base:\n\tCut\nDataStreamIO\n");

    const Util::Exception::FileIO file(Util::Exception::FileIO::Code::Close, "Close failed");
    CHECK(file.Text() == Head(file, __LINE__ - 1) + "Base:\n\tClose failed\nFileIO:\nClose error");
}

TEST_CASE("Exception: every file code has its words, and no other number has any") {
    using Util::Exception::FileIO;
    const char* const words[] = {" Unknown error",   "File not found", "Open error",   "Read error",
                                 "Write error",      "Close error",    "Remove error", " Unknown error",
                                 "Unexpected error", " Unknown error"};
    for (int i = 0; i < 10; ++i) {
        CAPTURE(i);
        CHECK(FileIO::Reason(static_cast<FileIO::Code>(i - 1)) == words[i]);
    }
}

TEST_CASE("Exception: words and system error are those of the throw, whatever happens later") {
#ifndef _WIN32
    errno = 28;
#endif
    const auto uBefore = Util::LastSystemError();
    std::exception_ptr kept;
    try {
        throw Util::Exception::DataStreamIO(std::string(1000, 'x'));
    } catch (...) {
        kept = std::current_exception();
    }
    errno = 2;
    try {
        std::rethrow_exception(kept);
    } catch (const Exception::Base& failure) {
        CHECK(failure.SystemError() == uBefore);
        CHECK(failure.Text().find(Util::Format("GetLastError(): %1\n", uBefore)) != std::string::npos);
        CHECK(failure.what() == std::string(1000, 'x'));
    }
}
