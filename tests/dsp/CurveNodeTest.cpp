#include "dsp/CurveNode.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "tests/support/Signals.h"

using DSP::Equalizer::CurveNode;
using Kind = CurveNode::Kind;

namespace {

constexpr int kLength = 4096;
constexpr std::uint32_t kRate = 48000;

std::vector<float> Draw(const std::vector<CurveNode>& nodes, int nLength = kLength,
                        std::uint32_t uRate = kRate) {
    std::vector<float> magnitudes(static_cast<std::size_t>(nLength) / 2 + 1, -1.0f);
    DSP::Equalizer::CurveAxis axis;
    axis.Set(nLength, uRate);
    DSP::Equalizer::DrawCurve(nodes, axis, magnitudes.data());
    return magnitudes;
}

double DrawnDb(const std::vector<float>& magnitudes, std::size_t k) {
    return 20.0 * std::log10(double{magnitudes[k]});
}

std::size_t BinOf(double fHz) {
    return static_cast<std::size_t>(std::lround(fHz * kLength / kRate));
}

// A bell of natural width and the two-sided shapes, in double and by position u on an axis on which the
// frequency lies at 0 and the reach of the shape at 1.
double ModelDb(const CurveNode& node, double fHz) {
    const double u = std::log(fHz / double{node.fFrequency});
    const double fGain = double{node.fGainDb};
    if (node.kind == Kind::Bell) {
        const double v = u * double{node.fQ};
        return std::abs(v) < 1.0 ? fGain * std::pow(std::cos(v * std::numbers::pi / 2.0), 2.0) : 0.0;
    }
    const double w = std::pow(double{node.fQ}, -1.5);
    const double v = u / w;
    if (node.kind == Kind::LowShelf || node.kind == Kind::HighShelf) {
        const double y = node.kind == Kind::LowShelf ? v : -v;
        if (y < -1.0) return fGain;
        return y < 1.0 ? fGain * std::pow(std::cos((y + 1.0) * std::numbers::pi / 4.0), 2.0) : 0.0;
    }
    const double x = 1.0 + (node.kind == Kind::LowPass ? v : -v);
    const double fDepth = 3.0 / (1.0 - std::sqrt(0.5));
    if (x <= 0.0) return 0.0;
    if (x < 1.0) return -2.0 * fDepth * std::pow(std::sin(x * std::numbers::pi / 8.0), 2.0);
    return -3.0 - fDepth * std::sqrt(0.5) * (x - 1.0);
}

}  // namespace

TEST_CASE("Every shape of curve follows its own formula on the logarithmic axis") {
    for (int nKind = 0; nKind < 5; ++nKind) {
        for (const float fQ : {0.2f, 0.9f, 3.0f}) {
            for (const float fGain : {-30.0f, 12.0f}) {
                const CurveNode node{1200.0f, fGain, fQ, static_cast<Kind>(nKind)};
                const auto drawn = Draw({node});
                double fWorst = 0.0;
                for (std::size_t k = 1; k < drawn.size(); ++k) {
                    const double fModel = ModelDb(node, static_cast<double>(k) * kRate / kLength);
                    fWorst = std::max(fWorst, std::abs(DrawnDb(drawn, k) - fModel));
                }
                CAPTURE(nKind);
                CAPTURE(fQ);
                CAPTURE(fGain);
                CHECK(fWorst < 2e-3);
            }
        }
    }
}

TEST_CASE("The corners of the shapes have their names' values") {
    const float fHz = 1500.0f;  // bin 128
    CHECK(DrawnDb(Draw({{fHz, 9.0f, 2.0f, Kind::Bell}}), BinOf(1500)) == doctest::Approx(9.0));
    CHECK(DrawnDb(Draw({{fHz, 9.0f, 2.0f, Kind::LowPass}}), BinOf(1500)) == doctest::Approx(-3.0));
    CHECK(DrawnDb(Draw({{fHz, 9.0f, 2.0f, Kind::HighPass}}), BinOf(1500)) == doctest::Approx(-3.0));
    for (const Kind kind : {Kind::LowShelf, Kind::HighShelf}) {
        const auto drawn = Draw({{fHz, -8.0f, 12.0f, kind}});
        const bool bLow = kind == Kind::LowShelf;
        CHECK(DrawnDb(drawn, BinOf(1500)) == doctest::Approx(-4.0));
        // At Q 12 the half width is 1 / 41.57 nepers.
        CHECK(DrawnDb(drawn, BinOf(1500 * std::exp(-1.5 / 41.57))) == doctest::Approx(bLow ? -8.0 : 0.0));
        CHECK(DrawnDb(drawn, BinOf(1500 * std::exp(1.5 / 41.57))) == doctest::Approx(bLow ? 0.0 : -8.0));
    }
}

TEST_CASE("Nodes add up in dB, none draws a flat line, and bin 0 lies below every bell") {
    const CurveNode a{300.0f, 5.0f, 0.5f, Kind::Bell};
    const CurveNode b{900.0f, -9.0f, 1.5f, Kind::LowShelf};
    const auto both = Draw({a, b});
    const auto first = Draw({a});
    const auto second = Draw({b});
    double fWorst = 0.0;
    for (std::size_t k = 0; k < both.size(); ++k)
        fWorst = std::max(fWorst, std::abs(double{both[k]} - double{first[k]} * double{second[k]}));
    CHECK(fWorst < 1e-5);
    for (const auto& flat : {Draw({}), Draw({CurveNode::Neutral()})}) {
        CHECK(Test::FirstDifference(flat, std::vector<float>(flat.size(), 1.0f)) == -1);
    }
    CHECK(Draw({{20.0f, 15.0f, 0.2f, Kind::Bell}})[0] == 1.0f);
    CHECK(DrawnDb(Draw({{20.0f, 8.0f, 0.5f, Kind::LowShelf}}), 0) == doctest::Approx(8.0));
}

TEST_CASE("A narrow bell is widened to twenty bins, and kept below half the rate") {
    const double fBin = double{kRate} / kLength;
    const auto drawn = Draw({{3000.0f, 12.0f, 12.0f * 4.0f, Kind::Bell}});
    const double fCentre = 3000.0 / fBin;
    const double fRatio = 10.0 / fCentre + 1.0;
    for (std::size_t k = 1; k < drawn.size(); ++k) {
        const double fAt = static_cast<double>(k);
        const bool bInside = fAt > fCentre / fRatio + 0.01 && fAt < fCentre * fRatio - 0.01;
        if ((drawn[k] > 1.0f) != bInside) CHECK_MESSAGE(false, "bin " << k);
    }
    // At 40200 Hz and 1024 points twenty bins are 785 Hz: around 20 kHz they would end at 20392 Hz, past half
    // the rate, and are moved down to 19323 .. 20100 Hz.
    const auto high = Draw({{20000.0f, 12.0f, 60.0f, Kind::Bell}}, 1024, 40200);
    CHECK(high[492] == 1.0f);
    CHECK(high[493] > 1.0f);
    CHECK(high.back() == 1.0f);
    const std::size_t uPeak =
        static_cast<std::size_t>(std::max_element(high.begin(), high.end()) - high.begin());
    CHECK(uPeak < 505);
    CHECK(20.0 * std::log10(double{high[uPeak]}) > 11.5);
}

TEST_CASE("A node becomes a curve with its shelves doubled") {
    using DSP::Equalizer::FilterNode;
    using DSP::Equalizer::Shape;
    const Kind kKinds[] = {Kind::Bell, Kind::LowShelf, Kind::HighShelf, Kind::LowPass, Kind::HighPass};
    for (int nShape = 0; nShape < 5; ++nShape) {
        const FilterNode node{true, static_cast<Shape>(nShape), 77.0f, 5.0f, 3.0f};
        const CurveNode curve = CurveNode::From(node);
        CHECK(curve.kind == kKinds[nShape]);
        CHECK(curve.fGainDb == (nShape == 1 || nShape == 2 ? 10.0f : 5.0f));
        CHECK(curve.fFrequency == 77.0f);
        CHECK(curve.fQ == 3.0f);
    }
}
