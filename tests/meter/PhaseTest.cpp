#include "dsp/meter/Phase.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using DSP::Meter::Phase;
using Samples = std::vector<float>;

namespace {

constexpr std::uint32_t kLap = 2205;
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Fixture {
    Test::TestContext context;
    Phase phase{context};

    void Feed(const Samples& left, const Samples& right, const std::vector<std::uint32_t>& cuts) {
        std::size_t uDone = 0;
        for (const std::uint32_t uFrames : cuts) {
            phase.MeasureVectorscope(uFrames, left.data() + uDone, right.data() + uDone);
            phase.MeasureCorrelation(uFrames, left.data() + uDone, right.data() + uDone);
            uDone += uFrames;
        }
    }
    void Feed(const Samples& left, const Samples& right) {
        Feed(left, right, {static_cast<std::uint32_t>(left.size())});
    }
    Phase::Point Show(float fLeft, float fRight) {
        Feed({fLeft}, {fRight});
        return phase.Trace().back();
    }
    std::uint32_t Total() const {
        const auto counts = phase.Histogram();
        return std::accumulate(counts.begin(), counts.end(), 0u);
    }
};

Samples Sine(double fPhase, std::size_t uLength) {
    Samples samples(uLength);
    // 45 periods in a lap: every lap is alike.
    for (std::size_t i = 0; i < uLength; ++i)
        samples[i] = static_cast<float>(
            0.5 * std::sin(2 * std::numbers::pi * 45.0 * static_cast<double>(i) / kLap + fPhase));
    return samples;
}

}  // namespace

TEST_CASE("Phase: a frame's point lies where its sum and difference say, in the colour of its level") {
    constexpr std::uint32_t kNormal = 0xff00ff00u, kBeyond = 0xffff0000u;
    struct Case {
        float fLeft, fRight;
        Phase::Point point;  // column, row
        std::uint32_t uColour;
    };
    // Equal channels draw a vertical line, opposite ones a horizontal one, left alone leans to the left;
    // halves round away from zero.
    const Case cases[] = {{0.0f, 0.0f, {62, 63}, kNormal},           {0.8f, 0.8f, {62, 13}, kNormal},
                          {-0.8f, -0.8f, {62, 113}, kNormal},        {-0.8f, 0.8f, {112, 63}, kNormal},
                          {0.4f, 0.0f, {62 - 13, 63 - 13}, kNormal}, {1.0f, 1.0f, {62, 0}, kNormal},
                          {-1.0f, -1.0f, {62, 124}, kNormal},        {1.0f, -1.0f, {0, 63}, kNormal},
                          {1.5f, -1.0f, {0, 63}, kBeyond},           {1.5f, 1.0f, {62, 0}, kBeyond},
                          {kInfinity, 0.0f, {31, 32}, kBeyond}};
    Fixture f;
    f.phase.SetColours(kNormal, kBeyond);
    CHECK(f.phase.Trace().front() == Phase::Point{62, 62});
    for (const Case& c : cases) {
        CAPTURE(c.fLeft);
        CAPTURE(c.fRight);
        CHECK(f.Show(c.fLeft, c.fRight) == c.point);
        CHECK(f.phase.Cell(c.point.nRow, c.point.nColumn) == c.uColour);
    }
    CHECK(f.Show(kNan, 0.4f) == Phase::Point{62 + 13, 63 - 13});
    CHECK(f.phase.Cell(62, 62) == 0);
}

TEST_CASE("Phase: the trace is the last 500 points in order of time, while it is on") {
    Fixture f;
    const Samples left = Test::Noise(1, 1733), right = Test::Noise(2, 1733);
    f.Feed(left, right, Test::RandomCuts(3, 1733, 700));
    const auto trace = f.phase.Trace();
    int nWrong = 0;
    for (std::size_t i = 0; i < trace.size(); ++i) {
        const float fLeft = left[1233 + i], fRight = right[1233 + i];
        const int nColumn = static_cast<int>(std::round((fRight - fLeft) * 31.25f)) + 62;
        const int nRow = 63 - static_cast<int>(std::round((fRight + fLeft) * 31.25f));
        nWrong += trace[i] != Phase::Point{std::clamp(nColumn, 0, 124), std::clamp(nRow, 0, 124)};
    }
    CHECK(nWrong == 0);
    f.phase.ClearState();
    f.phase.SetBool(0, false);
    f.Feed(left, right);
    CHECK(f.phase.Trace().back() == Phase::Point{62, 62});
}

TEST_CASE("Phase: silence and a quiet channel correlate fully, and a lap's first frame does not count") {
    Fixture f;
    f.Feed(Samples(3 * kLap), Samples(3 * kLap));
    f.Feed(Samples(kLap, 0.00009f), Samples(kLap, -0.5f));
    Samples click(kLap), inverse(kLap);
    click[0] = 0.5f;
    inverse[0] = -0.5f;
    f.Feed(click, inverse);
    CHECK(f.phase.Histogram()[122] == 4);
    CHECK(f.Total() == 4);
}

TEST_CASE("Phase: a jump counts every bin on the way, a reset request empties the histogram once") {
    Fixture f;
    const Samples sine = Sine(0.0, kLap), inverse = Sine(std::numbers::pi, kLap);
    f.Feed(sine, sine);
    CHECK(f.Total() == 0);
    f.Feed(sine, inverse);
    CHECK(f.Total() == 123);
    f.Feed(sine, inverse);
    CHECK(f.Total() == 124);
    CHECK(f.phase.Histogram()[0] == 2);
    f.phase.RequestHistogramReset();
    CHECK(f.Total() == 124);
    f.Feed(sine, inverse);
    CHECK(f.Total() == 1);
    f.Feed(sine, inverse);
    CHECK(f.Total() == 2);
    f.phase.ClearState();
    f.Feed(sine, sine);
    f.phase.SetBool(2, false);
    f.Feed(sine, sine);
    CHECK(f.Total() == 2);
}

TEST_CASE("Phase: the histogram does not depend on the cuts and counts what a sliding window would") {
    const std::uint32_t uLength = 20 * kLap;
    const Samples left = Test::Noise(5, uLength);
    Samples right = Test::Noise(6, uLength);
    for (std::size_t i = 0; i < uLength; ++i)
        right[i] += left[i] * (static_cast<float>(i / kLap) - 10.0f) * 0.2f;
    Fixture whole;
    whole.Feed(left, right);
    for (const std::uint32_t uLongest : {1u, 3000u}) {
        Fixture cut;
        cut.Feed(left, right, Test::RandomCuts(8, uLength, uLongest));
        CHECK(whole.phase.Histogram() == cut.phase.Histogram());
    }

    // Rings of one lap's length whose sums lose the oldest entry with every frame.
    std::array<std::uint32_t, Phase::kBins> expected{};
    long nPrevious = -1;
    for (std::size_t uEnd = kLap; uEnd <= uLength; uEnd += kLap) {
        double ll = 0, rr = 0, lr = 0;
        for (std::size_t i = uEnd - kLap + 1; i < uEnd; ++i) {
            ll += double{left[i]} * left[i];
            rr += double{right[i]} * right[i];
            lr += double{left[i]} * right[i];
        }
        const long nBin = std::clamp(std::lround((lr / std::sqrt(ll * rr) + 1) * 0.5 * 123), 0l, 122l);
        for (long n = nBin; nPrevious >= 0; n += nPrevious > nBin ? 1 : -1) {
            ++expected[static_cast<std::size_t>(n)];
            if (n == nPrevious) break;
        }
        nPrevious = nBin;
    }
    CHECK(whole.phase.Histogram() == expected);
}

TEST_CASE("Phase: a lap with a NaN or an infinity is left out, the next one counts") {
    for (const float fBad : {kNan, kInfinity}) {
        Fixture f;
        const Samples sine = Sine(0.0, kLap);
        f.Feed(sine, sine);
        f.Feed({fBad}, {0.5f});
        f.Feed(Samples(kLap - 1, fBad), Samples(kLap - 1, 0.5f));
        CHECK(f.Total() == 0);
        f.Feed(sine, sine);
        CHECK(f.Total() == 1);
        CHECK(f.phase.Histogram()[122] == 1);
    }
}
