#pragma once

#include <string>

#include "hvBase/Util/DataStream.h"
#include "hvBase/Util/File.h"

namespace Util {

/// A typed stream over a file.
///
/// Failures: opening, extracting and inserting throw Util::Exception::DataStreamIO; closing and the
///           position operations throw Util::Exception::FileIO. Callers catch both.
class FileStream : public DataStream {
public:
    FileStream() noexcept = default;
    /// Opens at once. Throws as Open.
    FileStream(const std::string& strPath, std::uint32_t uMode);

    /// The flags are File::Mode. Throws "Can't open file: %1" with the whole text of the failure.
    void Open(const std::string& strPath, std::uint32_t uMode);
    bool IsOpen() const noexcept { return m_file.IsOpen(); }
    /// Call it after writing: only here the last failure of a write can show.
    void Close() { m_file.Close(); }

    std::uint64_t Tell() override { return m_file.Tell(); }
    void Seek(std::uint64_t uPosition) override { m_file.Seek(uPosition); }
    std::uint64_t Length() override { return m_file.Length(); }

protected:
    void ReadRaw(void* data, std::size_t uBytes) override { m_file.Read(data, uBytes); }
    void WriteRaw(const void* data, std::size_t uBytes) override { m_file.Write(data, uBytes); }

private:
    File m_file;
};

}  // namespace Util
