#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <string_view>

namespace Exception {

/// Where an exception was made. As the last, defaulted argument of a constructor it is the place of
/// the `throw`; hand it on from a derived class:
///
///     explicit Delivery(std::string strMessage, SourcePlace place = SourcePlace::Current());
struct SourcePlace {
    const char* file = "";
    int nLine = 0;

    /// The caller's place. Only the default arguments may stand; give none.
    static constexpr SourcePlace Current(const char* file = __builtin_FILE(),
                                         int nLine = __builtin_LINE()) noexcept {
        return {file, nLine};
    }
};

/// The root of all failures of the system: a message, the place of the throw and the last system
/// error at that moment.
///
/// A class derived from it overrides Text, calls its parent's and appends lines of its own:
///
///     std::string Text() const override { return Base::Text() + "\nInvalidHistoryFile\n"; }
class Base : public std::exception {
public:
    explicit Base(std::string strMessage, SourcePlace place = SourcePlace::Current());

    /// The whole report: "file (line): Thrown, GetLastError(): error", a section "Base:" with the
    /// message, each of its lines indented by a tab, then what derived classes append.
    virtual std::string Text() const;

    /// The message alone, owned by the exception.
    const char* what() const noexcept override { return m_strMessage.c_str(); }
    const std::string& Message() const noexcept { return m_strMessage; }

    /// The source file's name without its folders, so that a report says nothing of the machine
    /// that built the program.
    const std::string& File() const noexcept { return m_strFile; }
    int Line() const noexcept { return m_nLine; }

    /// Util::LastSystemError() at construction.
    std::uint32_t SystemError() const noexcept { return m_uSystemError; }

private:
    // First of all members: building the texts may touch the system's value.
    std::uint32_t m_uSystemError;
    std::string m_strMessage;
    std::string m_strFile;
    int m_nLine;
};

}  // namespace Exception

namespace Util::Exception {

/// A file could not be opened, moved in, read, written, closed, removed or renamed.
class FileIO : public ::Exception::Base {
public:
    enum class Code : int {
        NotFound = 0,
        Open = 1,
        Read = 2,
        Write = 3,
        Close = 4,
        Remove = 5,
        Unexpected = 7,
    };

    FileIO(Code code, std::string strMessage,
           ::Exception::SourcePlace place = ::Exception::SourcePlace::Current());

    Code ErrorCode() const noexcept { return m_code; }

    /// The words for a code, for example "File not found"; " Unknown error" for one without words.
    static std::string_view Reason(Code code) noexcept;

    /// Appends "\nFileIO:\n" and the reason.
    std::string Text() const override;

private:
    Code m_code;
};

/// A stream could not deliver or take an element; the message says which, and ends with the whole
/// text of the failure below.
class DataStreamIO : public ::Exception::Base {
public:
    explicit DataStreamIO(std::string strMessage,
                          ::Exception::SourcePlace place = ::Exception::SourcePlace::Current());

    /// Appends "\nDataStreamIO\n".
    std::string Text() const override;
};

}  // namespace Util::Exception
