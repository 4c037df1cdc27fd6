#include "PluginBase/EnvelopeHandler.h"

#include <doctest/doctest.h>

#include <cmath>

namespace {

constexpr std::uint32_t kRate = 48000;

/// Ticks of 100 ns for a number of samples at 48 kHz, which is exact for multiples of 3.
std::int64_t Ticks(std::int64_t nSamples) {
    return nSamples * 10'000'000 / kRate;
}

EnvelopeSegment Segment(std::int64_t nFrom, std::int64_t nTo, float fFrom, float fTo,
                        EnvelopeCurve curve = EnvelopeCurve::Linear) {
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
    const double N = 9600.0, a = 2.0, b = 10.0;
    const auto closed = [&](EnvelopeCurve curve, double k) {
        switch (curve) {
            case EnvelopeCurve::Jump:
                return a;
            case EnvelopeCurve::Square:
                return a + (b - a) * (k * (k - 1)) / (N * (N - 1));
            case EnvelopeCurve::InverseSquare:
                // The square curve seen from its end: it leaves b as the other leaves a.
                return b - (b - a) * ((N - k) * (N - k - 1)) / (N * (N - 1));
            default:  // and a curve that this system does not know
                return a + (b - a) * k / N;
        }
    };
    for (const auto curve : {EnvelopeCurve::Jump, EnvelopeCurve::Linear, EnvelopeCurve::Square,
                             EnvelopeCurve::InverseSquare, static_cast<EnvelopeCurve>(77)}) {
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

TEST_CASE("Between segments the last value stands, and a stride that one starts in belongs to it") {
    using Segments = std::vector<EnvelopeSegment>;
    const EnvelopeSegment late = Segment(4800, 9600, 0, 1), inThird = Segment(120, 4920, 0, 4800);
    const EnvelopeSegment jump = Segment(0, 120, 3, 7, EnvelopeCurve::Jump), line = Segment(0, 96, 3, 7);
    const struct {
        const char* what;
        Segments segments;
        std::int64_t nFrom;
        std::uint32_t uFrames, uStride;
        float fCurrent, fMaxStep;
        std::vector<float> expected;
    } rows[] = {
        {"none", {}, 0, 96, 48, 0.25f, 0, {0.25f, 0.25f}},
        {"before the first", {late}, 0, 96, 48, 0.25f, 0, {0.25f, 0.25f}},
        {"behind the last", {late}, 48000, 96, 48, 0.25f, 0, {1, 1}},
        // Frame 120 lies in the third stride of 50, whose first frame is 100.
        {"a start within a stride", {inThird}, 0, 250, 50, 1, 0, {1, 1, 0, 30, 80}},
        {"a start on the last stride's end", {inThird}, 0, 120, 50, 1, 0, {1, 1, 1}},
        {"the block in which a jump ends", {jump}, 0, 240, 48, -1, 0, {3, 3, 3, 3, 3}},
        {"the block behind a jump", {jump}, 240, 96, 48, -1, 0, {7, 7}},
        {"another curve ends at once", {line}, 0, 192, 48, -1, 0, {3, 5, 7, 7}},
        {"any order, and an empty one",
         {Segment(288, 384, 20, 20), Segment(96, 96, 50, 50), Segment(48, 96, 10, 10)},
         0,
         480,
         48,
         1,
         0,
         {1, 10, 10, 10, 10, 10, 20, 20, 20, 20}},
        {"a step that is bounded", {Segment(0, 480, 10, 10)}, 0, 192, 48, 0, 3, {3, 6, 9, 10}},
    };
    for (const auto& row : rows) {
        CAPTURE(row.what);
        Envelope envelope;
        for (const EnvelopeSegment& segment : row.segments)
            envelope.Add(segment);
        CHECK(envelope.Values(row.nFrom, row.uFrames, row.uStride, row.fCurrent, row.fMaxStep) ==
              row.expected);
    }
}

TEST_CASE("Bool envelopes read start values from 0.5 up as true, Int envelopes cut towards zero") {
    EnvelopeHandler handler("Test", 1, 1, 1);
    const EnvelopeSpan span{kRate, 0, 192, 48};
    const EnvelopeSegment switches[] = {Segment(48, 96, 0.5f, 0.5f, EnvelopeCurve::Jump),
                                        Segment(96, 144, 0.499f, 0.499f)};
    handler.AddSegments(ParameterGroup::Bool, 0, switches);
    std::vector<std::uint8_t> bools(4, 9);
    CHECK(handler.EvaluateBool(0, span, true, bools));
    CHECK(bools == std::vector<std::uint8_t>{1, 1, 0, 0});

    const EnvelopeSegment down = Segment(0, 192, 1.0f, -3.0f);
    handler.AddSegments(ParameterGroup::Int, 0, {&down, 1});
    std::vector<std::int32_t> ints(4, 99);
    handler.EvaluateInt(0, {kRate, Ticks(24), 192, 48}, 7, ints);
    CHECK(ints == std::vector<std::int32_t>{0, 0, -1, -2});  // 0.5, -0.5, -1.5, -2.5
}

TEST_CASE("Removing takes what reaches into the range; what runs backwards or is not finite never comes in") {
    EnvelopeHandler handler("Test", 2, 0, 0);
    const EnvelopeSegment bad[] = {Segment(96, 48, 1, 1), Segment(0, 48, NAN, 1),
                                   Segment(0, 48, 1, INFINITY)};
    handler.AddSegments(ParameterGroup::Float, 0, bad);
    CHECK_FALSE(handler.HasSegments());
    const EnvelopeSegment segments[] = {Segment(0, 48, 0, 0), Segment(48, 96, 0, 0), Segment(96, 144, 0, 0)};
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
