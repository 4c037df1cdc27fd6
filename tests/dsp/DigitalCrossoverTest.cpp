#include "dsp/DigitalCrossover.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "tests/dsp/LinearPhaseModel.h"
#include "tests/support/CountingAllocator.h"
#include "tests/support/Signals.h"

using DSP::Crossover;
using DSP::DigitalFilters;

namespace {

constexpr std::size_t kBands = Crossover::kMaxBands;
constexpr int kDelay = 511;

using Bands = std::array<std::vector<float>, 2 * kBands>;  // left, then right

DigitalFilters::Design FourBands(double fSteepness = 0.3) {
    return {4, {120, 2000, 10000}, 44100, fSteepness};
}

Bands Render(Crossover& crossover, std::vector<float> left, std::vector<float> right,
             const std::vector<std::uint32_t>& cuts) {
    Bands bands;
    for (std::size_t i = 0; i < 2 * kBands; ++i)
        bands[i].assign(left.size(), 99.0f);
    std::size_t uDone = 0;
    for (const std::uint32_t uFrames : cuts) {
        float* const inputs[] = {left.data() + uDone, right.empty() ? nullptr : right.data() + uDone};
        std::array<Crossover::BandPointers, 2> pointers{};
        for (std::size_t i = 0; i < static_cast<std::size_t>(crossover.Bands()); ++i) {
            pointers[0][i] = bands[i].data() + uDone;
            pointers[1][i] = bands[kBands + i].data() + uDone;
        }
        crossover.ProcessBands(inputs, static_cast<int>(uFrames), pointers.data());
        uDone += uFrames;
    }
    return bands;
}

double Response(const std::vector<float>& taps, double fHz, double fRate) {
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < taps.size(); ++i)
        sum +=
            double{taps[i]} * std::polar(1.0, -2.0 * std::numbers::pi * fHz / fRate * static_cast<double>(i));
    return std::abs(sum);
}

/// The magnitude that a band is designed from at one bin: its edges, neighbours and skirts one by one.
double Target(const DigitalFilters::Design& d, int b, int k) {
    const auto ln = [](double f) { return std::log(f); };
    const auto c = [&d](int i) { return d.cutoffs[static_cast<std::size_t>(i)]; };
    const double fNyquist = ln(d.fSampleRate / 2);
    const bool bTop = b == d.nBands - 1;
    const double D = 1.0 - std::min(d.fSteepness, 1.0);

    const double lr = b == 0 ? -10.0 : ln(c(b - 1));
    double outer = -10.0;
    if (b == 1) outer = ln(0.5 * c(0));
    if (b >= 2) outer = 0.5 * (ln(c(b - 2)) + ln(c(b - 1)));
    double inner = 0.0;
    double low = fNyquist, high = fNyquist;
    if (bTop) {
        inner = 0.5 * (fNyquist + ln(c(b - 1)));
    } else {
        inner = low = b == 0 ? ln(0.5 * c(0)) : 0.5 * (ln(c(b)) + ln(c(b - 1)));
        high = 0.5 * (ln(c(b)) + (b == d.nBands - 2 ? fNyquist : ln(c(b + 1))));
    }
    const double ur = bTop ? fNyquist : ln(c(b));
    const double wl = D * std::min(inner - lr, lr - outer);
    const double wu = D * std::min(high - ur, ur - low);

    const double f = k == 0 ? -10.0 : ln(k * d.fSampleRate / 1024);
    constexpr double pi = std::numbers::pi;
    if (f >= lr + wl && f <= ur - wu) return 1.0;
    if (f >= lr - wl && f < lr + wl) return 0.5 - 0.5 * std::cos(pi * (f - (lr - wl)) / (2 * wl));
    if (f > ur - wu && f <= ur + wu) return 0.5 + 0.5 * std::cos(pi * (f - (ur - wu)) / (2 * wu));
    return 0.0;
}

}  // namespace

TEST_CASE("DigitalFilters: the taps are the linear-phase filters of the bands' skirts") {
    Test::Random random(3);
    for (int i = 0; i < 6; ++i) {
        DigitalFilters::Design design;
        design.nBands = 2 + i % 3;
        design.fSampleRate = i < 3 ? 44100.0 : 22050.0;
        design.fSteepness = i == 5 ? 1.0 : double{random.Uniform(0.15f, 0.9f)};
        for (double& fCutoff : design.cutoffs)
            fCutoff = double{random.Uniform(40, 11000)};
        std::sort(design.cutoffs.begin(), design.cutoffs.end());
        const DigitalFilters filters(design, 256);
        for (int b = 0; b < design.nBands; ++b) {
            std::vector<float> magnitudes;
            for (int k = 0; k <= 512; ++k)
                magnitudes.push_back(static_cast<float>(Target(design, b, k)));
            CAPTURE(i);
            CAPTURE(b);
            CHECK(Test::WorstDifference(filters.Taps(static_cast<std::size_t>(b)),
                                        Test::LinearPhaseTaps(magnitudes, 9.0)) < 1e-6);
        }
    }
}

TEST_CASE(
    "DigitalFilters: each band is 1 in its middle, a half at its cutoffs, and nothing beyond its skirts") {
    for (const double fRate : {44100.0, 96000.0}) {
        // Cutoffs on bins far enough apart that the window's smear of a few bins leaves them alone.
        const double fBin = fRate / 1024;
        const std::array<double, 3> cutoffs = {40 * fBin, 120 * fBin, 300 * fBin};
        const DigitalFilters filters({4, cutoffs, fRate, 0.4}, 256);
        CHECK(filters.Latency() == kDelay);
        for (std::size_t iBand = 0; iBand < kBands; ++iBand) {
            CAPTURE(iBand);
            const auto& taps = filters.Taps(iBand);
            REQUIRE(taps.size() == 1024);
            bool bSymmetric = taps[1023] == 0.0f;
            for (std::size_t i = 0; i < 511; ++i)
                bSymmetric &= std::abs(taps[i] - taps[1022 - i]) < 1e-7f;
            CHECK(bSymmetric);
            const double fLower = iBand == 0 ? 0.0 : cutoffs[iBand - 1];
            const double fUpper = iBand == 3 ? fRate / 2 : cutoffs[iBand];
            CHECK(Response(taps, iBand == 0 ? fUpper / 4 : std::sqrt(fLower * fUpper), fRate) ==
                  doctest::Approx(1.0).epsilon(1e-3));
            // The skirts are symmetrical over the logarithm, and the smear over frequency: not quite a half.
            if (iBand > 0) CHECK(std::abs(Response(taps, fLower, fRate) - 0.5) < 0.02);
            if (iBand < 3) CHECK(std::abs(Response(taps, fUpper, fRate) - 0.5) < 0.02);
            if (iBand > 0) CHECK(Response(taps, fLower / 2.5, fRate) < 1e-3);
            if (iBand < 2) CHECK(Response(taps, fUpper * 2.5, fRate) < 1e-3);
        }
    }
}

TEST_CASE("DigitalFilters: the steepness sets the width of the skirts, down to a hard step") {
    const double fRate = 44100.0;
    const double fBin = fRate / 1024;
    const auto skirt = [&](double fSteepness) {
        // Bins from 0.9 down to 0.1 at the upper edge of the lowest band.
        const DigitalFilters filters({2, {200 * fBin, 0, 0}, fRate, fSteepness}, 256);
        int nBins = 0;
        for (int k = 60; k < 512; ++k) {
            const double fMagnitude = Response(filters.Taps(0), k * fBin, fRate);
            nBins += fMagnitude < 0.9 && fMagnitude > 0.1;
        }
        return nBins;
    };
    const int nHard = skirt(1.0);
    CHECK(skirt(2.0) == nHard);
    CHECK(nHard <= 4);  // what the window smears
    // Half width D min(ln 512 / 200, 2 ln 2) / 2 over ln f; from 0.9 to 0.1 a raised cosine takes 0.59 of the
    // whole width: sinh(0.59 * 0.47 D) * 2 * 200 bins.
    CHECK(std::abs(skirt(0.5) - 56) <= 4);
    CHECK(std::abs(skirt(0.0) - 112) <= 6);
}

TEST_CASE("Crossover: all bands together are the input, delayed") {
    const auto left = Test::Noise(1, 6000);
    const auto right = Test::Noise(2, 6000);
    for (const int nBands : {2, 3, 4}) {
        for (const double fSteepness : {0.0, 0.35, 1.0}) {
            Crossover crossover;
            crossover.Configure(2, 0, 500);
            auto design = FourBands(fSteepness);
            design.nBands = nBands;
            crossover.Design(design);
            CHECK(crossover.Latency() == kDelay);
            const Bands bands = Render(crossover, left, right, std::vector<std::uint32_t>(12, 500));
            float fWorst = 0.0f;
            for (std::size_t i = 0; i < 6000; ++i) {
                float fLeft = 0.0f, fRight = 0.0f;
                for (std::size_t b = 0; b < static_cast<std::size_t>(nBands); ++b) {
                    fLeft += bands[b][i];
                    fRight += bands[kBands + b][i];
                }
                const float fLeftInput = i < kDelay ? 0.0f : left[i - kDelay];
                const float fRightInput = i < kDelay ? 0.0f : right[i - kDelay];
                fWorst = std::max({fWorst, std::abs(fLeft - fLeftInput), std::abs(fRight - fRightInput)});
            }
            // Four roundings of numbers up to 2.
            CHECK(fWorst < 5e-7f);
        }
    }
}

TEST_CASE("Crossover: a lower band is the convolution with its taps, the top band what is left of them") {
    const auto left = Test::Noise(3, 2500);
    Crossover crossover;
    crossover.Configure(1, 0, 256);
    crossover.Design(FourBands());
    const Bands bands = Render(crossover, left, {}, Test::RandomCuts(4, 2500, 256));
    for (std::size_t iBand = 0; iBand < 3; ++iBand) {
        const auto& taps = crossover.Filters()->Taps(iBand);
        double fWorst = 0.0;
        for (std::size_t n = 0; n < left.size(); n += 7) {
            double fSum = 0.0;
            for (std::size_t i = 0; i < taps.size() && i <= n; ++i)
                fSum += double{taps[i]} * double{left[n - i]};
            fWorst = std::max(fWorst, std::abs(fSum - double{bands[iBand][n]}));
        }
        CAPTURE(iBand);
        CHECK(fWorst < 2e-6);
    }
    bool bExact = true;
    for (std::size_t n = kDelay; n < left.size(); ++n)
        bExact &= bands[3][n] == left[n - kDelay] - ((bands[0][n] + bands[1][n]) + bands[2][n]);
    CHECK(bExact);
}

TEST_CASE(
    "Crossover: blocks of the configured length give the same bits after a reset, and mono is left alone") {
    const auto left = Test::Noise(5, 4096);
    const auto right = Test::Noise(6, 4096);
    const std::vector<std::uint32_t> cuts(16, 256);
    Crossover crossover;
    crossover.Configure(2, 0, 256);
    crossover.Design(FourBands());
    const Bands whole = Render(crossover, left, right, cuts);
    crossover.Reset();
    const Bands again = Render(crossover, left, right, cuts);
    for (std::size_t i = 0; i < 2 * kBands; ++i)
        CHECK(Test::FirstDifference(again[i], whole[i]) == -1);

    Crossover mono;
    mono.Configure(1, 0, 256);
    mono.Design(FourBands());
    const Bands alone = Render(mono, left, {}, cuts);
    for (std::size_t i = 0; i < kBands; ++i)
        CHECK(Test::WorstDifference(alone[i], whole[i]) < 1e-6f);

    // The virtual operation takes the same outputs as one list, channel by channel.
    crossover.Reset();
    std::array<std::array<float, 256>, 2 * kBands> flat;
    std::array<float*, 2 * kBands> pointers;
    for (std::size_t i = 0; i < pointers.size(); ++i)
        pointers[i] = flat[i].data();
    auto l = left, r = right;
    float* const inputs[] = {l.data(), r.data()};
    static_cast<DSP::AudioProcessor&>(crossover).Process(inputs, 256, pointers.data());
    for (std::size_t i = 0; i < pointers.size(); ++i)
        CHECK(std::equal(flat[i].begin(), flat[i].end(), whole[i].begin()));
}

TEST_CASE("Crossover: longer blocks grow it, and new filters take over, without losing the history") {
    const auto left = Test::Noise(7, 4096);
    Crossover crossover, steady;
    for (Crossover* each : {&crossover, &steady}) {
        each->Configure(1, 0, 128);
        each->Design(FourBands());
    }
    const Bands whole = Render(steady, left, {}, std::vector<std::uint32_t>(32, 128));
    const Bands grown = Render(crossover, left, {}, {128, 128, 1000, 128, 2000, 712});
    CHECK(crossover.MaxFrames() == 2000);
    for (std::size_t i = 0; i < kBands; ++i)
        CHECK(Test::WorstDifference(grown[i], whole[i]) < 2e-6f);

    // The same filters again: nothing changes in the sound. Another number of bands starts anew.
    crossover.Reset();
    steady.Reset();
    auto first = left, second = left;
    first.resize(2048);
    second.erase(second.begin(), second.begin() + 2048);
    Render(crossover, first, {}, std::vector<std::uint32_t>(16, 128));
    crossover.Install(std::make_shared<const DigitalFilters>(*crossover.Filters(), crossover.Block()));
    crossover.Design(FourBands());
    const Bands rest = Render(crossover, second, {}, std::vector<std::uint32_t>(16, 128));
    for (std::size_t i = 0; i < kBands; ++i) {
        const std::vector<float> tail(whole[i].begin() + 2048, whole[i].end());
        CHECK(Test::WorstDifference(rest[i], tail) < 2e-6f);
    }
    auto three = FourBands();
    three.nBands = 3;
    crossover.Design(three);
    const Bands fresh = Render(crossover, second, {}, {128});
    CHECK(fresh[2][0] == doctest::Approx(0.0).epsilon(1e-6));
}

TEST_CASE("Crossover: one band is a wire, and a NaN is gone after the delay") {
    auto left = Test::Noise(8, 2048);
    Crossover crossover;
    crossover.Configure(1, 0, 256);
    CHECK(crossover.Latency() == 0);
    const std::vector<std::uint32_t> cuts(8, 256);
    CHECK(Test::FirstDifference(Render(crossover, left, {}, cuts)[0], left) == -1);

    crossover.Design(FourBands());
    left[10] = std::numeric_limits<float>::quiet_NaN();
    left[20] = std::numeric_limits<float>::infinity();
    const Bands bands = Render(crossover, left, {}, cuts);
    for (std::size_t i = 0; i < kBands; ++i) {
        bool bFinite = true;
        for (std::size_t n = 1024; n < 2048; ++n)
            bFinite &= std::isfinite(bands[i][n]);
        CHECK(bFinite);
    }
}

TEST_CASE("Crossover: processing and taking filters does not allocate") {
    auto left = Test::Noise(9, 256);
    auto right = Test::Noise(10, 256);
    Crossover crossover;
    crossover.Configure(2, 0, 256);
    crossover.Design(FourBands());
    auto other = std::make_shared<const DigitalFilters>(FourBands(0.9), 256);
    std::array<std::array<float, 256>, 2 * kBands> room;
    std::array<Crossover::BandPointers, 2> bands;
    for (std::size_t i = 0; i < kBands; ++i) {
        bands[0][i] = room[i].data();
        bands[1][i] = room[kBands + i].data();
    }
    float* const inputs[] = {left.data(), right.data()};
    crossover.ProcessBands(inputs, 256, bands.data());
    const Test::AllocationCounter counter;
    for (int i = 0; i < 20; ++i) {
        crossover.ProcessBands(inputs, i % 2 == 0 ? 256 : 100, bands.data());
        other = crossover.Install(std::move(other));
    }
    crossover.Reset();
    CHECK(counter.Count() == 0);
}
