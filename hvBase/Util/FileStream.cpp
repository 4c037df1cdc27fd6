#include "hvBase/Util/FileStream.h"

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Text.h"

namespace Util {

FileStream::FileStream(const std::string& strPath, std::uint32_t uMode) {
    Open(strPath, uMode);
}

void FileStream::Open(const std::string& strPath, std::uint32_t uMode) {
    try {
        m_file.Open(strPath, uMode);
    } catch (const Exception::FileIO& failure) {
        throw Exception::DataStreamIO(Format("Can't open file: %1", failure.Text()));
    }
}

}  // namespace Util
