#include "dsp/meter/Bit.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "tests/support/TestContext.h"

using DSP::Meter::Bit;

namespace {

/// The entries as a number of 23 bits, entry 1 the highest.
std::uint32_t Pattern(const Bit& bit, std::uint32_t uChannel) {
    std::uint32_t uPattern = 0;
    for (std::uint32_t k = 1; k < Bit::kEntries; ++k)
        uPattern = uPattern << 1 | bit.Bits(uChannel)[k];
    return uPattern;
}

}  // namespace

TEST_CASE("Bit: a sample shows the bits of its rounded magnitude") {
    Test::TestContext context;
    Bit bit(context);
    struct Case {
        float fSample;
        std::uint32_t uPattern;
    };
    const float fStep = std::ldexp(1.0f, -23);
    for (const Case c : {Case{0.0f, 0}, Case{0.5f, 0x400000}, Case{-0.5f, 0x400000}, Case{0.75f, 0x600000},
                         Case{fStep, 1}, Case{-3 * fStep, 3}, Case{0.5f * fStep, 1}, Case{0.49f * fStep, 0},
                         Case{1.0f - fStep, 0x7fffff}, Case{1.0f - 0.5f * fStep, 0}, Case{1.0f, 0},
                         Case{2.0f, 0}, Case{-1.0f, 0}, Case{std::numeric_limits<float>::infinity(), 0},
                         Case{std::numeric_limits<float>::quiet_NaN(), 0}}) {
        CAPTURE(c.fSample);
        const float other = 0.25f;
        bit.Measure(1, &c.fSample, &other);
        CHECK(Pattern(bit, 0) == c.uPattern);
        CHECK(Pattern(bit, 1) == 0x200000);
        CHECK(bit.Bits(0)[0] == 0);
    }
}

TEST_CASE("Bit: a block counts by its first frame, mono shows twice, and no frames are no reading") {
    Test::TestContext context;
    Bit bit(context);
    CHECK_FALSE(bit.TakeNewData());
    const float left[] = {0.5f, 0.25f};
    bit.Measure(2, left, nullptr);
    CHECK(Pattern(bit, 0) == 0x400000);
    CHECK(Pattern(bit, 1) == 0x400000);
    CHECK(bit.TakeNewData());
    CHECK_FALSE(bit.TakeNewData());
    bit.Measure(0, left + 1, nullptr);
    CHECK(Pattern(bit, 0) == 0x400000);
    CHECK_FALSE(bit.TakeNewData());
}
