#include "dsp/AnalogCrossover.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "dsp/vector/Iir.h"
#include "tests/support/Signals.h"

using DSP::AnalogCrossover;
using Cutoffs = AnalogCrossover::Cutoffs;

namespace {

constexpr std::size_t kBands = 4;
constexpr double pi = std::numbers::pi;

using Bands = std::array<std::vector<float>, 2 * kBands>;  // left, then right

/// The crossover as its description has it: a cascade a filter and channel, whole blocks one after another.
/// The designs are the textbook's, with the tangent of the corner.
class Model {
public:
    explicit Model(double fRate) : m_fRate(fRate) {
        const auto nLength = static_cast<std::size_t>(std::lround(fRate * 64.0 / 44100.0));
        for (std::size_t i = 0; i < nLength; ++i) {
            const double fAngle = (static_cast<double>(i) + 0.5) * pi / static_cast<double>(nLength);
            m_in.push_back(static_cast<float>((1.0 - std::cos(fAngle)) * 0.5));
            m_out.push_back(1.0f - m_in.back());
        }
    }

    void Design(int nBands, const Cutoffs& c) {
        if (!InOrder(nBands, c)) return;
        Set& set = m_sets[m_uCurrent];
        set = Set{};
        std::size_t iTop = 0;
        for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(nBands); ++i) {
            if (double{c[i]} < m_fRate / 2) iTop = i + 1;
        }
        for (std::size_t iBand = 0; iTop > 0 && iBand <= iTop; ++iBand) {
            Band band;
            double fGain = 1.0;
            if (iBand < iTop) band.filters.push_back(Filter(true, c[iBand], fGain));
            if (iBand > 0) band.filters.push_back(Filter(false, c[iBand - 1], fGain));
            double fLift = 1.0;
            if (band.filters.size() == 2) {
                const float r = c[iBand] / c[iBand - 1];
                fLift = double{1.0f + 6.0f / (r * r * r)};
            }
            band.fGain = static_cast<float>(fGain * fLift);
            set[iBand] = set[kBands + iBand] = band;
        }
    }

    void FadeTo(int nBands, const Cutoffs& c) {
        if (!InOrder(nBands, c)) return;
        if (m_nRemaining == 0) m_uCurrent ^= 1;
        m_nRemaining = static_cast<int>(m_in.size());
        Design(nBands, c);
    }

    void Reset() {
        m_nRemaining = 0;
        for (Band& band : m_sets[m_uCurrent]) {
            for (DSP::IirCascade& filter : band.filters)
                filter.Reset();
        }
    }

    void Process(const std::vector<float>& left, const std::vector<float>& right, std::size_t uFrom,
                 std::size_t uFrames, Bands& bands) {
        const auto nFade = std::min(static_cast<int>(uFrames), m_nRemaining);
        const std::size_t uPosition = m_in.size() - static_cast<std::size_t>(nFade);
        for (std::size_t i = 0; i < 2 * kBands; ++i) {
            const float* input = (i < kBands ? left : right).data() + uFrom;
            auto piece = Run(m_sets[m_uCurrent][i], i % kBands == 0, {input, input + uFrames});
            if (nFade > 0) {
                const auto old = Run(m_sets[m_uCurrent ^ 1][i], i % kBands == 0, {input, input + nFade});
                for (std::size_t k = 0; k < old.size(); ++k)
                    piece[k] = piece[k] * m_in[uPosition + k] + old[k] * m_out[uPosition + k];
            }
            bands[i].insert(bands[i].end(), piece.begin(), piece.end());
        }
        m_nRemaining -= nFade;
    }

private:
    struct Band {
        std::vector<DSP::IirCascade> filters;
        float fGain = 1.0f;
    };
    using Set = std::array<Band, 2 * kBands>;

    static bool InOrder(int nBands, const Cutoffs& c) {
        return nBands < 3 || (c[0] <= c[1] && (nBands < 4 || c[1] <= c[2]));
    }

    DSP::IirCascade Filter(bool bLow, float fCutoff, double& fGain) const {
        const double k = std::tan(pi * double{fCutoff} / m_fRate);
        const double fNorm = 1.0 + std::numbers::sqrt2 * k + k * k;
        const double a1 = 2.0 * (k * k - 1.0) / fNorm;
        const double a2 = (1.0 - std::numbers::sqrt2 * k + k * k) / fNorm;
        const double fPassband = bLow ? k * k / fNorm : 1.0 / fNorm;
        fGain *= fPassband * fPassband;
        const double b1 = bLow ? 2.0 : -2.0;
        const double r1 = double{static_cast<float>(a1)};
        const double r2 = double{static_cast<float>(a2)};
        const double taps[] = {1.0, b1, 1.0, 1.0, r1, r2, 1.0, b1, 1.0, 1.0, r1, r2};
        return DSP::IirCascade(taps, 2);
    }

    static std::vector<float> Run(Band& band, bool bLowest, std::vector<float> samples) {
        if (band.filters.empty() && !bLowest) return std::vector<float>(samples.size());
        for (std::size_t i = 0; i < band.filters.size(); ++i) {
            band.filters[i].Process(samples.data(), static_cast<int>(samples.size()));
            if (i > 0) continue;
            for (float& fSample : samples)
                fSample *= band.fGain;
        }
        return samples;
    }

    double m_fRate;
    std::vector<float> m_in, m_out;
    std::array<Set, 2> m_sets;
    std::size_t m_uCurrent = 0;
    int m_nRemaining = 0;
};

void Process(AnalogCrossover& crossover, const float* left, const float* right, std::size_t uFrames,
             Bands& bands) {
    std::array<float*, 2 * kBands> pointers{};
    for (std::size_t i = 0; i < (right ? 2 * kBands : kBands); ++i) {
        bands[i].resize(bands[i].size() + uFrames, 99.0f);
        pointers[i] = bands[i].data() + bands[i].size() - uFrames;
    }
    crossover.Process(left, right, pointers.data(), pointers.data() + kBands, static_cast<int>(uFrames));
}

/// In and out of order, equal to one another, and at half the rate or close to it.
Cutoffs DrawCutoffs(Test::Random& random, float fNyquist) {
    Cutoffs c;
    for (float& fCutoff : c) {
        const std::uint32_t uDraw = random.Between(0, 9);
        fCutoff = uDraw == 0 ? fNyquist : uDraw == 1 ? fNyquist - 2 : random.Uniform(20, 16000);
    }
    if (random.Between(0, 3) != 0) std::sort(c.begin(), c.end());
    if (random.Between(0, 3) == 0) c[1] = c[0];
    return c;
}

}  // namespace

TEST_CASE("AnalogCrossover: designs, fades and resets in any order sound like the plain model") {
    for (const std::uint32_t uRate : {22050u, 44100u, 192000u}) {
        CAPTURE(uRate);
        Test::Random random(uRate);
        AnalogCrossover crossover(uRate), mono(uRate);
        Model model(uRate);
        const auto left = Test::Noise(1, 21000), right = Test::Noise(2, 21000);
        Bands bands, monoBands, expected;
        for (std::size_t uDone = 0; uDone < 20000;) {
            const Cutoffs c = DrawCutoffs(random, static_cast<float>(uRate) / 2);
            const int nBands = uDone == 0 ? 4 : static_cast<int>(random.Between(1, 4));
            const std::uint32_t uWhat = random.Between(0, 6);
            const auto change = [&](auto& each) {
                if (uWhat < 3) each.FadeTo(nBands, c);
                if (uWhat == 3) each.Design(nBands, c);
                if (uWhat == 4) each.Reset();
            };
            change(crossover);
            change(mono);
            change(model);
            const std::size_t uFrames = random.Between(0, uWhat % 2 == 1 ? 700 : 40);
            Process(crossover, left.data() + uDone, right.data() + uDone, uFrames, bands);
            Process(mono, left.data() + uDone, nullptr, uFrames, monoBands);
            model.Process(left, right, uDone, uFrames, expected);
            uDone += uFrames;
        }
        for (std::size_t i = 0; i < 2 * kBands; ++i) {
            CAPTURE(i);
            float fPeak = 1.0f;
            for (const float fSample : expected[i])
                fPeak = std::max(fPeak, std::abs(fSample));
            // Equal taps give equal bits; the two designs can differ in a last bit of a gain.
            CHECK(Test::WorstDifference(bands[i], expected[i]) < 1e-6f * fPeak);
            if (i < kBands) CHECK(Test::FirstDifference(monoBands[i], bands[i]) == -1);
        }
    }
}

TEST_CASE("AnalogCrossover: a NaN spoils its block and no other, also in the midst of a fade") {
    AnalogCrossover crossover(44100);
    crossover.Design(4, {120, 2000, 10000});
    crossover.FadeTo(4, {130, 2000, 10000});
    std::vector<float> left(16), right(16);
    Bands bands;
    for (const float fSample : {NAN, 0.5f}) {
        left[5] = fSample;
        bands = {};
        Process(crossover, left.data(), right.data(), 16, bands);
    }
    CHECK(crossover.FadeRemaining() == 32);
    for (const std::vector<float>& band : bands)
        CHECK(std::all_of(band.begin(), band.end(), [](float x) { return std::isfinite(x); }));
}
