#include "dsp/MatchingCurve.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/dsp/LinearPhaseModel.h"
#include "tests/support/Signals.h"

using DSP::Equalizer::ComputeMatchingCurve;
using DSP::Equalizer::MatchSpectrum;
using DSP::Equalizer::MatchTable;

namespace {

constexpr std::uint32_t kLength = 1024;
constexpr std::uint32_t kRate = 44100;
constexpr float kMinusInfinity = -std::numeric_limits<float>::infinity();

using Curve = std::vector<float>;

Curve Compute(const MatchSpectrum& source, const MatchSpectrum& target, float fSmoothing = 0.0f,
              int nLength = kLength, std::uint32_t uRate = kRate) {
    // Work that earlier cases have left something in.
    static DSP::Equalizer::MatchingWork s_work;
    Curve curve(7, 99.0f);
    ComputeMatchingCurve(MatchTable(source), MatchTable(target), fSmoothing, nLength, uRate, s_work, curve);
    return curve;
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
    const int i0 = last(fLow), i1 = last(fHigh);
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
    std::vector<double> a, b;
    double fSource = 0.0, fTarget = 0.0;
    for (int k = 0; k <= nLength / 2; ++k) {
        a.push_back(SlowLevel(source, (k - 0.5) * fBin, (k + 0.5) * fBin));
        b.push_back(SlowLevel(target, (k - 0.5) * fBin, (k + 0.5) * fBin));
        fSource += a.back() * a.back();
        fTarget += b.back() * b.back();
    }
    std::vector<double> curve;
    for (std::size_t k = 0; k < a.size(); ++k) {
        // Beyond the ends of a table a level may fall to 0 and below.
        double fDb = b[k] > 0.0 ? 30.0 : a[k] > 0.0 ? -30.0 : 0.0;
        if (a[k] > 0.0 && b[k] > 0.0) fDb = 20.0 * std::log10(b[k] / a[k] * std::sqrt(fSource / fTarget));
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
            for (const auto& grid : {std::pair{1024, 44100u}, {4096, 96000u}, {16384, 48000u}}) {
                CAPTURE(fSmoothing);
                CAPTURE(grid.first);
                const auto [nLength, uRate] = grid;
                CHECK(Test::WorstDifference(Compute(source, target, fSmoothing, nLength, uRate),
                                            SlowCurve(source, target, double{fSmoothing}, nLength, uRate)) <
                      1e-4);
            }
        }
    }
}

TEST_CASE("Equal, empty and odd spectra give a flat curve, and where one is silent it ends at 30 dB") {
    const MatchSpectrum any = RandomSpectrum(7, 300, 0.0f, 20000.0f);
    MatchSpectrum louder = any;
    for (float& fLevel : louder.levels)
        fLevel += 17.0f;
    const MatchSpectrum flat{{20.0f, 20000.0f}, {-20.0f, -20.0f}};
    const MatchSpectrum silent{{20.0f, 20000.0f}, {kMinusInfinity, kMinusInfinity}};
    // Where two frequencies stand in the wrong order, the higher one's value is the frequency itself: 100 in
    // both tables, so that nothing is to be corrected.
    const MatchSpectrum fallen{{200.0f, 100.0f}, {-20.0f, -40.0f}};
    // The upper half silent.
    const MatchSpectrum low{{0.0f, 10000.0f, 10001.0f, 22050.0f},
                            {-20.0f, -20.0f, kMinusInfinity, kMinusInfinity}};
    CHECK(Compute(low, flat, 0.0f, kLength, kRate)[400] == 30.0f);
    CHECK(Compute(flat, low, 0.0f, kLength, kRate)[400] == -30.0f);
    const struct {
        MatchSpectrum source, target;
        float fExpectedDb = 0.0f, fTolerance = 0.0f;
    } rows[] = {{any, any},
                {any, louder, 0.0f, 1e-4f},  // a level as a whole does not count
                {{}, any},
                {any, {}},
                {any, {{20.0f}, {}}},
                {silent, flat, 30.0f},
                {silent, silent},
                {flat, silent},
                {{{500.0f}, {-70.0f}}, flat, 0.0f, 1e-4f},  // a single frequency has its level everywhere
                {fallen, fallen},
                {{{20.0f, 20000.0f}, {-20.0f, -20.0f, 50.0f}}, flat, 0.0f, 1e-4f},
                {{{20.0f, 20000.0f, 30000.0f}, {-20.0f, -20.0f}}, flat, 0.0f, 1e-4f},
                {{{20.0f, 20000.0f}, {std::nanf(""), -20.0f}}, flat},
                {flat, {{20.0f, 20000.0f}, {-20.0f, 1e30f}}}};
    for (const auto& row : rows) {
        CAPTURE(&row - rows);
        const Curve curve = Compute(row.source, row.target, 0.5f, kLength, kRate);
        REQUIRE(curve.size() == kLength / 2 + 1);
        CHECK(Test::WorstDifference(curve, Curve(curve.size(), row.fExpectedDb)) <= row.fTolerance);
    }
}
