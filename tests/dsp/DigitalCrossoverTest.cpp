#include "dsp/DigitalCrossover.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "tests/dsp/LinearPhaseModel.h"
#include "tests/support/Signals.h"

using DSP::Crossover;
using DSP::DigitalFilters;

namespace {

constexpr std::size_t kBands = Crossover::kMaxBands;
constexpr std::size_t kDelay = 511;

using Bands = std::array<std::vector<float>, 2 * kBands>;  // left, then right
using Cuts = std::vector<std::uint32_t>;

DigitalFilters::Design Design(int nBands = 4) {
    return {nBands, {120, 2000, 10000}, 44100, 0.3};
}

/// An empty right is mono. The virtual operation takes the outputs as one list, channel by channel.
Bands Render(Crossover& crossover, std::vector<float> left, std::vector<float> right, const Cuts& cuts,
             bool bVirtual = false) {
    Bands bands;
    bands.fill(std::vector<float>(left.size(), 99.0f));
    std::size_t uDone = 0;
    for (const std::uint32_t uFrames : cuts) {
        float* const inputs[] = {left.data() + uDone, right.empty() ? nullptr : right.data() + uDone};
        std::array<Crossover::BandPointers, 2> pointers{};
        std::vector<float*> list;
        for (std::size_t i = 0; i < 2 * kBands; ++i) {
            if (i % kBands >= static_cast<std::size_t>(crossover.Bands())) continue;
            list.push_back(pointers[i / kBands][i % kBands] = bands[i].data() + uDone);
        }
        DSP::AudioProcessor& processor = crossover;
        if (bVirtual) processor.Process(inputs, static_cast<int>(uFrames), list.data());
        if (!bVirtual) crossover.ProcessBands(inputs, static_cast<int>(uFrames), pointers.data());
        uDone += uFrames;
    }
    return bands;
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
        // From 1 up the skirts are steps.
        design.fSteepness = i > 3 ? 1.0 * (i - 3) : double{random.Uniform(0.0f, 0.9f)};
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

TEST_CASE("Crossover: a lower band is the convolution with its taps, the top band what is left of them") {
    constexpr std::size_t kLength = 2500;
    const auto left = Test::Noise(3, kLength), right = Test::Noise(4, kLength);
    for (const int nBands : {2, 3, 4}) {
        CAPTURE(nBands);
        Crossover crossover;
        crossover.Configure(2, 0, 256);
        crossover.Design(Design(nBands));
        CHECK(crossover.Latency() == kDelay);
        const Cuts cuts = Test::RandomCuts(4, kLength, 256);
        const Bands bands = Render(crossover, left, right, cuts, nBands == 3);
        for (std::size_t iChannel = 0; iChannel < 2; ++iChannel) {
            const auto& input = iChannel == 0 ? left : right;
            const std::vector<float>* const band = &bands[kBands * iChannel];
            const auto uTop = static_cast<std::size_t>(nBands - 1);
            double fWorst = 0.0;
            for (std::size_t iBand = 0; iBand < uTop; ++iBand) {
                const auto& taps = crossover.Filters()->Taps(iBand);
                for (std::size_t n = 0; n < kLength; n += 7) {
                    double fSum = 0.0;
                    for (std::size_t i = 0; i < taps.size() && i <= n; ++i)
                        fSum += double{taps[i]} * double{input[n - i]};
                    fWorst = std::max(fWorst, std::abs(fSum - double{band[iBand][n]}));
                }
            }
            CHECK(fWorst < 2e-6);
            bool bExact = true;
            for (std::size_t n = 0; n < kLength; ++n) {
                float fSum = band[0][n];
                for (std::size_t iBand = 1; iBand < uTop; ++iBand)
                    fSum += band[iBand][n];
                bExact &= band[uTop][n] == (n < kDelay ? 0.0f : input[n - kDelay]) - fSum;
            }
            CHECK(bExact);
        }
        Crossover mono;
        mono.Configure(1, 0, 256);
        mono.Design(Design(nBands));
        const Bands alone = Render(mono, left, {}, cuts);
        for (std::size_t i = 0; i < kBands; ++i)
            CHECK(Test::WorstDifference(alone[i], bands[i]) < 1e-6f);
    }
}

TEST_CASE("Crossover: longer blocks grow it, and new filters take over, without losing the history") {
    const auto input = Test::Noise(7, 4096);
    Crossover steady, changing;
    for (Crossover* each : {&steady, &changing}) {
        each->Configure(1, 0, 128);
        CHECK(Test::FirstDifference(Render(*each, input, {}, Cuts(32, 128))[0], input) == -1);
        each->Design(Design());
    }
    const Bands whole = Render(steady, input, {}, Cuts(32, 128));
    const std::vector<float> first(input.begin(), input.begin() + 2048),
        second(input.begin() + 2048, input.end());
    Render(changing, first, {}, {128, 128, 1000, 128, 664});
    CHECK(changing.MaxFrames() == 1000);
    // The same filters again.
    DigitalFilters::Work work;
    const auto same = std::make_shared<DigitalFilters>();
    same->Prepare(changing.Block(), work);
    same->Adopt(*changing.Filters(), work);
    changing.Install(same);
    changing.Design(Design());
    const Bands rest = Render(changing, second, {}, {128, 1600, 320});
    for (std::size_t i = 0; i < kBands; ++i) {
        const std::vector<float> tail(whole[i].begin() + 2048, whole[i].end());
        CHECK(Test::WorstDifference(rest[i], tail) < 2e-6f);
    }
    // Another number of bands starts anew.
    changing.Design(Design(3));
    CHECK(std::abs(Render(changing, second, {}, {128})[2][0]) < 1e-6f);
}
