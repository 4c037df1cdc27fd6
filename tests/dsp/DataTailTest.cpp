#include "dsp/DataTail.h"

#include <doctest/doctest.h>

#include "tests/support/ModuleRun.h"

TEST_CASE("DataTail keeps its tail through drops and growth, and starts from silence") {
    DSP::DataTail tail;
    tail.SetUp(2, 2, 8, 5);
    CHECK(tail.Capacity() == 13);
    const auto input = Test::StereoNoise(3, 40);
    for (std::size_t u = 0; u < 40; u += 8) {
        if (u == 16) tail.Grow(100);
        CHECK(tail.Fill() == 5);
        const float* inputs[] = {input.left.data() + u, input.right.data() + u};
        tail.Append(inputs, 8);
        CHECK(tail.Fill() == 13);
        for (std::size_t i = 0; i < 13; ++i) {
            REQUIRE(tail.Data(0)[i] == (u + i < 5 ? 0.0f : input.left[u + i - 5]));
            REQUIRE(tail.Data(1)[i] == (u + i < 5 ? 0.0f : input.right[u + i - 5]));
        }
        tail.Drop(8);
    }
    CHECK(tail.Capacity() == 105);
    tail.Reset();
    CHECK(tail.Fill() == 5);
    CHECK(tail.Data(1)[4] == 0.0f);

    // More than there is room for is not taken; a tail of nothing at all still has a sample.
    DSP::DataTail tiny;
    tiny.SetUp(1, 1, -3, 0);
    CHECK(tiny.Capacity() == 1);
    const float* inputs[] = {input.left.data()};
    for (int i = 0; i < 2; ++i) {
        tiny.Append(inputs, 5);
        CHECK(tiny.Fill() == 1);
    }
}
