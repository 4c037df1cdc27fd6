#include "hvBase/Util/File.h"

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/FilePort.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"

namespace Util {

using Exception::FileIO;

File::~File() {
    if (m_file) std::fclose(m_file);
}

std::string File::ModeText(std::uint32_t uMode) {
    const bool bRead = (uMode & (kRead | kReadWrite)) != 0;
    const bool bWrite = (uMode & (kWrite | kReadWrite)) != 0;
    const bool bAppend = (uMode & kAppend) != 0;

    std::string strMode = "r";
    if (bRead && bWrite) {
        strMode = (uMode & kTruncate) != 0 ? "w+" : bAppend ? "a+" : "r+";
    } else if (bWrite) {
        strMode = bAppend ? "a" : "w";
    }
    return strMode + ((uMode & kText) != 0 ? 't' : 'b');
}

void File::Open(const std::string& strPath, std::uint32_t uMode) {
    Close();
    bool bMissing = false;
    m_file = FilePort::Open(ExpandHome(strPath), ModeText(uMode), bMissing);
    m_last = Last::None;
    if (!m_file) throw FileIO(bMissing ? FileIO::Code::NotFound : FileIO::Code::Open, "Error opening file");
}

void File::Close() {
    if (!m_file) return;
    std::FILE* const file = m_file;
    m_file = nullptr;
    // What failed before said so when it failed. Not every C library forgets it by itself, and closing would
    // fail for it once more.
    std::clearerr(file);
    if (std::fclose(file) != 0) throw FileIO(FileIO::Code::Close, "Close failed");
}

void File::Read(void* data, std::size_t uBytes) {
    if (!m_file) {
        throw FileIO(FileIO::Code::Read, Format("Attempt to read %1 bytes when not open", uBytes));
    }
    if (uBytes == 0) return;
    Turn(Last::Read);
    const std::size_t uDone = std::fread(data, 1, uBytes, m_file);
    if (uDone != uBytes) {
        throw FileIO(FileIO::Code::Read,
                     Format("Attempt to read %1 bytes, only read %2 bytes", uBytes, uDone));
    }
}

void File::Write(const void* data, std::size_t uBytes) {
    if (!m_file) {
        throw FileIO(FileIO::Code::Write, Format("Attempt to write %1 bytes when not open", uBytes));
    }
    if (uBytes == 0) return;
    Turn(Last::Write);
    const std::size_t uDone = std::fwrite(data, 1, uBytes, m_file);
    if (uDone != uBytes) {
        throw FileIO(FileIO::Code::Write,
                     Format("Attempt to write %1 bytes, only wrote %2 bytes", uBytes, uDone));
    }
}

void File::Flush() {
    if (m_file && !FilePort::FlushToDisk(m_file)) throw FileIO(FileIO::Code::Write, "Flush failed");
}

void File::Seek(std::uint64_t uPosition) {
    if (!m_file) {
        throw FileIO(FileIO::Code::Unexpected, Format("Attempt to seek to %1 when not open", uPosition));
    }
    m_last = Last::None;
    if (!FilePort::SeekTo(m_file, uPosition)) {
        throw FileIO(FileIO::Code::Unexpected, Format("Seek to %1 failed", uPosition));
    }
}

std::uint64_t File::Tell() {
    if (!m_file) throw FileIO(FileIO::Code::Unexpected, "Attempt to tell the position when not open");
    const std::int64_t nPosition = FilePort::Position(m_file);
    if (nPosition < 0) throw FileIO(FileIO::Code::Unexpected, "Tell failed");
    return static_cast<std::uint64_t>(nPosition);
}

std::uint64_t File::Length() {
    const std::uint64_t uPosition = Tell();
    m_last = Last::None;
    if (!FilePort::SeekToEnd(m_file)) throw FileIO(FileIO::Code::Unexpected, "Seek to end failed");
    const std::uint64_t uLength = Tell();
    Seek(uPosition);
    return uLength;
}

void File::Remove(const std::string& strPath) {
    if (!FilePort::RemoveFile(ExpandHome(strPath))) throw FileIO(FileIO::Code::Remove, "Remove failed");
}

void File::Rename(const std::string& strFrom, const std::string& strTo) {
    if (!FilePort::RenameOver(ExpandHome(strFrom), ExpandHome(strTo))) {
        throw FileIO(FileIO::Code::Unexpected, "Rename failed");
    }
}

void File::Turn(Last next) {
    if (m_last != Last::None && m_last != next) Seek(Tell());
    m_last = next;
}

}  // namespace Util
