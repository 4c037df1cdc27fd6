#include "dsp/meter/AutoNormalize.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "tests/support/TestContext.h"

using DSP::Meter::AutoNormalize;
using Source = AutoNormalize::Source;
using Unit = AutoNormalize::Unit;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

struct Fixture {
    Test::TestContext context;
    DSP::Gain gain{context};
    AutoNormalize normalize{context};
};

}  // namespace

TEST_CASE("AutoNormalize keeps the highest magnitude of either channel and sign until it is cleared") {
    Fixture f;
    const float quiet[] = {0.1f, -0.2f};
    const float negative[] = {-0.5f, -0.6f};
    f.normalize.MeasureInput(2, quiet, nullptr);
    CHECK(f.normalize.InputPeak() == 0.2f);
    f.normalize.MeasureInput(2, quiet, negative);
    f.normalize.MeasureInput(2, quiet, nullptr);
    f.normalize.MeasureInput(0, quiet, nullptr);
    CHECK(f.normalize.InputPeak() == 0.6f);
    CHECK(f.normalize.OutputPeak() == 0.0f);
    const float bad[] = {kNan, 0.7f};
    const float endless[] = {-std::numeric_limits<float>::infinity(), 0.8f};
    f.normalize.MeasureOutput(2, bad, endless);
    CHECK(f.normalize.OutputPeak() == 0.8f);
    f.normalize.Clear();
    CHECK(f.normalize.InputPeak() == 0.0f);
    CHECK(f.normalize.OutputPeak() == 0.0f);
}

TEST_CASE("AutoNormalize: the gain brings the source's peak to the target, within the gain's range") {
    Fixture f;
    CHECK_FALSE(f.normalize.GainDb(Source::Input, 100, Unit::Percent));
    CHECK_FALSE(f.normalize.Apply(f.gain, Source::Input, 100, Unit::Percent));
    const float input[] = {0.5f};
    const float output[] = {-0.25f};
    f.normalize.MeasureInput(1, input, nullptr);
    f.normalize.MeasureOutput(1, output, nullptr);
    const auto gainDb = [&](Source source, float fTarget, Unit unit) {
        return double{f.normalize.GainDb(source, fTarget, unit).value()};
    };
    CHECK(gainDb(Source::Input, 80, Unit::Percent) == doctest::Approx(20 * std::log10(1.6)).epsilon(1e-6));
    CHECK(gainDb(Source::Output, -6, Unit::Decibels) ==
          doctest::Approx(20 * std::log10(4.0) - 6).epsilon(1e-6));
    CHECK(gainDb(Source::Output, 100, Unit::Percent) == 10);
    CHECK(gainDb(Source::Input, 0, Unit::Percent) == -144);
    CHECK_FALSE(f.normalize.GainDb(Source::Input, kNan, Unit::Decibels));

    REQUIRE(f.normalize.Apply(f.gain, Source::Output, 50, Unit::Percent));
    for (const std::uint32_t i : {3u, 4u})
        CHECK(double{f.gain.GetFloat(i)} == doctest::Approx(20 * std::log10(2.0)).epsilon(1e-6));
    CHECK(f.gain.GetFloat(1) == 0.0f);
    REQUIRE(f.normalize.Apply(f.gain, Source::Input, 25, Unit::Percent));
    for (const std::uint32_t i : {1u, 2u})
        CHECK(double{f.gain.GetFloat(i)} == doctest::Approx(-20 * std::log10(2.0)).epsilon(1e-6));
}
