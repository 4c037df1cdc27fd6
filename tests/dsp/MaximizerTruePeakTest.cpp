#include <doctest/doctest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "dsp/Maximizer.h"
#include "tests/support/Signals.h"
#include "tests/support/TestContext.h"

namespace {

constexpr std::size_t kLength = 12000;
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
        {"sine at a third of the rate", 0.25,
         [](double t) { return 4.0 * std::sin(2.0 * kPi / 3.0 * t + 0.3); }},
        {"square wave of 441 Hz", 0.25, [](double t) { return std::fmod(t, 100.0) < 50.0 ? 3.0 : -3.0; }},
        {"tone bursts at 0.23 of the rate", 0.25,
         [](double t) { return std::fmod(t, 1200.0) < 90.0 ? 4.0 * std::sin(2.0 * kPi * 0.23 * t) : 0.05; }},
        {"pairs of clicks", 0.25,
         [](double t) { return std::fmod(t, 700.0) < 2.0 ? 3.0 : 0.3 * std::sin(0.05 * t); }},
        {"white noise", 2.2, [random](double) { return double{random->Uniform(-3.0f, 3.0f)}; }},
        {"bass under a sweep", 0.25,
         [](double t) { return 2.0 * std::sin(0.01 * t) + 2.0 * std::sin(1e-4 * t * t + 0.5); }},
    };
}

struct Peaks {
    double fSample;
    double fTrue;
};

double Db(double fMagnitude) {
    return 20.0 * std::log10(fMagnitude);
}

/// In dB over the margin, in the mode "Intelligent".
Peaks Overshoot(const Signal& signal, float fCharacter, bool bInterSample) {
    Test::TestContext context;
    DSP::Maximizer maximizer(context);
    Component& component = maximizer;
    component.SetBool(0, false);
    component.SetBool(5, bInterSample);
    component.SetFloat(0, -6);
    component.SetFloat(1, -1);
    component.SetFloat(5, fCharacter);
    std::vector<float> x(kLength);
    for (std::size_t i = 0; i < kLength; ++i)
        x[i] = static_cast<float>(signal.at(static_cast<double>(i)));
    maximizer.ProcessBlock(kLength, x.data(), nullptr);
    // Without the onset, which no band-limited signal has.
    const std::vector<float> settled(x.begin() + 2000, x.end());
    double fSample = 0.0;
    for (const float f : settled)
        fSample = std::max(fSample, std::abs(double{f}));
    return {Db(fSample) + 1.0, Db(TruePeak(settled)) + 1.0};
}

}  // namespace

TEST_CASE(
    "With inter-sample detection the true peak of \"Intelligent\" stays at the margin, to the filter's reach") {
    std::string table = "\npeaks over the margin in dB, detection off and on, character 4\n";
    for (const Signal& signal : HardSignals()) {
        const Peaks off = Overshoot(signal, 4, false);
        const Peaks on = Overshoot(signal, 4, true);
        char line[160];
        std::snprintf(line, sizeof line, "  %-48s sample %+.2f  true %+.2f   |  sample %+.2f  true %+.2f\n",
                      signal.strName.c_str(), off.fSample, off.fTrue, on.fSample, on.fTrue);
        table += line;
        CAPTURE(signal.strName);
        CHECK(on.fTrue < off.fTrue + 0.01);
        // The detector's filter has 13 taps a point: it falls off towards half the rate, where noise has as
        // much as anywhere.
        CHECK(on.fTrue < signal.fBound);
    }
    MESSAGE(table);
}
