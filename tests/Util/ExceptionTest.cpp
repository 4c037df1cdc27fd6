#include "hvBase/Util/Exception.h"

#include <doctest/doctest.h>

#include <cerrno>
#include <string>
#include <type_traits>

#include "hvBase/Util/SystemError.h"
#include "hvBase/Util/Text.h"

namespace {

// As other rooms derive theirs.
class Delivery : public Exception::Base {
public:
    explicit Delivery(std::string strMessage,
                      Exception::SourcePlace place = Exception::SourcePlace::Current())
        : Base(std::move(strMessage), place) {}
    std::string Text() const override { return Base::Text() + "\nDelivery: 0x80004005"; }
};

std::string Head(const Exception::Base& failure, int nLine) {
    return Util::Format("ExceptionTest.cpp (%1): Thrown, GetLastError(): %2\n", nLine, failure.SystemError());
}

}  // namespace

TEST_CASE("Exception: the text names the throwing file and line, then the message, each line indented") {
    const Exception::Base plain("One");
    const int nLine = __LINE__ - 1;
    CHECK(plain.Text() == Head(plain, nLine) + "Base:\n\tOne");
    CHECK(std::string(plain.what()) == "One");
    CHECK(plain.Line() == nLine);
    CHECK(plain.File() == "ExceptionTest.cpp");

    const Exception::Base lines("One\nTwo\n\nThree\n");
    CHECK(lines.Text() == Head(lines, __LINE__ - 1) + "Base:\n\tOne\n\tTwo\n\t\n\tThree\n");
}

TEST_CASE("Exception: a derived class tells its own place and appends its own lines") {
    const Delivery delivery("Lost");
    CHECK(delivery.Text() == Head(delivery, __LINE__ - 1) + "Base:\n\tLost\nDelivery: 0x80004005");

    const Util::Exception::DataStreamIO stream("Cut");
    CHECK(stream.Text() == Head(stream, __LINE__ - 1) + "Base:\n\tCut\nDataStreamIO\n");

    const Util::Exception::FileIO file(Util::Exception::FileIO::Code::Close, "Close failed");
    CHECK(file.Text() == Head(file, __LINE__ - 1) + "Base:\n\tClose failed\nFileIO:\nClose error");

    // Whoever catches the root hears the whole text.
    try {
        throw Delivery("Lost");
    } catch (const Exception::Base& failure) {
        CHECK(failure.Text().ends_with("\nDelivery: 0x80004005"));
    }
}

TEST_CASE("Exception: every file code has its words, and no other number has any") {
    using Util::Exception::FileIO;
    const struct {
        int nCode;
        const char* words;
    } table[] = {{0, "File not found"}, {1, "Open error"},     {2, "Read error"},     {3, "Write error"},
                 {4, "Close error"},    {5, "Remove error"},   {6, " Unknown error"}, {7, "Unexpected error"},
                 {8, " Unknown error"}, {-1, " Unknown error"}};
    for (const auto& row : table) {
        CAPTURE(row.nCode);
        CHECK(FileIO::Reason(static_cast<FileIO::Code>(row.nCode)) == row.words);
    }
}

TEST_CASE("Exception: the system error is the one at the throw, whatever happens later") {
#ifndef _WIN32
    errno = 28;
#endif
    const auto uBefore = Util::LastSystemError();
    const Exception::Base failure("Full");
    errno = 2;
    CHECK(failure.SystemError() == uBefore);
    CHECK(failure.Text().find(Util::Format("GetLastError(): %1\n", uBefore)) != std::string::npos);
}

TEST_CASE("Exception: the words of a failure outlive what threw it") {
    std::exception_ptr kept;
    try {
        throw Util::Exception::DataStreamIO(std::string(1000, 'x'));
    } catch (...) {
        kept = std::current_exception();
    }
    CHECK_THROWS_WITH(std::rethrow_exception(kept), std::string(1000, 'x').c_str());
    static_assert(std::is_copy_constructible_v<Util::Exception::FileIO>);
}
