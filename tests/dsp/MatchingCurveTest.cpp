#include "dsp/MatchingCurve.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "tests/support/Signals.h"

using DSP::Equalizer::ComputeMatchingCurve;
using DSP::Equalizer::MatchSpectrum;

namespace {

constexpr int kLength = 1024;
constexpr std::uint32_t kRate = 44100;
constexpr float kMinusInfinity = -std::numeric_limits<float>::infinity();

using Curve = std::vector<float>;

Curve Compute(const MatchSpectrum& source, const MatchSpectrum& target, float fSmoothing = 0.0f,
              int nLength = kLength, std::uint32_t uRate = kRate) {
    return ComputeMatchingCurve(source, target, fSmoothing, nLength, uRate);
}

MatchSpectrum RandomSpectrum(std::uint64_t uSeed, std::size_t uPoints, float fFrom, float fTo) {
    Test::Random random(uSeed);
    MatchSpectrum spectrum;
    for (std::size_t i = 0; i < uPoints; ++i) {
        spectrum.frequencies.push_back(random.Uniform(fFrom, fTo));
        spectrum.levels.push_back(random.Uniform(-50.0f, -10.0f));
    }
    std::sort(spectrum.frequencies.begin(), spectrum.frequencies.end());
    return spectrum;
}

// One band, searched from the start of the table every time.
double SlowLevel(const MatchSpectrum& spectrum, double fLow, double fHigh) {
    const auto last = [&](double fEdge) {
        int nCount = 0;
        for (const float fHz : spectrum.frequencies) {
            if (double{fHz} > fEdge) break;
            ++nCount;
        }
        return std::clamp(nCount - 1, 0, static_cast<int>(spectrum.frequencies.size()) - 1);
    };
    const auto level = [&](int i) {
        return std::pow(10.0, double{spectrum.levels[static_cast<std::size_t>(i)]} / 20.0);
    };
    const int i0 = last(fLow);
    const int i1 = last(fHigh);
    if (i1 > i0) {
        double fSum = 0.0;
        for (int i = i0; i <= i1; ++i)
            fSum += level(i) * level(i) / (i1 - i0 + 1);
        return std::sqrt(fSum);
    }
    const int i = std::min(i0, static_cast<int>(spectrum.frequencies.size()) - 2);
    const double f0 = double{spectrum.frequencies[static_cast<std::size_t>(i)]};
    const double f1 = double{spectrum.frequencies[static_cast<std::size_t>(i) + 1]};
    return level(i) + (level(i + 1) - level(i)) * ((fLow + fHigh) / 2.0 - f0) / (f1 - f0);
}

std::vector<double> SlowCurve(const MatchSpectrum& source, const MatchSpectrum& target, double fSmoothing,
                              int nLength, double fRate) {
    const double fBin = fRate / nLength;
    const int nLast = nLength / 2;
    double fSource = 0.0;
    double fTarget = 0.0;
    for (int k = 0; k <= nLast; ++k) {
        fSource += std::pow(SlowLevel(source, (k - 0.5) * fBin, (k + 0.5) * fBin), 2.0);
        fTarget += std::pow(SlowLevel(target, (k - 0.5) * fBin, (k + 0.5) * fBin), 2.0);
    }
    std::vector<double> curve;
    for (int k = 0; k <= nLast; ++k) {
        const double a = SlowLevel(source, (k - 0.5) * fBin, (k + 0.5) * fBin) * std::sqrt(fTarget / fSource);
        const double b = SlowLevel(target, (k - 0.5) * fBin, (k + 0.5) * fBin);
        double fDb = -400.0;
        if (a <= 0.0) {
            fDb = b > 0.0 ? 120.0 : 0.0;
        } else if (b > 0.0) {
            fDb = 20.0 * std::log10(b / a);
        }
        curve.push_back(std::clamp(fDb, -30.0, 30.0));
    }
    if (fSmoothing <= 0.0) return curve;
    const auto pole = [&](int k) {
        const double e = std::sqrt(k * fBin / 1000.0);
        const double p = 1.0 - (1.0 - std::sqrt(fSmoothing * 0.99)) / e;
        return std::pow(std::min(std::max(p, 0.0), 0.99), fBin / 43.06640625);
    };
    for (std::size_t k = 1; k < curve.size(); ++k)
        curve[k] = curve[k - 1] * pole(static_cast<int>(k)) + curve[k] * (1.0 - pole(static_cast<int>(k)));
    for (std::size_t k = curve.size() - 1; k-- > 0;) {
        const double p = k == 0 ? 0.0 : pole(static_cast<int>(k));
        curve[k] = curve[k + 1] * p + curve[k] * (1.0 - p);
    }
    return curve;
}

double Worst(const Curve& curve, const std::vector<double>& model) {
    double fWorst = curve.size() == model.size() ? 0.0 : 1e9;
    for (std::size_t k = 0; k < std::min(curve.size(), model.size()); ++k)
        fWorst = std::max(fWorst, std::abs(double{curve[k]} - model[k]));
    return fWorst;
}

}  // namespace

TEST_CASE("The curve between two spectra is that of a slow model, dense, sparse and at every smoothing") {
    const std::pair<MatchSpectrum, MatchSpectrum> kPairs[] = {
        {RandomSpectrum(1, 4097, 0.0f, 22050.0f), RandomSpectrum(2, 4097, 0.0f, 22050.0f)},
        {RandomSpectrum(3, 26, 50.0f, 15000.0f), RandomSpectrum(4, 3, 20.0f, 20000.0f)},
        {{{20.0f, 1000.0f, 20000.0f}, {-50.0f, -50.0f, -75.931396f}},
         RandomSpectrum(5, 1000, 0.0f, 30000.0f)},
    };
    for (const auto& [source, target] : kPairs) {
        for (const float fSmoothing : {0.0f, 0.1f, 0.5f, 1.0f}) {
            for (const auto& [nGrid, uRate] : {std::pair{1024, 44100u}, {4096, 96000u}, {16384, 48000u}}) {
                const int nLength = nGrid;
                CAPTURE(fSmoothing);
                CAPTURE(nLength);
                CHECK(Worst(Compute(source, target, fSmoothing, nLength, uRate),
                            SlowCurve(source, target, double{fSmoothing}, nLength, uRate)) < 1e-4);
            }
        }
    }
}

TEST_CASE("Equal and empty spectra give zero, and a level as a whole does not count") {
    const Curve flat(kLength / 2 + 1);
    const MatchSpectrum spectrum = RandomSpectrum(7, 300, 0.0f, 20000.0f);
    CHECK(Test::FirstDifference(Compute(spectrum, spectrum, 0.5f), flat) == -1);
    CHECK(Test::FirstDifference(Compute({}, spectrum), flat) == -1);
    CHECK(Test::FirstDifference(Compute(spectrum, {}), flat) == -1);
    CHECK(Test::FirstDifference(Compute(spectrum, {{20.0f}, {}}), flat) == -1);
    MatchSpectrum louder = spectrum;
    for (float& fLevel : louder.levels)
        fLevel += 17.0f;
    CHECK(Test::WorstDifference(Compute(spectrum, louder), flat) < 1e-4f);
}

TEST_CASE("A silent source is lifted and a silent target lowered to the limit of 30 dB") {
    const MatchSpectrum silent{{20.0f, 20000.0f}, {kMinusInfinity, kMinusInfinity}};
    const MatchSpectrum loud{{20.0f, 20000.0f}, {-20.0f, -20.0f}};
    const std::size_t uBins = kLength / 2 + 1;
    CHECK(Test::FirstDifference(Compute(silent, loud, 0.5f), Curve(uBins, 30.0f)) == -1);
    CHECK(Test::FirstDifference(Compute(silent, silent), Curve(uBins, 0.0f)) == -1);
    CHECK(Test::FirstDifference(Compute(loud, silent), Curve(uBins, 0.0f)) == -1);
    // Half of the band silent on one side: the limit, up and down.
    const MatchSpectrum low{{0.0f, 10000.0f, 10001.0f, 22050.0f},
                            {-20.0f, -20.0f, kMinusInfinity, kMinusInfinity}};
    CHECK(Compute(low, loud)[400] == 30.0f);
    CHECK(Compute(loud, low)[400] == -30.0f);
}

TEST_CASE("Odd tables are read, not refused") {
    const MatchSpectrum flat{{20.0f, 20000.0f}, {-20.0f, -20.0f}};
    // A single frequency has its level everywhere, which makes it flat.
    CHECK(Test::WorstDifference(Compute({{500.0f}, {-70.0f}}, flat), Curve(513)) < 1e-4f);
    // Where two frequencies stand in the wrong order, the higher one's value is the frequency itself: 100 in
    // both tables, so that nothing is to be corrected.
    const MatchSpectrum fallen{{200.0f, 100.0f}, {-20.0f, -40.0f}};
    CHECK(Test::FirstDifference(Compute(fallen, fallen), Curve(513)) == -1);
    const Curve against = Compute(fallen, flat);
    CHECK(
        std::all_of(against.begin(), against.end(), [](float fDb) { return fDb >= -30.0f && fDb <= 30.0f; }));
    // Lists of unequal length, and numbers that are none.
    CHECK(Test::WorstDifference(Compute({{20.0f, 20000.0f, 30000.0f}, {-20.0f, -20.0f}}, flat), Curve(513)) <
          1e-4f);
    CHECK(Test::FirstDifference(Compute({{20.0f, 20000.0f}, {std::nanf(""), -20.0f}}, flat), Curve(513)) ==
          -1);
    CHECK(Test::FirstDifference(Compute(flat, {{20.0f, 20000.0f}, {-20.0f, 1e30f}}), Curve(513)) == -1);
}
