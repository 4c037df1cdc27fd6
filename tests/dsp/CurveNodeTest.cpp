#include "dsp/CurveNode.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "tests/support/Signals.h"

using DSP::Equalizer::CurveNode;
using DSP::Equalizer::FilterNode;
using DSP::Equalizer::Shape;

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

double Db(float fMagnitude) {
    return 20.0 * std::log10(double{fMagnitude});
}

// A bell of natural width and the two-sided shapes, in double and by position u on an axis on which the
// frequency lies at 0 and the reach of the shape at 1. A shelf's plateau is twice its gain.
double ModelDb(const FilterNode& node, double fHz) {
    const double u = std::log(fHz / double{node.fFrequency});
    const double fGain = double{node.fGainDb};
    if (node.shape == Shape::Bell) {
        const double v = u * double{node.fQ};
        return std::abs(v) < 1.0 ? fGain * std::pow(std::cos(v * std::numbers::pi / 2.0), 2.0) : 0.0;
    }
    const double v = u * std::pow(double{node.fQ}, 1.5);
    if (node.shape == Shape::LowShelf || node.shape == Shape::HighShelf) {
        const double y = node.shape == Shape::LowShelf ? v : -v;
        if (y < -1.0) return 2.0 * fGain;
        return y < 1.0 ? 2.0 * fGain * std::pow(std::cos((y + 1.0) * std::numbers::pi / 4.0), 2.0) : 0.0;
    }
    const double x = 1.0 + (node.shape == Shape::LowPass ? v : -v);
    const double fDepth = 3.0 / (1.0 - std::sqrt(0.5));
    if (x <= 0.0) return 0.0;
    if (x < 1.0) return -2.0 * fDepth * std::pow(std::sin(x * std::numbers::pi / 8.0), 2.0);
    return -3.0 - fDepth * std::sqrt(0.5) * (x - 1.0);
}

}  // namespace

TEST_CASE("Every shape of curve follows its own formula on the logarithmic axis") {
    for (int nShape = 0; nShape < 5; ++nShape) {
        for (const float fQ : {0.2f, 0.9f, 3.0f}) {
            for (const float fGain : {-15.0f, 6.0f}) {
                const FilterNode node{true, static_cast<Shape>(nShape), 1200.0f, fGain, fQ};
                const auto drawn = Draw({CurveNode::From(node)});
                double fWorst = 0.0;
                for (std::size_t k = 1; k < drawn.size(); ++k) {
                    const double fModel = ModelDb(node, static_cast<double>(k) * kRate / kLength);
                    fWorst = std::max(fWorst, std::abs(Db(drawn[k]) - fModel));
                }
                CAPTURE(nShape);
                CAPTURE(fQ);
                CAPTURE(fGain);
                CHECK(fWorst < 2e-3);
            }
        }
    }
}

TEST_CASE("No node draws a flat line, and bin 0 lies below every bell") {
    for (const auto& flat : {Draw({}), Draw({CurveNode::Neutral()})})
        CHECK(Test::FirstDifference(flat, std::vector<float>(flat.size(), 1.0f)) == -1);
    CHECK(Draw({{20.0f, 15.0f, 0.2f, CurveNode::Kind::Bell}})[0] == 1.0f);
    CHECK(Db(Draw({{20.0f, 8.0f, 0.5f, CurveNode::Kind::LowShelf}})[0]) == doctest::Approx(8.0));
}

TEST_CASE("A narrow bell is widened to twenty bins, and kept below half the rate") {
    const auto drawn = Draw({{3000.0f, 12.0f, 48.0f, CurveNode::Kind::Bell}});
    const double fCentre = 3000.0 * kLength / kRate;
    const double fRatio = 10.0 / fCentre + 1.0;
    for (std::size_t k = 1; k < drawn.size(); ++k) {
        const double fAt = static_cast<double>(k);
        const bool bInside = fAt > fCentre / fRatio + 0.01 && fAt < fCentre * fRatio - 0.01;
        if ((drawn[k] > 1.0f) != bInside) CHECK_MESSAGE(false, "bin " << k);
    }
    // At 40200 Hz and 1024 points twenty bins are 785 Hz: around 20 kHz they would end at 20392 Hz, past half
    // the rate, and are moved down to 19323 .. 20100 Hz.
    const auto high = Draw({{20000.0f, 12.0f, 60.0f, CurveNode::Kind::Bell}}, 1024, 40200);
    CHECK(high[492] == 1.0f);
    CHECK(high[493] > 1.0f);
    CHECK(high.back() == 1.0f);
    const auto peak = std::max_element(high.begin(), high.end());
    CHECK(peak - high.begin() < 505);
    CHECK(Db(*peak) > 11.5);
}
