#include "dsp/vector/Window.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include <doctest/doctest.h>

namespace {

constexpr double kPi = std::numbers::pi;

struct Shape {
    std::string strName;
    std::function<DSP::VectorStatus(float*, int)> apply;
    std::function<double(double x)> value;  // x runs from 0 to 1
};

/// I0 by its integral, (1 / pi) times that of exp(x cos t) over half a turn: the trapezoid rule converges
/// faster than any power of the step for a periodic function.
double BesselByIntegral(double x) {
    constexpr int kSteps = 2000;
    double fSum = 0.5 * (std::exp(x) + std::exp(-x));
    for (int i = 1; i < kSteps; ++i)
        fSum += std::exp(x * std::cos(kPi * i / kSteps));
    return fSum / kSteps;
}

}  // namespace

TEST_CASE("Windows: every shape multiplies by its values and is symmetric to the bit, of any length") {
    for (const int n : {2, 4, 5, 7, 100, 1023, 4096}) {
        const double m = (n - 1) / 2.0;
        std::vector<Shape> shapes = {
            {"Hann", &DSP::VectorWinHann, [](double x) { return 0.5 - 0.5 * std::cos(2 * kPi * x); }},
            {"Hamming", &DSP::VectorWinHamming, [](double x) { return 0.54 - 0.46 * std::cos(2 * kPi * x); }},
            {"Bartlett", &DSP::VectorWinBartlett, [](double x) { return 1.0 - std::abs(2.0 * x - 1.0); }},
            {"Blackman", [](float* x, int nLength) { return DSP::VectorWinBlackman(x, nLength, -0.16f); },
             [](double x) { return 0.42 - 0.5 * std::cos(2 * kPi * x) + 0.08 * std::cos(4 * kPi * x); }}};
        for (const float fAlpha : {0.0f, 0.006f, 0.1f, -0.1f}) {
            // I0 of the half circle over I0 of its height.
            shapes.push_back(
                {"Kaiser", [=](float* x, int nLength) { return DSP::VectorWinKaiser(x, nLength, fAlpha); },
                 [=](double x) {
                     const double fArc = std::sqrt(std::max(0.0, x * (1.0 - x))) * 2.0 * m;
                     return BesselByIntegral(double{fAlpha} * fArc) / BesselByIntegral(double{fAlpha} * m);
                 }});
        }
        for (const Shape& shape : shapes) {
            CAPTURE(shape.strName);
            CAPTURE(n);
            std::vector<float> window(static_cast<std::size_t>(n), 1.0f), scaled = window;
            CHECK(shape.apply(window.data(), n) == DSP::kVectorOk);
            CHECK(std::equal(window.begin(), window.end(), window.rbegin()));
            double fWorst = 0.0;
            for (int i = 0; i < n; i += 1 + n / 40) {
                const double fError =
                    double{window[static_cast<std::size_t>(i)]} - shape.value(i / (n - 1.0));
                fWorst = std::max(fWorst, std::abs(fError));
            }
            CHECK(fWorst < 1e-7);
            for (std::size_t i = 0; i < scaled.size(); ++i)
                scaled[i] = 0.1f * static_cast<float>(i) - 1.3f;
            std::vector<float> expected = scaled;
            for (std::size_t i = 0; i < scaled.size(); ++i)
                expected[i] *= window[i];
            shape.apply(scaled.data(), n);
            CHECK(scaled == expected);
            // One element stays as it is.
            float fOne = 0.7f;
            CHECK(shape.apply(&fOne, 1) == DSP::kVectorOk);
            CHECK(shape.apply(&fOne, 0) == DSP::kVectorBadLength);
            CHECK(shape.apply(nullptr, 5) == DSP::kVectorNullPointer);
            CHECK(fOne == 0.7f);
        }
    }
    // The ends would overflow without a limit on alpha m.
    std::vector<float> steep(101, 1.0f);
    DSP::VectorWinKaiser(steep.data(), 101, 1e30f);
    CHECK(steep[50] == 1.0f);
    CHECK(steep[0] == 0.0f);
    CHECK(std::is_sorted(steep.begin(), steep.begin() + 51));
}

TEST_CASE("BesselI0: the series agrees with the integral, is even, and ends for every argument") {
    for (const double x : {0.0, 1e-9, 0.3, 1.0, 5.0, 9.0, 20.0, 100.0, 333.3, 700.0}) {
        CAPTURE(x);
        CHECK(std::abs(DSP::BesselI0(x) / BesselByIntegral(x) - 1.0) < 1e-13);
        CHECK(DSP::BesselI0(-x) == DSP::BesselI0(x));
    }
    const double fInfinity = std::numeric_limits<double>::infinity();
    CHECK(DSP::BesselI0(720.0) == fInfinity);
    CHECK(DSP::BesselI0(1e6) == fInfinity);
    CHECK(DSP::BesselI0(1e300) == fInfinity);
    CHECK(DSP::BesselI0(fInfinity) == fInfinity);
    CHECK(std::isnan(DSP::BesselI0(std::numeric_limits<double>::quiet_NaN())));
}
