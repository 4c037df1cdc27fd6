#include <doctest/doctest.h>

#include <array>
#include <cmath>

#include "dsp/meter/Spectrum.h"
#include "dsp/meter/SpectrumState.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

using namespace DSP::Meter;

namespace {

enum Choice : std::uint32_t { kType, kAverage, kHoldTime, kWindowSize, kOverlap, kWindowType };
constexpr std::uint32_t kLength = 512;

struct Fixture {
    Test::TestContext context;
    SpectrumState state{context};
    Spectrum spectrum{context, state};
    std::array<float, Spectrum::kMaxValues> values{};

    /// Frames of 512 that do not overlap.
    Fixture() {
        spectrum.SetInt(kWindowSize, 0);
        spectrum.SetInt(kOverlap, 0);
        SpectrumAnalyzer analyzer({SpectrumType::Linear, 0, 0, 0, 4, 44100});
        analyzer.Feed(kLength, m_noise.data(), nullptr);
        m_unit = analyzer.Values();
    }
    void Frame(float fGain) {
        std::vector<float> samples = m_noise;
        for (float& fSample : samples)
            fSample *= fGain;
        spectrum.Meter(kLength, samples.data(), nullptr);
    }
    /// Every value as a multiple of what the frame gives at a gain of 1: the mean ratio over the bins.
    double Gain() {
        static_cast<void>(spectrum.Read(values));
        const std::vector<float> present = spectrum.Current().magnitudes;
        double fSum = 0;
        for (std::size_t k = 1; k < present.size(); ++k)
            fSum += double{present[k]} / double{m_unit[k]};
        return fSum / static_cast<double>(present.size() - 1);
    }

private:
    const std::vector<float> m_noise = Test::Noise(4, kLength);
    std::vector<float> m_unit;
};

}  // namespace

TEST_CASE("Spectrum: in real time the highest frame stays until a display reads, then falls by its hop") {
    Fixture f;
    f.Frame(1.0f);
    f.Frame(0.5f);
    f.Frame(0.01f);
    CHECK(f.spectrum.Current().magnitudes.size() == 257);
    CHECK(f.Gain() == doctest::Approx(1.0).epsilon(1e-5));
    // 120 dB a second, one step a read.
    const double fStep = std::pow(10.0, -6.0 * kLength / 44100.0);
    f.Frame(0.01f);
    f.Frame(0.01f);
    f.Frame(0.01f);
    CHECK(f.Gain() == doctest::Approx(fStep).epsilon(1e-5));
    f.Frame(0.01f);
    CHECK(f.Gain() == doctest::Approx(fStep * fStep).epsilon(1e-5));
}

TEST_CASE("Spectrum: silence falls to the guard, not to zero or into denormals") {
    Fixture f;
    const std::vector<float> silence(kLength);
    for (int i = 0; i < 400; ++i) {
        f.spectrum.Meter(kLength, silence.data(), silence.data());
        f.spectrum.Read(f.values);
    }
    const float fLine = f.spectrum.Current().magnitudes[2];  // the guard's period is 256 samples
    CHECK(fLine > 1e-11f);
    CHECK(fLine < 1e-9f);
}

TEST_CASE("Spectrum: the infinite average is the mean of all frames, and frames after a restart alone") {
    Fixture f;
    f.spectrum.SetInt(kAverage, 5);
    double fSum = 0;
    for (int i = 1; i <= 500; ++i) {
        const float fGain = 0.001f * static_cast<float>(i);
        f.Frame(fGain);
        fSum += double{fGain};
    }
    CHECK(f.Gain() == doctest::Approx(fSum / 500).epsilon(1e-5));
    f.spectrum.SetSampleRate(44100);
    CHECK(f.Gain() == doctest::Approx(fSum / 500).epsilon(1e-5));
    f.Frame(0.75f);
    CHECK(f.Gain() == doctest::Approx(0.75).epsilon(1e-5));
}

TEST_CASE("Spectrum: a moving average is the mean of the last frames of its time, and of fewer at first") {
    for (std::int32_t nAverage = 1; nAverage <= 4; ++nAverage) {
        constexpr int kSeconds[] = {0, 1, 3, 5, 10};
        const int nRows = static_cast<int>(std::ceil(kSeconds[nAverage] * 44100.0 / kLength));
        Fixture f;
        f.spectrum.SetInt(kAverage, nAverage);
        std::vector<double> gains;
        Test::Random random(5);
        for (int i = 0; i < nRows + 30; ++i) {
            gains.push_back(double{random.Uniform(0.1f, 1.0f)});
            f.Frame(static_cast<float>(gains.back()));
            if (i != 4 && i != nRows - 1 && i != nRows && i != nRows + 29) continue;
            const int nFirst = std::max(i + 1 - nRows, 0);
            double fSum = 0;
            for (int j = nFirst; j <= i; ++j)
                fSum += gains[static_cast<std::size_t>(j)];
            CAPTURE(nAverage);
            CAPTURE(i);
            CHECK(f.Gain() == doctest::Approx(fSum / (i + 1 - nFirst)).epsilon(1e-5));
        }
    }
}

TEST_CASE("Spectrum: a display gets each new reading once, and a changed choice begins anew") {
    Fixture f;
    CHECK(f.spectrum.Read(f.values) == 257);
    CHECK(f.spectrum.Read(f.values) == 0);
    f.Frame(1.0f);
    CHECK(f.spectrum.Read(f.values) == 257);
    CHECK(f.values[9] == f.spectrum.Current().magnitudes[9]);
    CHECK(f.values[9] > 0.0f);
    CHECK(f.spectrum.Read(f.values) == 0);

    f.spectrum.SetInt(kHoldTime, 5);
    CHECK(f.spectrum.Read(f.values) == 0);
    for (const auto& [iChoice, nValue, uCount] : {std::tuple{kWindowType, 0, 257u},
                                                  {kOverlap, 2, 257u},
                                                  {kAverage, 3, 257u},
                                                  {kWindowSize, 4, 4097u},
                                                  {kType, 1, 32u},
                                                  {kType, 2, 26u}}) {
        std::vector<float> noise = Test::Noise(1, 8192);
        f.spectrum.Meter(8192, noise.data(), nullptr);
        f.spectrum.SetInt(iChoice, nValue);
        CHECK(f.spectrum.Read(f.values) == uCount);
        CHECK(f.values[9] == 0.0f);
    }
    const auto reading = f.spectrum.Current();
    CHECK(reading.type == SpectrumType::Critical);
    CHECK(reading.frequencies.size() == 26);
    CHECK(reading.frequencies[1] == 150.0f);
    CHECK(reading.frequencies[25] == 20000.0f);

    f.spectrum.SetSampleRate(96000);
    CHECK(f.spectrum.Current().uSampleRate == 96000);
}
