#include <doctest/doctest.h>

#include <array>
#include <cmath>
#include <functional>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "dsp/Maximizer.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace {

constexpr double kPi = std::numbers::pi;

/// The peak of the signal between its samples, by eightfold oversampling with a sinc of 64 samples to either
/// side under a Hann window.
double TruePeak(const std::vector<float>& x) {
    constexpr int kHalf = 64;
    constexpr int kUp = 8;
    double fPeak = 0.0;
    for (int p = 0; p < kUp; ++p) {
        std::array<double, 2 * kHalf> taps;
        for (int j = 0; j < 2 * kHalf; ++j) {
            const double t = j - kHalf + 1 - p / double(kUp);
            const double fWindow = 0.5 + 0.5 * std::cos(kPi * t / (kHalf + 1));
            taps[static_cast<std::size_t>(j)] = (t == 0.0 ? 1.0 : std::sin(kPi * t) / (kPi * t)) * fWindow;
        }
        for (std::size_t i = kHalf; i + kHalf < x.size(); ++i) {
            double y = 0.0;
            for (std::size_t j = 0; j < taps.size(); ++j)
                y += taps[j] * double{x[i + 1 + j - kHalf]};
            fPeak = std::max(fPeak, std::abs(y));
        }
    }
    return fPeak;
}

struct Signal {
    std::string strName;
    double fBound;                     ///< dB over the margin with detection, see the test
    std::function<double(double)> at;  ///< of the time in samples, by about 12 dB too loud
};

std::vector<Signal> HardSignals() {
    auto random = std::make_shared<Test::Random>(3);
    return {
        {"sine at a quarter of the rate, between samples", 0.25,
         [](double t) { return 4.0 * std::sin(kPi / 2.0 * t + kPi / 4.0); }},
        {"square wave of 441 Hz", 0.25, [](double t) { return std::fmod(t, 100.0) < 50.0 ? 3.0 : -3.0; }},
        {"pairs of clicks", 0.25,
         [](double t) { return std::fmod(t, 700.0) < 2.0 ? 3.0 : 0.3 * std::sin(0.05 * t); }},
        {"white noise", 2.2, [random](double) { return double{random->Uniform(-3.0f, 3.0f)}; }},
    };
}

/// The true peak in dB over the margin, in the mode "Intelligent".
double Overshoot(const Signal& signal, bool bInterSample) {
    Test::TestContext context;
    DSP::Maximizer maximizer(context);
    Component& component = maximizer;
    component.SetBool(0, false);
    component.SetBool(5, bInterSample);
    component.SetFloat(0, -6);
    component.SetFloat(1, -1);
    std::vector<float> x(12000);
    for (std::size_t i = 0; i < x.size(); ++i)
        x[i] = static_cast<float>(signal.at(static_cast<double>(i)));
    maximizer.ProcessBlock(12000, x.data(), nullptr);
    // Without the onset, which no band-limited signal has.
    return 20.0 * std::log10(TruePeak({x.begin() + 2000, x.end()})) + 1.0;
}

}  // namespace

TEST_CASE(
    "With inter-sample detection the true peak of \"Intelligent\" stays at the margin, to the filter's reach") {
    for (const Signal& signal : HardSignals()) {
        CAPTURE(signal.strName);
        const double fOff = Overshoot(signal, false), fOn = Overshoot(signal, true);
        CHECK(fOn < fOff + 0.01);
        // The detector's filter has 13 taps a point: it falls off towards half the rate, where noise has as
        // much as anywhere.
        CHECK(fOn < signal.fBound);
    }
}
