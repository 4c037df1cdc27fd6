#include <doctest/doctest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

#include "dsp/meter/SpectrumAnalyzer.h"
#include "tests/support/Signals.h"

using namespace DSP::Meter;

namespace {

constexpr double kPi = std::numbers::pi;

void Feed(SpectrumAnalyzer& analyzer, const std::vector<float>& left, const std::vector<float>* right,
          const std::vector<std::uint32_t>& cuts) {
    std::size_t uDone = 0;
    for (const std::uint32_t uFrames : cuts) {
        analyzer.Feed(uFrames, left.data() + uDone, right ? right->data() + uDone : nullptr);
        uDone += uFrames;
    }
}

void Feed(SpectrumAnalyzer& analyzer, const std::vector<float>& left,
          const std::vector<float>* right = nullptr) {
    Feed(analyzer, left, right, {static_cast<std::uint32_t>(left.size())});
}

/// The windows by their definitions.
double Window(std::int32_t nType, double x, double m) {
    const auto bessel = [](double z) { return std::cyl_bessel_i(0.0, z); };
    const double c = std::cos(kPi * x / m);
    switch (nType) {
        case 0:
            return 0.54 - 0.46 * c;
        case 1:
            return 0.42 - 0.5 * c + 0.08 * std::cos(2 * kPi * x / m);
        case 2:
            return 1 - std::abs(x - m) / m;
        case 3:
            return bessel(0.006 * std::sqrt(m * m - (x - m) * (x - m))) / bessel(0.006 * m);
        default:
            return 0.5 - 0.5 * c;
    }
}

}  // namespace

TEST_CASE("Spectrum: bins are those of the plain transform of the windowed middle, by window and size") {
    for (std::int32_t nSize = 0; nSize < 5; ++nSize) {
        const std::size_t uLength = std::size_t{512} << nSize;
        const auto left = Test::Noise(3, uLength), right = Test::Noise(4, uLength);
        for (std::int32_t nType = 0; nType < 5; ++nType) {
            CAPTURE(uLength);
            CAPTURE(nType);
            SpectrumAnalyzer analyzer({SpectrumType::Linear, 0, nSize, 5, nType, 48000});
            Feed(analyzer, left, &right);
            REQUIRE(analyzer.Values().size() == uLength / 2 + 1);
            CHECK(analyzer.Frequencies()[uLength / 16] == 3000.0f);
            CHECK(analyzer.Frequencies().back() == 24000.0f);
            double fWorst = 0;
            for (std::size_t k = 0; k <= uLength / 2; k += uLength / 32) {
                std::complex<double> sum = 0;
                for (std::size_t i = 0; i < uLength; ++i) {
                    const double fMiddle = 0.5 * (double{left[i]} + double{right[i]});
                    sum += fMiddle * Window(nType, double(i), (double(uLength) - 1) / 2) *
                           std::polar(2.0 / double(uLength),
                                      -2 * kPi * double(i * k % uLength) / double(uLength));
                }
                fWorst = std::max(fWorst, std::abs(std::abs(sum) - double{analyzer.Values()[k]}));
            }
            CHECK(fWorst < 1e-7);
        }
    }
}

TEST_CASE("Spectrum: bands are the mean power of their bins, at rates with and without gaps") {
    for (const std::uint32_t uRate : {22050u, 44100u, 96000u, 192000u}) {
        for (const SpectrumType type : {SpectrumType::ThirdOctave, SpectrumType::Critical}) {
            CAPTURE(uRate);
            CAPTURE(static_cast<int>(type));
            const auto noise = Test::Noise(uRate, 8192);
            // The size index does not matter to bands.
            SpectrumAnalyzer bins({SpectrumType::Linear, 0, 4, 0, 4, uRate});
            SpectrumAnalyzer bands({type, 0, 0, 0, 4, uRate});
            Feed(bins, noise);
            Feed(bands, noise);

            std::vector<double> edges = {20,   100,  200,  300,  400,  510,   630,   770,  920,
                                         1080, 1270, 1480, 1720, 2000, 2320,  2700,  3150, 3700,
                                         4400, 5300, 6400, 7700, 9500, 12000, 15500, 20000};
            if (type == SpectrumType::ThirdOctave) {
                edges.clear();
                for (int k = 0; k < 32; ++k)
                    edges.push_back(20 * std::pow(2.0, k / 3.0));
            }
            // Bin by bin, as a band's frequency is passed.
            std::vector<double> sums(edges.size()), counts(edges.size());
            std::vector<bool> complete(edges.size());
            std::size_t b = 0;
            for (int k = 0; k <= 4096; ++k) {
                const double fHz = k * (uRate * 0.5) / 4097;
                if (fHz < edges[0]) continue;
                while (b + 1 < edges.size() && fHz >= edges[b + 1])
                    complete[b++] = true;
                const double fValue = double{bins.Values()[static_cast<std::size_t>(k)]};
                sums[b] += fValue * fValue * (k == 4096 ? 0.25 : 1.0);
                ++counts[b];
            }
            if (b + 1 == edges.size()) complete[b] = true;
            std::vector<float> expected;
            for (b = 0; b < edges.size(); ++b) {
                const double fOwn = counts[b] > 0 ? std::sqrt(sums[b] / counts[b]) : 0;
                const bool bGap = counts[b] == 0 && complete[b];
                expected.push_back(!complete[b] ? 0.0f
                                   : bGap       ? (b > 0 ? expected[b - 1] : 0.0f)
                                                : static_cast<float>(fOwn));
            }
            REQUIRE(bands.Values().size() == expected.size());
            for (b = 0; b < expected.size(); ++b) {
                CAPTURE(b);
                CHECK(std::abs(bands.Values()[b] - expected[b]) <= 1e-5f * expected[b]);
                const double fUpper = b + 1 < edges.size() ? edges[b + 1] : edges[b];
                CHECK(double{bands.Frequencies()[b]} ==
                      doctest::Approx((edges[b] + fUpper) / 2).epsilon(1e-6));
            }
        }
    }
}

TEST_CASE("Spectrum: at a rate so high that the lowest bands hold no bin they show the first that has some") {
    const auto layout = LayOutBands(SpectrumBandEdges(SpectrumType::ThirdOctave), 384000, 8192);
    CHECK(layout[0].nFirst == 1);
    CHECK(layout[0].nEnd == 2);
    CHECK(layout[2].nFirst == layout[3].nFirst);
}

TEST_CASE("Spectrum: values do not depend on the cuts, and a reset analyzer is a new one") {
    for (const SpectrumType type : {SpectrumType::Linear, SpectrumType::Critical}) {
        for (const std::int32_t nAverage : {0, 1, 5}) {
            const SpectrumSettings settings{type, nAverage, 0, 3, 4, 44100};
            const auto left = Test::Noise(11, 100000), right = Test::Noise(12, 100000);
            SpectrumAnalyzer whole(settings), cut(settings);
            Feed(whole, left, &right);
            Feed(cut, right, &left, {777, 99000});
            cut.Reset();
            Feed(cut, left, &right, Test::RandomCuts(13, 100000, 2000));
            CAPTURE(nAverage);
            CHECK(Test::FirstDifference(whole.Values(), cut.Values()) == -1);
            CHECK(*std::max_element(whole.Values().begin(), whole.Values().end()) > 0.0f);
        }
    }
}

TEST_CASE("Spectrum: after NaN, infinity and huge samples averages are right once these are out") {
    for (const float fBad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::max()}) {
        for (const std::int32_t nAverage : {0, 1}) {
            SpectrumAnalyzer analyzer({SpectrumType::Linear, nAverage, 1, 5, 4, 44100});
            const std::vector<float> constant(60000, 0.5f);
            Feed(analyzer, std::vector<float>(5000, fBad), &constant);
            CHECK(std::isfinite(*std::max_element(analyzer.Values().begin(), analyzer.Values().end())));
            Feed(analyzer, constant);
            CAPTURE(fBad);
            for (const float fValue : analyzer.Values())
                REQUIRE(std::isfinite(fValue));
            // Bin 0 reads twice the level times the window's mean.
            if (nAverage == 1)
                CHECK(double{analyzer.Values()[0]} == doctest::Approx(0.5 * 1023 / 1024).epsilon(1e-3));
        }
    }
}
