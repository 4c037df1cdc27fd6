#include "hvBase/Util/Text.h"

#include <doctest/doctest.h>

using Util::Format;

TEST_CASE("Format fills numbered placeholders, no other percent sign; Hex has no leading zeros") {
    CHECK(Format("%2 before %1, %1 again", 4, 7u) == "7 before 4, 4 again");
    CHECK(Format("100% of %1 %", "9") == "100% of 9 %");
    CHECK(Format("%1 and %2", "only one") == "only one and %2");
    CHECK(Format("%1%2", "%2", -2147483648LL) == "%2-2147483648");
    CHECK(Util::Hex(0) == "0");
    CHECK(Util::Hex(0xABCDEF05ull << 32) == "abcdef0500000000");
}
