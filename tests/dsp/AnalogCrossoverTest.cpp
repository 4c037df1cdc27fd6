#include "dsp/AnalogCrossover.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <vector>

#include "dsp/vector/Iir.h"
#include "tests/support/CountingAllocator.h"
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
        if (m_nRemaining == 0) m_uCurrent ^= 1;
        m_nRemaining = static_cast<int>(m_in.size());
        Design(nBands, c);
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

void Process(AnalogCrossover& crossover, const std::vector<float>& left, const std::vector<float>* right,
             std::size_t uFrom, std::size_t uFrames, Bands& bands) {
    std::array<float*, kBands> leftBands;
    std::array<float*, kBands> rightBands{};
    for (std::size_t i = 0; i < kBands; ++i) {
        bands[i].resize(bands[i].size() + uFrames, 99.0f);
        leftBands[i] = bands[i].data() + bands[i].size() - uFrames;
        if (!right) continue;
        bands[kBands + i].resize(bands[kBands + i].size() + uFrames, 99.0f);
        rightBands[i] = bands[kBands + i].data() + bands[kBands + i].size() - uFrames;
    }
    crossover.Process(left.data() + uFrom, right ? right->data() + uFrom : nullptr, leftBands.data(),
                      rightBands.data(), static_cast<int>(uFrames));
}

Bands Render(AnalogCrossover& crossover, const std::vector<float>& left, const std::vector<float>* right,
             const std::vector<std::uint32_t>& cuts) {
    Bands bands;
    std::size_t uDone = 0;
    for (const std::uint32_t uFrames : cuts) {
        Process(crossover, left, right, uDone, uFrames, bands);
        uDone += uFrames;
    }
    return bands;
}

void CheckSame(const Bands& a, const Bands& b, std::size_t uCount = 2 * kBands) {
    for (std::size_t i = 0; i < uCount; ++i) {
        CAPTURE(i);
        CHECK(Test::FirstDifference(a[i], b[i]) == -1);
    }
}

}  // namespace

TEST_CASE("AnalogCrossover: designs and fades in any order sound like the plain model") {
    // Equal taps give equal bits; the two designs can differ in a last bit of a gain.
    constexpr float kTolerance = 1e-6f;
    for (const std::uint32_t uRate : {22050u, 44100u, 192000u}) {
        Test::Random random(uRate);
        AnalogCrossover crossover(uRate);
        Model model(uRate);
        const auto left = Test::Noise(1, 6000);
        const auto right = Test::Noise(2, 6000);
        Bands bands, expected;
        const auto cutoffs = [&random] {
            Cutoffs c{random.Uniform(60, 16000), random.Uniform(60, 16000), random.Uniform(60, 16000)};
            std::sort(c.begin(), c.end());
            return c;
        };
        const Cutoffs first = cutoffs();
        crossover.Design(4, first);
        model.Design(4, first);
        std::size_t uDone = 0;
        while (uDone < 5000) {
            const Cutoffs c = cutoffs();
            const int nBands = static_cast<int>(random.Between(1, 4));
            const std::uint32_t uWhat = random.Between(0, 3);
            if (uWhat == 0) {
                crossover.FadeTo(nBands, c);
                model.FadeTo(nBands, c);
            }
            const std::size_t uFrames = random.Between(0, uWhat == 1 ? 700 : 40);
            Process(crossover, left, &right, uDone, uFrames, bands);
            model.Process(left, right, uDone, uFrames, expected);
            uDone += uFrames;
        }
        CAPTURE(uRate);
        for (std::size_t i = 0; i < 2 * kBands; ++i) {
            CAPTURE(i);
            float fPeak = 1.0f;
            for (const float fSample : expected[i])
                fPeak = std::max(fPeak, std::abs(fSample));
            CHECK(Test::WorstDifference(bands[i], expected[i]) < kTolerance * fPeak);
        }
    }
}

TEST_CASE("AnalogCrossover: without a fade a stream may be cut anywhere, and mono is left alone") {
    const auto left = Test::Noise(3, 5000);
    const auto right = Test::Noise(4, 5000);
    AnalogCrossover crossover(44100);
    crossover.Design(4, {120, 2000, 10000});
    const Bands whole = Render(crossover, left, &right, {5000});
    for (const std::uint32_t uLongest : {1u, 7u, 513u}) {
        crossover.Reset();
        CheckSame(Render(crossover, left, &right, Test::RandomCuts(uLongest, 5000, uLongest)), whole);
    }
    crossover.Reset();
    CheckSame(Render(crossover, left, nullptr, {5000}), whole, kBands);
}

TEST_CASE("AnalogCrossover: a fade starts anew at every change and toggles once") {
    AnalogCrossover crossover(44100);
    CHECK(crossover.FadeLength() == 64);
    crossover.Design(4, {120, 2000, 10000});
    const DSP::CoefficientSet* const before = &crossover.Current();
    crossover.FadeTo(4, {130, 2000, 10000});
    const DSP::CoefficientSet* const during = &crossover.Current();
    CHECK(before != during);
    CHECK(crossover.FadeRemaining() == 64);
    Bands bands;
    const std::vector<float> input(100);
    Process(crossover, input, nullptr, 0, 10, bands);
    CHECK(crossover.FadeRemaining() == 54);
    crossover.FadeTo(4, {140, 2000, 10000});
    CHECK(&crossover.Current() == during);
    CHECK(crossover.FadeRemaining() == 64);

    SUBCASE("a rate ends it at once") {
        crossover.SetSampleRate(192000);
        CHECK(crossover.FadeRemaining() == 0);
        CHECK(crossover.FadeLength() == 279);  // 278.64
    }
    SUBCASE("a reset ends it at once") {
        crossover.Reset();
        CHECK(crossover.FadeRemaining() == 0);
        CHECK(&crossover.Current() == during);
    }
}

TEST_CASE("AnalogCrossover: cutoffs out of order change nothing, equal ones are in order") {
    const auto left = Test::Noise(5, 400);
    AnalogCrossover crossover(44100), same(44100);
    for (AnalogCrossover* each : {&crossover, &same})
        each->Design(4, {120, 2000, 10000});
    crossover.FadeTo(4, {3000, 2000, 10000});
    crossover.Design(3, {3000, 2000, 10000});
    CHECK(crossover.FadeRemaining() == 0);
    CheckSame(Render(crossover, left, nullptr, {400}), Render(same, left, nullptr, {400}));

    // Only the cutoffs in use count.
    crossover.FadeTo(3, {120, 2000, 100});
    CHECK(crossover.FadeRemaining() == 64);
    crossover.Reset();
    crossover.FadeTo(4, {2000, 2000, 2000});
    CHECK(crossover.FadeRemaining() == 64);
    CHECK(crossover.Current().GetBand(1).fAudioGain ==
          doctest::Approx(7.0f * crossover.Current().GetBand(1).fDisplayGain).epsilon(1e-6));
}

TEST_CASE("AnalogCrossover: cutoffs at or above half the rate remove the bands above them") {
    const auto left = Test::Noise(6, 300);
    const std::vector<float> silence(300);
    AnalogCrossover crossover(22050);
    crossover.Design(4, {11025, 12000, 20000});
    Bands bands = Render(crossover, left, nullptr, {300});
    CHECK(Test::FirstDifference(bands[0], left) == -1);
    for (std::size_t i = 1; i < kBands; ++i)
        CHECK(Test::FirstDifference(bands[i], silence) == -1);

    crossover.Design(4, {500, 11025, 20000});
    AnalogCrossover two(22050);
    two.Design(2, {500, 1000, 1000});
    bands = Render(crossover, left, nullptr, {300});
    CheckSame(bands, Render(two, left, nullptr, {300}));
    CHECK(Test::FirstDifference(bands[2], silence) == -1);
}

TEST_CASE("AnalogCrossover: a cutoff moved in mid-tone makes no step beyond the cross-fade's") {
    // A tone of amplitude 1 at 1 kHz: the bands' own steps are below 2 pi f / fs = 0.1425 times the gain. A
    // fade of 64 samples between two signals at most 2 apart adds at most pi / 2 / 64 * 2 = 0.049 a sample.
    std::vector<float> tone(40000);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = static_cast<float>(std::sin(2.0 * pi * 1000.0 * static_cast<double>(i) / 44100.0));
    AnalogCrossover crossover(44100);
    crossover.Design(2, {1000, 2000, 10000});
    Bands bands;
    for (std::size_t uDone = 0; uDone < tone.size(); uDone += 500) {
        if (uDone >= 2000) crossover.FadeTo(2, {uDone % 1000 == 0 ? 950.0f : 1050.0f, 2000, 10000});
        Process(crossover, tone, nullptr, uDone, 500, bands);
    }
    for (std::size_t iBand = 0; iBand < 2; ++iBand) {
        float fStep = 0.0f;
        for (std::size_t i = 2000; i < tone.size(); ++i)
            fStep = std::max(fStep, std::abs(bands[iBand][i] - bands[iBand][i - 1]));
        CAPTURE(iBand);
        CHECK(fStep < 0.1425f + 0.049f);
    }
}

TEST_CASE("AnalogCrossover: a NaN passes, and designing and fading do not allocate") {
    AnalogCrossover crossover(44100), clean(44100);
    for (AnalogCrossover* each : {&crossover, &clean})
        each->Design(4, {120, 2000, 10000});
    auto bad = Test::Noise(8, 256);
    const auto good = Test::Noise(9, 256);
    bad[100] = std::numeric_limits<float>::quiet_NaN();
    Bands warm;
    for (auto& band : warm)
        band.reserve(2000);
    {
        const Test::AllocationCounter counter;
        Process(crossover, bad, &good, 0, 256, warm);
        crossover.FadeTo(3, {400, 4000, 8000});
        Process(crossover, good, &bad, 0, 256, warm);
        crossover.Design(4, {120, 2000, 10000});
        crossover.Reset();
        CHECK(counter.Count() == 0);
    }
    CheckSame(Render(crossover, good, &good, {256}), Render(clean, good, &good, {256}));
}
