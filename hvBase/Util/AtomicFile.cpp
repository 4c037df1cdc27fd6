#include "hvBase/Util/AtomicFile.h"

#include <atomic>

#include "hvBase/Util/FilePort.h"
#include "hvBase/Util/Text.h"

namespace Util {

namespace {

// With the process's number it tells all writers of one target apart.
std::atomic<std::uint32_t> g_uNextFile{0};

}  // namespace

AtomicFile::AtomicFile(const std::string& strPath)
    : m_strTarget(strPath),
      m_strTemporary(Format("%1.%2-%3.tmp", strPath, FilePort::ProcessNumber(), g_uNextFile++)) {
    m_file.Open(m_strTemporary, File::kWrite);
}

AtomicFile::~AtomicFile() {
    if (m_bCommitted) return;
    // Nothing can be told from here: what led here has its own exception under way, and a temporary
    // file left over does no harm.
    try {
        m_file.Close();
    } catch (...) {
    }
    try {
        File::Remove(m_strTemporary);
    } catch (...) {
    }
}

void AtomicFile::Commit() {
    m_file.Flush();
    m_file.Close();
    File::Rename(m_strTemporary, m_strTarget);
    m_bCommitted = true;
}

void WriteFileAtomically(const std::string& strPath, std::span<const std::uint8_t> bytes) {
    AtomicFile file(strPath);
    file.Write(bytes.data(), bytes.size());
    file.Commit();
}

}  // namespace Util
