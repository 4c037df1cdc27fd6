#include "hvBase/Util/SettingsStore.h"

namespace Util {

std::string SettingsStore::GetText(const std::string& strName, std::string_view defaultText) {
    std::string strText;
    return GetText(strName, strText) ? strText : std::string(defaultText);
}

}  // namespace Util
