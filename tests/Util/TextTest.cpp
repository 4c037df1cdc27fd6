#include "hvBase/Util/Text.h"

#include <doctest/doctest.h>

using Util::Format;

TEST_CASE("Format fills numbered placeholders and leaves every other percent sign alone") {
    CHECK(Format("Can't extract %1 bytes at position %2, total size %3", 4, 7u, "9") ==
          "Can't extract 4 bytes at position 7, total size 9");
    CHECK(Format("%2 before %1, %1 again", "a", "b") == "b before a, a again");
    CHECK(Format("100% of %1 %", 5) == "100% of 5 %");
    CHECK(Format("%1 and %2", "only one") == "only one and %2");
    CHECK(Format("%1%2", "%2", "x") == "%2x");
    CHECK(Format("") == "");
    CHECK(Format("%1", -2147483648LL) == "-2147483648");
}

TEST_CASE("Hex writes lower-case digits without leading zeros") {
    CHECK(Util::Hex(0) == "0");
    CHECK(Util::Hex(0x80004005u) == "80004005");
    CHECK(Util::Hex(~0ull) == "ffffffffffffffff");
}
