#include "PluginBase/Preset/Exception.h"

#include "hvBase/Util/Text.h"

namespace Preset::Exception {

std::string Located::Text() const {
    return Base::Text() +
           Util::Format("\nPreset: %1 (%2, %3)\n", m_place.strPath, m_place.nRow, m_place.nColumn);
}

std::string Parse::Text() const {
    return Located::Text() + "FileIO:\n" + std::string(Util::Exception::FileIO::Reason(kCode));
}

Version::Version(const std::string& strFound, const std::string& strExpected, FilePlace where,
                 ::Exception::SourcePlace place)
    : Parse(Util::Format("Invalid preset file version, %1. Expected %2.", strFound, strExpected),
            std::move(where), place) {}

}  // namespace Preset::Exception
