#pragma once

#include <cstdint>
#include <string>

#include "hvBase/Util/Exception.h"

namespace Exception {

/// The host did not take a block: a delivery buffer could not be had, filled in or measured. Thrown and
/// caught inside the filter, whose entry point gives the code back to the host.
class Delivery : public Base {
public:
    /// nResult is an HRESULT.
    Delivery(std::int32_t nResult, std::string strMessage, SourcePlace place = SourcePlace::Current());

    std::int32_t Result() const noexcept { return m_nResult; }

    /// Appends "\nDelivery: 0x" and the code in hexadecimal.
    std::string Text() const override;

private:
    std::int32_t m_nResult;
};

}  // namespace Exception
