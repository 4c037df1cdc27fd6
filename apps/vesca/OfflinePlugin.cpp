#include "apps/vesca/OfflinePlugin.h"

#include "hvBase/Util/MemorySettingsStore.h"

namespace App {

OfflinePlugin::OfflinePlugin() : Plugin(std::make_unique<Util::MemorySettingsStore>()) {}

}  // namespace App
