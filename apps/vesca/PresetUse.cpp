#include "apps/vesca/PresetUse.h"

#include "apps/vesca/CommandError.h"
#include "apps/vesca/WholeFile.h"
#include "hvBase/Util/Text.h"

namespace App {

void LoadPreset(Preset::PresetFile& preset, const std::string& strPath) {
    try {
        preset.Load(strPath, true);
    } catch (const Preset::Exception::Located& failure) {
        throw FileFailure(Util::Format("%1 (%2, %3): %4", strPath, failure.Place().nRow,
                                       failure.Place().nColumn, failure.Message()));
    } catch (const Util::Exception::FileIO& failure) {
        throw FileFailure(Util::Format("can't read %1: %2", strPath, FailureReason(failure)));
    }
}

void WritePreset(Preset::PresetFile& preset, const std::string& strPath) {
    try {
        preset.Save(strPath);
    } catch (const Util::Exception::FileIO& failure) {
        throw FileFailure(Util::Format("can't write %1: %2", strPath, FailureReason(failure)));
    }
}

void ApplyPreset(Plugin& plugin, const std::string& strPath) {
    Preset::PresetFile preset(plugin);
    LoadPreset(preset, strPath);
    preset.Apply();
}

void SavePreset(Plugin& plugin, const std::string& strPath) {
    Preset::PresetFile preset(plugin);
    preset.StampUsed();
    preset.StampModified();
    WritePreset(preset, strPath);
}

}  // namespace App
