#include "apps/vesca/WholeFile.h"

#include <system_error>

#include "apps/vesca/CommandError.h"
#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/File.h"
#include "hvBase/Util/Text.h"

namespace App {

namespace {

constexpr std::uint64_t kMostBytes = std::uint64_t{64} << 20;

}  // namespace

std::string FailureReason(const Util::Exception::FileIO& failure) {
    if (failure.SystemError() == 0) return std::string(Util::Exception::FileIO::Reason(failure.ErrorCode()));
    return std::system_category().message(static_cast<int>(failure.SystemError()));
}

std::vector<std::uint8_t> ReadWholeFile(const std::string& strPath) {
    try {
        Util::File file;
        file.Open(strPath, Util::File::kRead);
        const std::uint64_t uLength = file.Length();
        if (uLength > kMostBytes)
            throw FileFailure(Util::Format("can't read %1: it is not a file of at most 64 MB", strPath));
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(uLength));
        if (!bytes.empty()) file.Read(bytes.data(), bytes.size());
        return bytes;
    } catch (const Util::Exception::FileIO& failure) {
        throw FileFailure(Util::Format("can't read %1: %2", strPath, FailureReason(failure)));
    }
}

void WriteWholeFile(const std::string& strPath, std::span<const std::uint8_t> bytes) {
    try {
        Util::WriteFileAtomically(strPath, bytes);
    } catch (const Util::Exception::FileIO& failure) {
        throw FileFailure(Util::Format("can't write %1: %2", strPath, FailureReason(failure)));
    }
}

void WriteWholeFile(const std::string& strPath, const std::string& strText) {
    WriteWholeFile(strPath, std::span(reinterpret_cast<const std::uint8_t*>(strText.data()), strText.size()));
}

}  // namespace App
