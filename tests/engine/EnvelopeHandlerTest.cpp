#include "PluginBase/EnvelopeHandler.h"

#include <doctest/doctest.h>

#include <cmath>

#include "tests/support/CountingAllocator.h"

namespace {

constexpr std::uint32_t kRate = 48000;

/// Ticks of 100 ns for a number of samples at 48 kHz, which is exact for multiples of 3.
std::int64_t Ticks(std::int64_t nSamples) {
    return nSamples * 10'000'000 / kRate;
}

EnvelopeSegment Segment(std::int64_t nFrom, std::int64_t nTo, float fFrom, float fTo, EnvelopeCurve curve) {
    return {Ticks(nFrom), Ticks(nTo), fFrom, fTo, 0, curve};
}

struct Envelope {
    EnvelopeHandler handler{"Test::EnvelopeHandler", 1, 1, 1};

    void Add(const EnvelopeSegment& segment) { handler.AddSegments(ParameterGroup::Float, 0, {&segment, 1}); }

    std::vector<float> Values(std::int64_t nFrom, std::uint32_t uFrames, std::uint32_t uStride,
                              float fCurrent = -1.0f, float fMaxStep = 0.0f) {
        const EnvelopeSpan span{kRate, Ticks(nFrom), uFrames, uStride};
        std::vector<float> values(span.StrideCount(), 99.0f);
        bTouched = handler.EvaluateFloat(0, span, fCurrent, fMaxStep, values);
        return values;
    }

    bool bTouched = false;
};

}  // namespace

TEST_CASE("Envelope curves follow their closed forms at the first frame of each stride") {
    // 0.2 s from 2 to 10: N = 9600 samples, looked at in blocks of 480 with strides of 48.
    const double N = 9600.0;
    const auto closed = [&](EnvelopeCurve curve, double k) {
        const double a = 2.0, b = 10.0;
        switch (curve) {
            case EnvelopeCurve::Jump:
                return a;
            case EnvelopeCurve::Linear:
                return a + (b - a) * k / N;
            case EnvelopeCurve::Square:
                return a + (b - a) * (k * (k - 1)) / (N * (N - 1));
            case EnvelopeCurve::InverseSquare:
                // The square curve seen from its end: it leaves b as the other leaves a.
                return b - (b - a) * ((N - k) * (N - k - 1)) / (N * (N - 1));
        }
        return 0.0;
    };
    for (const auto curve :
         {EnvelopeCurve::Jump, EnvelopeCurve::Linear, EnvelopeCurve::Square, EnvelopeCurve::InverseSquare}) {
        CAPTURE(static_cast<int>(curve));
        Envelope envelope;
        envelope.Add(Segment(960, 960 + 9600, 2.0f, 10.0f, curve));
        double fWorst = 0.0;
        for (std::int64_t nBlock = 960; nBlock < 960 + 9600; nBlock += 480) {
            const auto values = envelope.Values(nBlock, 480, 48);
            CHECK(envelope.bTouched);
            for (std::size_t i = 0; i < values.size(); ++i) {
                const double k = static_cast<double>(nBlock - 960) + 48.0 * static_cast<double>(i);
                fWorst = std::max(fWorst, std::abs(double{values[i]} - closed(curve, k)));
            }
        }
        CHECK(fWorst < 1e-5);
        CHECK(envelope.Values(960 + 9600 + 480, 480, 48) == std::vector<float>(10, 10.0f));
        CHECK_FALSE(envelope.bTouched);
    }
}

TEST_CASE("A curve this system does not know runs as a line") {
    Envelope envelope;
    envelope.Add(Segment(0, 4800, 0.0f, 1.0f, static_cast<EnvelopeCurve>(77)));
    CHECK(envelope.Values(2400, 48, 48)[0] == doctest::Approx(0.5).epsilon(1e-6));
}

TEST_CASE("Without a segment in reach the current value stands, then the last segment's end") {
    Envelope envelope;
    CHECK(envelope.Values(0, 96, 48, 0.25f) == std::vector<float>{0.25f, 0.25f});
    CHECK_FALSE(envelope.bTouched);
    envelope.Add(Segment(4800, 9600, 0.0f, 1.0f, EnvelopeCurve::Linear));
    CHECK(envelope.Values(0, 96, 48, 0.25f) == std::vector<float>{0.25f, 0.25f});
    CHECK_FALSE(envelope.bTouched);
    CHECK(envelope.Values(48000, 96, 48, 0.25f) == std::vector<float>{1.0f, 1.0f});
}

TEST_CASE("A stride that a segment starts in belongs to it, and before it the last value stands") {
    Envelope envelope;
    envelope.Add(Segment(120, 4800, 5.0f, 5.0f, EnvelopeCurve::Linear));
    // Frame 120 lies in the third stride of 50, whose first frame is 100.
    CHECK(envelope.Values(0, 250, 50, 1.0f) == std::vector<float>{1, 1, 5, 5, 5});
    // A start on the last stride's end belongs to the next block.
    CHECK(envelope.Values(0, 120, 50, 1.0f) == std::vector<float>{1, 1, 1});
}

TEST_CASE("A stride of 50 gives three values for a block of 120") {
    Envelope envelope;
    envelope.Add(Segment(0, 1200, 0.0f, 12.0f, EnvelopeCurve::Linear));
    const auto values = envelope.Values(0, 120, 50);
    REQUIRE(values.size() == 3);
    CHECK(values[1] == doctest::Approx(0.5).epsilon(1e-6));
    CHECK(values[2] == doctest::Approx(1.0).epsilon(1e-6));
}

TEST_CASE("A jump holds its start value to the end of the block in which it ends") {
    Envelope envelope;
    envelope.Add(Segment(0, 120, 3.0f, 7.0f, EnvelopeCurve::Jump));
    CHECK(envelope.Values(0, 480, 48) == std::vector<float>(10, 3.0f));
    CHECK(envelope.Values(480, 480, 48) == std::vector<float>(10, 7.0f));
    // Any other curve reaches its end value at once.
    Envelope line;
    line.Add(Segment(0, 96, 3.0f, 7.0f, EnvelopeCurve::Linear));
    CHECK(line.Values(0, 192, 48) == std::vector<float>{3, 5, 7, 7});
}

TEST_CASE(
    "Segments follow one another in time, in whatever order they come, and empty ones are passed over") {
    Envelope envelope;
    envelope.Add(Segment(288, 384, 20.0f, 20.0f, EnvelopeCurve::Linear));
    envelope.Add(Segment(96, 96, 50.0f, 50.0f, EnvelopeCurve::Linear));
    envelope.Add(Segment(48, 96, 10.0f, 10.0f, EnvelopeCurve::Linear));
    CHECK(envelope.Values(0, 480, 48, 1.0f) == std::vector<float>{1, 10, 10, 10, 10, 10, 20, 20, 20, 20});
}

TEST_CASE("A maximum step bounds what a host's jump can do") {
    Envelope envelope;
    envelope.Add(Segment(0, 480, 10.0f, 10.0f, EnvelopeCurve::Jump));
    CHECK(envelope.Values(0, 192, 48, 0.0f, 3.0f) == std::vector<float>{3, 6, 9, 10});
}

TEST_CASE("Bool envelopes read start values from 0.5 up as true, Int envelopes cut towards zero") {
    EnvelopeHandler handler("Test", 1, 1, 1);
    const EnvelopeSpan span{kRate, 0, 192, 48};
    const EnvelopeSegment on = Segment(48, 96, 0.5f, 0.5f, EnvelopeCurve::Jump);
    const EnvelopeSegment off = Segment(96, 144, 0.499f, 0.499f, EnvelopeCurve::Linear);
    handler.AddSegments(ParameterGroup::Bool, 0, {&on, 1});
    handler.AddSegments(ParameterGroup::Bool, 0, {&off, 1});
    std::vector<std::uint8_t> bools(4, 9);
    CHECK(handler.EvaluateBool(0, span, true, bools));
    CHECK(bools == std::vector<std::uint8_t>{1, 1, 0, 0});

    const EnvelopeSegment down = Segment(0, 192, 1.0f, -3.0f, EnvelopeCurve::Linear);
    handler.AddSegments(ParameterGroup::Int, 0, {&down, 1});
    std::vector<std::int32_t> ints(4, 99);
    handler.EvaluateInt(0, {kRate, Ticks(24), 192, 48}, 7, ints);
    CHECK(ints == std::vector<std::int32_t>{0, 0, -1, -2});  // 0.5, -0.5, -1.5, -2.5
}

TEST_CASE("Removing segments takes those that reach into the range and clears the flag with the last") {
    EnvelopeHandler handler("Test", 2, 0, 0);
    CHECK_FALSE(handler.HasSegments());
    const EnvelopeSegment segments[] = {Segment(0, 48, 0, 0, EnvelopeCurve::Jump),
                                        Segment(48, 96, 0, 0, EnvelopeCurve::Jump),
                                        Segment(96, 144, 0, 0, EnvelopeCurve::Jump)};
    handler.AddSegments(ParameterGroup::Float, 0, segments);
    handler.AddSegments(ParameterGroup::Float, 1, {segments, 1});
    CHECK(handler.SegmentCount(ParameterGroup::Float, 0) == 3);
    // The neighbours only touch the range and stay.
    CHECK(handler.RemoveSegments(ParameterGroup::Float, 0, Ticks(48), Ticks(96)) == 2);
    CHECK(handler.RemoveSegments(ParameterGroup::Float, 0, 0, Ticks(48000)) == 0);
    CHECK(handler.HasSegments());
    CHECK(handler.RemoveSegments(ParameterGroup::Float, 1, -1, Ticks(1)) == 0);
    CHECK_FALSE(handler.HasSegments());
}

TEST_CASE("Segments that run backwards or are not finite are left out") {
    Envelope envelope;
    envelope.Add(Segment(96, 48, 1, 1, EnvelopeCurve::Linear));
    envelope.Add(Segment(0, 48, NAN, 1, EnvelopeCurve::Linear));
    envelope.Add(Segment(0, 48, 1, INFINITY, EnvelopeCurve::Linear));
    CHECK(envelope.handler.SegmentCount(ParameterGroup::Float, 0) == 0);
}

TEST_CASE("Evaluating an envelope allocates nothing") {
    Envelope envelope;
    for (int i = 0; i < 50; ++i) {
        envelope.Add(Segment(i * 48, i * 48 + 48, 0, static_cast<float>(i), EnvelopeCurve::Square));
    }
    std::vector<float> values(100);
    Test::AllocationCounter counter;
    envelope.handler.EvaluateFloat(0, {kRate, 0, 4800, 48}, 0.0f, 0.0f, values);
    CHECK(counter.Count() == 0);
}
