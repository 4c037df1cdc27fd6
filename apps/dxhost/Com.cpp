#include "apps/dxhost/Com.h"

#include <cstdint>

#include "hvBase/Util/Text.h"

namespace DxHost {

Failure::Failure(HRESULT hr, const std::string& strWhat, ::Exception::SourcePlace place)
    : Base(Util::Format("%1: 0x%2", strWhat, Util::Hex(static_cast<std::uint32_t>(hr))), place), m_hr(hr) {}

HRESULT Check(HRESULT hr, const char* what, ::Exception::SourcePlace place) {
    if (FAILED(hr)) throw Failure(hr, what, place);
    return hr;
}

}  // namespace DxHost
