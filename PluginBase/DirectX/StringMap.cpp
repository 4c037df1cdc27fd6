#include "PluginBase/DirectX/StringMap.h"

#include <iterator>

namespace {

constexpr std::int32_t kControllers = 128;
constexpr std::int32_t kParameterNumbers = 16384;  ///< 14 bits
constexpr std::int32_t kVolume = 7;

}  // namespace

void StringMap::Set(std::int32_t nNumber, std::string strName) {
    if (nNumber < 0 || nNumber >= m_nMaxNames) return;
    m_names[nNumber] = std::move(strName);
}

const std::string* StringMap::Find(std::int32_t nNumber) const {
    const auto found = m_names.find(nNumber);
    return found == m_names.end() ? nullptr : &found->second;
}

const std::pair<const std::int32_t, std::string>* StringMap::At(std::int32_t nPosition) const {
    if (nPosition < 0 || nPosition >= Count()) return nullptr;
    return &*std::next(m_names.begin(), nPosition);
}

StringMap ControllerNames() {
    StringMap names("Controllers", kControllers);
    for (std::int32_t i = 0; i < kControllers; ++i)
        names.Set(i, i == kVolume ? "Volume" : "");
    return names;
}

StringMap RpnNames() {
    return StringMap("RPNs", kParameterNumbers);
}

StringMap NrpnNames() {
    return StringMap("NRPNs", kParameterNumbers);
}
