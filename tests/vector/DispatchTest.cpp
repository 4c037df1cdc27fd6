#include "dsp/vector/Dispatch.h"

#include <doctest/doctest.h>

TEST_CASE("Processor levels: the plain level is always there, and every level can be chosen") {
    const auto levels = DSP::AvailableProcessorLevels();
    REQUIRE(!levels.empty());
    CHECK(levels.back().strName == "SCALAR");
    for (const auto& level : levels) {
        DSP::UseProcessorLevel(level);
        const auto again = DSP::AvailableProcessorLevels();
        CHECK(again.size() == levels.size());
    }
    DSP::UseBestProcessorLevel();
}
