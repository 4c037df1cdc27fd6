#include "dsp/NoiseShapingFilter.h"

#include <doctest/doctest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "dsp/DepthShaper.h"
#include "dsp/NoiseShaperTables.h"
#include "tests/support/Signals.h"
#include "tools/shaperdesign/ShaperDesign.h"

using DSP::NoiseShapingFilter;
using Table = NoiseShapingFilter::Table;

namespace {

constexpr std::uint32_t kClasses = 5;
constexpr std::uint32_t kShapes = 5;

/// Order and peak by rate class and shape, "Light" to "Ultra".
struct Cell {
    std::size_t uOrder;
    float fPeak;
};
constexpr Cell kCells[kClasses][kShapes - 1] = {
    {{15, 1}, {23, 2}, {23, 4}, {31, 15}},    {{15, 1}, {15, 2}, {23, 4}, {23, 9}},
    {{39, 1}, {39, 2}, {39, 8}, {39, 30}},    {{60, 33}, {60, 33}, {60, 33}, {60, 33}},
    {{60, 33}, {60, 33}, {60, 33}, {60, 33}},
};

std::vector<float> Coefficients(const Table& table) {
    return {table.coefficients.begin(), table.coefficients.end()};
}

std::vector<Table> AllTables() {
    std::vector<Table> tables;
    for (std::uint32_t uShape = 0; uShape < kShapes; ++uShape)
        tables.push_back(NoiseShapingFilter::ForShape(uShape));
    for (std::uint32_t uClass = 0; uClass < kClasses; ++uClass) {
        for (std::uint32_t uShape = 1; uShape < kShapes; ++uShape)
            tables.push_back(NoiseShapingFilter::ForRate(uClass, uShape));
    }
    return tables;
}

/// Mean gain in dB between two frequencies.
double MeanDb(const Table& table, double fRate, double fFrom, double fTo) {
    double fPower = 0.0;
    int nPoints = 0;
    for (double fHz = fFrom; fHz <= fTo; fHz += 20.0, ++nPoints) {
        const double fGain = ShaperDesign::NoiseGain(Coefficients(table), 2 * std::numbers::pi * fHz / fRate);
        fPower += fGain * fGain;
    }
    return 10.0 * std::log10(fPower / nPoints);
}

}  // namespace

TEST_CASE("Each rate class begins at its rate, and every cell has its order and peak") {
    const std::pair<std::uint32_t, std::uint32_t> rates[] = {
        {384000, 0}, {140001, 0}, {140000, 1}, {65001, 1}, {65000, 2}, {48000, 2}, {44100, 2},
        {35001, 2},  {35000, 3},  {15001, 3},  {15000, 4}, {8000, 4},  {0, 4}};
    for (const auto& row : rates) {
        CAPTURE(row.first);
        CHECK(NoiseShapingFilter::RateClass(row.first) == row.second);
    }
    for (std::uint32_t uClass = 0; uClass < kClasses; ++uClass) {
        CHECK(NoiseShapingFilter(NoiseShapingFilter::ForRate(uClass, 0), true).Order() == 0);
        for (std::uint32_t uShape = 1; uShape < kShapes; ++uShape) {
            const NoiseShapingFilter filter(NoiseShapingFilter::ForRate(uClass, uShape), true);
            CHECK(filter.Order() == kCells[uClass][uShape - 1].uOrder);
            CHECK(filter.Peak() == kCells[uClass][uShape - 1].fPeak);
        }
    }
    const std::size_t orders[] = {0, 1, 12, 5, 9};
    for (std::uint32_t uShape = 0; uShape < kShapes; ++uShape) {
        const NoiseShapingFilter filter(NoiseShapingFilter::ForShape(uShape), true);
        CHECK(filter.Order() == orders[uShape]);
        CHECK(filter.Peak() == (uShape == 0 ? 1.0f : 100.0f));
    }
}

TEST_CASE("Every shaping filter has minimum phase, so that it adds as little noise as it can") {
    for (const Table& table : AllTables()) {
        if (table.coefficients.empty()) continue;
        CAPTURE(table.coefficients.size());
        // The gain in dB is 0 on average if and only if no zero lies outside the unit circle. The zero of
        // "Simple" on the circle costs the sum a little.
        double fMeanDb = 0.0;
        constexpr int kPoints = 4000;
        for (int n = 0; n < kPoints; ++n) {
            const double fAngle = std::numbers::pi * (n + 0.5) / kPoints;
            fMeanDb += 20.0 * std::log10(ShaperDesign::NoiseGain(Coefficients(table), fAngle)) / kPoints;
        }
        CHECK(std::abs(fMeanDb) < 0.01);
    }
}

TEST_CASE("The fixed tables sum up to the gains at 0, a quarter of the rate and half of it") {
    struct Gains {
        Table table;
        double fZero, fQuarter, fHalf;  // by hand from the coefficients
    };
    const Gains rows[] = {
        {NoiseShapingFilter::ForShape(1), 0.0, 1.414214, 2.0},
        {NoiseShapingFilter::ForShape(2), 0.276206, 0.619264, 8.957413},
        {NoiseShapingFilter::ForShape(3), 0.148100, 0.809449, 9.361900},
        {NoiseShapingFilter::ForShape(4), 0.250300, 0.653658, 22.385700},
        {NoiseShapingFilter::ForRate(0, 1), 0.335217, 1.524429, 1.139160},
    };
    for (const Gains& row : rows) {
        const std::vector<float> c = Coefficients(row.table);
        CAPTURE(c.size());
        CHECK(std::abs(ShaperDesign::NoiseGain(c, 0.0) - row.fZero) < 3e-6);
        CHECK(std::abs(ShaperDesign::NoiseGain(c, std::numbers::pi / 2) - row.fQuarter) < 3e-6);
        CHECK(std::abs(ShaperDesign::NoiseGain(c, std::numbers::pi) - row.fHalf) < 3e-6);
    }
}

TEST_CASE("The design tool gives the tables in use, whose feedback's greatest gain is the peak") {
    const auto goals = ShaperDesign::Goals();
    const auto shapers = DSP::DesignedShapers();
    REQUIRE(goals.size() == shapers.size());
    for (std::size_t i = 0; i < goals.size(); ++i) {
        CAPTURE(goals[i].strName);
        const std::vector<float> c(shapers[i].coefficients.begin(), shapers[i].coefficients.end());
        CHECK(shapers[i].uRateClass == goals[i].uRateClass);
        CHECK(shapers[i].uFirstShape == goals[i].uFirstShape);
        CHECK(shapers[i].uLastShape == goals[i].uLastShape);
        CHECK(Test::FirstDifference(ShaperDesign::Design(goals[i]).coefficients, c) == -1);
        // On a grid of its own, a third finer than the design's.
        double fGreatest = 0.0;
        for (int n = 0; n <= 5461; ++n) {
            std::complex<double> sum = 0.0;
            for (std::size_t k = 1; k < c.size(); ++k)
                sum += std::polar(double{c[k]}, std::numbers::pi * n / 5461 * static_cast<double>(k));
            fGreatest = std::max(fGreatest, std::abs(sum));
        }
        CHECK(std::abs(fGreatest / shapers[i].fPeak - 1.0) < 1e-4);
    }
}

TEST_CASE("The shapes go deeper in their order where ears are best, High and Ultra well below flat noise") {
    for (const double fRate : {192000.0, 96000.0, 44100.0}) {
        CAPTURE(fRate);
        const std::uint32_t uClass = NoiseShapingFilter::RateClass(static_cast<std::uint32_t>(fRate));
        double deep[kShapes] = {};
        for (std::uint32_t uShape = 1; uShape < kShapes; ++uShape) {
            deep[uShape] = MeanDb(NoiseShapingFilter::ForRate(uClass, uShape), fRate, 2000, 4000);
            CHECK(deep[uShape] < deep[uShape - 1] - 0.8);
        }
        if (fRate != 44100.0) continue;
        CHECK(deep[3] < -8.0);
        CHECK(deep[4] < -14.0);
    }
}

TEST_CASE("No shape adds more than 100 steps rms, with any dither or none") {
    const std::vector<float> input = Test::Noise(51, 20000);
    for (const Table& table : AllTables()) {
        for (const float fAmount : {0.0f, 0.5f, 1.0f, 2.0f}) {
            DSP::DepthShaper shaper;
            shaper.Configure(1, 1, 0);
            NoiseShapingFilter filter(table, true);
            filter.Rebuild(fAmount);
            shaper.Set({.fNoiseAmount = fAmount}, filter);
            std::vector<float> output = input;
            float* const channel = output.data();
            shaper.Process(&channel, static_cast<int>(output.size()), nullptr);
            double fSum = 0.0;
            for (std::size_t i = 0; i < input.size(); ++i)
                fSum += std::pow((double{output[i]} - double{input[i]}) * 32768.0, 2.0);
            const double fRms = std::sqrt(fSum / static_cast<double>(input.size()));
            CAPTURE(table.coefficients.size());
            CHECK(fRms < 100.0);
            CHECK(fRms > 0.25);
        }
    }
}
