#pragma once

#include "PluginBase/Preset/PresetFileBase.h"

namespace Preset {

/// The preset files of this product. It recognises files of other format versions, newer and older, and
/// refuses them: none has been in use that could be converted.
class PresetFile final : public PresetFileBase {
public:
    using PresetFileBase::PresetFileBase;

private:
    Content ReadOtherVersion(const std::string& strText, const Exception::Version& refusal) const override;
};

}  // namespace Preset
