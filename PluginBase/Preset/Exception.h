#pragma once

#include <string>

#include "hvBase/Util/Exception.h"

namespace Preset::Exception {

/// Where in a preset file something is wrong. Rows and columns count from 1; 0 means that the place is
/// unknown.
struct FilePlace {
    std::string strPath;
    int nRow = 0;
    int nColumn = 0;
};

/// A preset file holds something that can't be taken. The message is the reason alone; the place in the file
/// comes with it.
class Located : public ::Exception::Base {
public:
    const FilePlace& Place() const noexcept { return m_place; }

    /// Appends "\nPreset: path (row, column)\n".
    std::string Text() const override;

protected:
    Located(std::string strMessage, FilePlace where, ::Exception::SourcePlace place)
        : Base(std::move(strMessage), place), m_place(std::move(where)) {}

private:
    FilePlace m_place;
};

/// The file is no XML, or not made as a preset is.
class Parse : public Located {
public:
    Parse(std::string strMessage, FilePlace where,
          ::Exception::SourcePlace place = ::Exception::SourcePlace::Current())
        : Located(std::move(strMessage), std::move(where), place) {}

    /// The code that file failures have for this.
    static constexpr auto kCode = Util::Exception::FileIO::Code::Unexpected;

    /// Appends the code's words.
    std::string Text() const override;
};

/// The file is a preset of a format version that the reader does not know.
class Version : public Parse {
public:
    /// The versions as texts: what the file says, and what the reader knows.
    Version(const std::string& strFound, const std::string& strExpected, FilePlace where,
            ::Exception::SourcePlace place = ::Exception::SourcePlace::Current());
};

/// A parameter's value has no meaning in the kind of its parameter.
class Value : public Located {
public:
    Value(std::string strMessage, FilePlace where,
          ::Exception::SourcePlace place = ::Exception::SourcePlace::Current())
        : Located(std::move(strMessage), std::move(where), place) {}
};

}  // namespace Preset::Exception
