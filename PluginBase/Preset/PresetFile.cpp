#include "PluginBase/Preset/PresetFile.h"

namespace Preset {

Content PresetFile::ReadOtherVersion(const std::string&, const Exception::Version& refusal) const {
    throw refusal;
}

}  // namespace Preset
