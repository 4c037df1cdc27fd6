#include <doctest/doctest.h>

#include "tests/cli/VescaTest.h"

using Test::Contains;

TEST_CASE("selftest: every check passes on this machine, and each says what it measured") {
    const auto result = Test::Vesca({"selftest"});
    INFO(result.strOutput);
    CHECK(result.nExitCode == 0);
    for (const char* const name : {"latency", "null", "ceiling", "dither", "loudness", "determinism"})
        CHECK(Contains(result.strOutput, name));
    CHECK_FALSE(Contains(result.strOutput, "FAIL"));
    CHECK(Contains(result.strOutput, "SCALAR"));
    CHECK(Contains(result.strOutput, "All 6 checks passed."));
}
