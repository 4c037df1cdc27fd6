#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "dsp/meter/AutoNormalize.h"
#include "dsp/meter/Bit.h"
#include "dsp/meter/Level.h"
#include "dsp/meter/Phase.h"
#include "dsp/meter/Spectrum.h"
#include "dsp/meter/SpectrumState.h"
#include "tests/support/TestContext.h"

using namespace DSP::Meter;

namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// The entries as a number of 23 bits, entry 1 the highest.
std::uint32_t Pattern(const Bit& bit, std::uint32_t uChannel) {
    std::uint32_t uPattern = 0;
    for (std::uint32_t k = 1; k < Bit::kEntries; ++k)
        uPattern = uPattern << 1 | bit.Bits(uChannel)[k];
    return uPattern;
}

}  // namespace

TEST_CASE("Bit: the first sample of a block shows the bits of its rounded magnitude, mono shows them twice") {
    Test::TestContext context;
    Bit bit(context);
    struct Case {
        float fSample;
        std::uint32_t uPattern;
    };
    const float fStep = std::ldexp(1.0f, -23);
    for (const Case c :
         {Case{0.0f, 0}, Case{0.5f, 0x400000}, Case{-0.5f, 0x400000}, Case{0.75f, 0x600000}, Case{fStep, 1},
          Case{-3 * fStep, 3}, Case{0.5f * fStep, 1}, Case{std::nextafter(0.5f * fStep, 0.0f), 0},
          Case{1.0f - fStep, 0x7fffff}, Case{1.0f - 0.5f * fStep, 0}, Case{1.0f, 0}, Case{2.0f, 0},
          Case{-1.0f, 0}, Case{kInfinity, 0}, Case{kNan, 0}}) {
        CAPTURE(c.fSample);
        const float left[] = {c.fSample, 0.3f}, right[] = {0.25f, 0.3f};
        bit.Measure(2, left, right);
        CHECK(Pattern(bit, 0) == c.uPattern);
        CHECK(Pattern(bit, 1) == 0x200000);
        CHECK(bit.Bits(0)[0] == 0);
        bit.Measure(2, left, nullptr);
        CHECK(Pattern(bit, 1) == c.uPattern);
        // No frames are no reading.
        CHECK(bit.TakeNewData());
        bit.Measure(0, right, right);
        CHECK(Pattern(bit, 0) == c.uPattern);
        CHECK_FALSE(bit.TakeNewData());
    }
}

TEST_CASE(
    "AutoNormalize brings the highest magnitude since it was cleared to the target, in the gain's range") {
    using Source = AutoNormalize::Source;
    using Unit = AutoNormalize::Unit;
    Test::TestContext context;
    DSP::Gain gain(context);
    AutoNormalize normalize(context);
    CHECK_FALSE(normalize.Apply(gain, Source::Input, 100, Unit::Percent));
    const float quiet[] = {0.1f, -0.2f}, negative[] = {-0.5f, -0.25f};
    normalize.MeasureInput(2, quiet, nullptr);
    CHECK(normalize.InputPeak() == 0.2f);
    normalize.MeasureInput(2, quiet, negative);
    normalize.MeasureInput(2, quiet, nullptr);
    normalize.MeasureInput(0, quiet, nullptr);
    CHECK(normalize.InputPeak() == 0.5f);
    CHECK(normalize.OutputPeak() == 0.0f);
    const float bad[] = {kNan, 0.2f}, endless[] = {-kInfinity, 0.25f};
    normalize.MeasureOutput(2, bad, endless);
    CHECK(normalize.OutputPeak() == 0.25f);

    struct Case {
        Source source;
        float fTarget;
        Unit unit;
        double fGainDb;
    };
    const Case cases[] = {{Source::Input, 80, Unit::Percent, 20 * std::log10(1.6)},
                          {Source::Output, -6, Unit::Decibels, 20 * std::log10(4.0) - 6},
                          {Source::Output, 100, Unit::Percent, 10},
                          {Source::Input, 0, Unit::Percent, -144}};
    for (const Case& c : cases) {
        REQUIRE(normalize.Apply(gain, c.source, c.fTarget, c.unit));
        CAPTURE(c.fGainDb);
        for (const std::uint32_t i : {0u, 1u}) {
            const std::uint32_t uFirst = c.source == Source::Input ? 1 : 3;
            CHECK(double{gain.GetFloat(uFirst + i)} == doctest::Approx(c.fGainDb).epsilon(1e-6));
        }
    }
    CHECK_FALSE(normalize.Apply(gain, Source::Input, kNan, Unit::Decibels));
    normalize.Clear();
    CHECK(normalize.InputPeak() == 0.0f);
    CHECK(normalize.OutputPeak() == 0.0f);
}

TEST_CASE("A meter is active while its own switch and the engine's are on, and asks for the update") {
    Test::TestContext context;
    Level level(context);
    SpectrumState state(context);
    Spectrum spectrum(context, state);
    Phase phase(context);
    Bit bit(context);
    AutoNormalize normalize(context);
    for (Component* component : {static_cast<Component*>(&level), static_cast<Component*>(&bit)}) {
        CAPTURE(component->Name());
        CHECK(component->IsActive());
        component->SetMetersEnabled(false);
        CHECK_FALSE(component->IsActive());
        component->SetMetersEnabled(true);
        const int nRequests = context.nActivityRequests;
        component->SetBool(0, false);
        CHECK_FALSE(component->IsActive());
        CHECK(context.nActivityRequests == nRequests + 1);
        component->SetBool(1, false);
        component->SetPresetChanging(true);
        component->SetBool(0, true);
        CHECK(context.nActivityRequests == nRequests + 1);
    }
    phase.SetBool(0, false);
    CHECK(phase.IsActive());
    phase.SetBool(2, false);
    CHECK_FALSE(phase.IsActive());

    state.SetBool(2, false);
    CHECK(spectrum.IsActive());
    state.SetBool(3, false);
    CHECK_FALSE(spectrum.IsActive());
    state.SetBool(2, true);
    spectrum.SetMetersEnabled(false);
    CHECK_FALSE(spectrum.IsActive());

    CHECK_FALSE(normalize.IsActive());
    normalize.SetEnabled(true);
    CHECK(normalize.IsActive());
}
