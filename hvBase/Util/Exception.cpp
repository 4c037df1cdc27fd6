#include "hvBase/Util/Exception.h"

#include <utility>

#include "hvBase/Util/SystemError.h"
#include "hvBase/Util/Text.h"

namespace {

std::string WithoutFolders(std::string_view path) {
    // Both separators whatever the platform: a cross compiler writes its own into the path.
    const auto uSeparator = path.find_last_of("/\\");
    return std::string(uSeparator == std::string_view::npos ? path : path.substr(uSeparator + 1));
}

std::string Indented(std::string_view text) {
    std::string result = "\t";
    for (std::size_t i = 0; i < text.size(); ++i) {
        result += text[i];
        // A line break at the very end closes the last line; no further line begins there.
        if (text[i] == '\n' && i + 1 < text.size()) result += '\t';
    }
    return result;
}

}  // namespace

namespace Exception {

Base::Base(std::string strMessage, SourcePlace place)
    : m_uSystemError(Util::LastSystemError()),
      m_strMessage(std::move(strMessage)),
      m_strFile(WithoutFolders(place.file)),
      m_nLine(place.nLine) {}

std::string Base::Text() const {
    return Util::Format("%1 (%2): Thrown, GetLastError(): %3\n", m_strFile, m_nLine, m_uSystemError) +
           "Base:\n" + Indented(m_strMessage);
}

}  // namespace Exception

namespace Util::Exception {

FileIO::FileIO(Code code, std::string strMessage, ::Exception::SourcePlace place)
    : Base(std::move(strMessage), place), m_code(code) {}

std::string_view FileIO::Reason(Code code) noexcept {
    switch (code) {
        case Code::NotFound:
            return "File not found";
        case Code::Open:
            return "Open error";
        case Code::Read:
            return "Read error";
        case Code::Write:
            return "Write error";
        case Code::Close:
            return "Close error";
        case Code::Remove:
            return "Remove error";
        case Code::Unexpected:
            return "Unexpected error";
    }
    return " Unknown error";
}

std::string FileIO::Text() const {
    return Base::Text() + "\nFileIO:\n" + std::string(Reason(m_code));
}

DataStreamIO::DataStreamIO(std::string strMessage, ::Exception::SourcePlace place)
    : Base(std::move(strMessage), place) {}

std::string DataStreamIO::Text() const {
    return Base::Text() + "\nDataStreamIO\n";
}

}  // namespace Util::Exception
