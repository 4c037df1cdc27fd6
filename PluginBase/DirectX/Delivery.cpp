#include "PluginBase/DirectX/Delivery.h"

#include <utility>

#include "hvBase/Util/Text.h"

namespace Exception {

Delivery::Delivery(std::int32_t nResult, std::string strMessage, SourcePlace place)
    : Base(std::move(strMessage), place), m_nResult(nResult) {}

std::string Delivery::Text() const {
    return Base::Text() + Util::Format("\nDelivery: 0x%1", Util::Hex(static_cast<std::uint32_t>(m_nResult)));
}

}  // namespace Exception
