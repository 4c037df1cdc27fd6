#include "dsp/vector/Window.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <limits>
#include <numbers>
#include <numeric>
#include <string>
#include <vector>

#include <doctest/doctest.h>

namespace {

constexpr double kPi = std::numbers::pi;

struct Shape {
    std::string strName;
    std::function<DSP::VectorStatus(float*, int)> apply;
    // The sum of the N values, by the sums of cosines over whole turns.
    std::function<double(double N)> sum;
    std::vector<float> five;  // the window of length 5, worked out by hand
};

const std::vector<Shape>& Shapes() {
    static const std::vector<Shape> shapes = {
        {"Hann",
         [](float* x, int n) { return DSP::VectorWinHann(x, n); },
         [](double N) { return 0.5 * N - 0.5; },
         {0.0f, 0.5f, 1.0f, 0.5f, 0.0f}},
        {"Hamming",
         [](float* x, int n) { return DSP::VectorWinHamming(x, n); },
         [](double N) { return 0.54 * N - 0.46; },
         {0.08f, 0.54f, 1.0f, 0.54f, 0.08f}},
        {"Bartlett",
         [](float* x, int n) { return DSP::VectorWinBartlett(x, n); },
         // Both slopes of an odd length meet in its middle; an even one lacks half a step there.
         [](double N) {
             return std::fmod(N, 2.0) == 1.0 ? (N - 1.0) / 2.0 : N * (N - 2.0) / (2.0 * (N - 1.0));
         },
         {0.0f, 0.5f, 1.0f, 0.5f, 0.0f}},
        {"Blackman",
         [](float* x, int n) { return DSP::VectorWinBlackman(x, n, -0.16f); },
         [](double N) { return 0.42 * N - 0.5 + 0.08; },
         {0.0f, 0.34f, 1.0f, 0.34f, 0.0f}},
    };
    return shapes;
}

std::vector<float> Window(const Shape& shape, int nLength) {
    std::vector<float> x(static_cast<std::size_t>(nLength), 1.0f);
    CHECK(shape.apply(x.data(), nLength) == DSP::kVectorOk);
    return x;
}

bool Mirrored(const std::vector<float>& x) {
    return std::equal(x.begin(), x.end(), x.rbegin());
}

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

TEST_CASE("Windows: every shape has its values, its sum and its symmetry") {
    for (const Shape& shape : Shapes()) {
        CAPTURE(shape.strName);
        const std::vector<float> five = Window(shape, 5);
        for (std::size_t i = 0; i < 5; ++i)
            CHECK(std::abs(five[i] - shape.five[i]) < 1e-7f);
        for (const int n : {4, 7, 100, 1023, 4096}) {
            CAPTURE(n);
            const std::vector<float> x = Window(shape, n);
            CHECK(Mirrored(x));
            // Every value is rounded to 24 bits.
            const double fSum = std::accumulate(x.begin(), x.end(), 0.0);
            CHECK(std::abs(fSum - shape.sum(n)) < 6e-8 * n);
            // Rising to the middle, so no value is at another's place.
            CHECK(std::is_sorted(x.begin(), x.begin() + (n + 1) / 2));
        }
    }
}

TEST_CASE("Windows: a window multiplies what is there, and one element stays as it is") {
    for (const Shape& shape : Shapes()) {
        CAPTURE(shape.strName);
        const std::vector<float> window = Window(shape, 33);
        std::vector<float> x(33);
        for (std::size_t i = 0; i < x.size(); ++i)
            x[i] = 0.1f * static_cast<float>(i) - 1.3f;
        std::vector<float> expected = x;
        for (std::size_t i = 0; i < x.size(); ++i)
            expected[i] *= window[i];
        shape.apply(x.data(), 33);
        CHECK(x == expected);
        float one[2] = {0.7f, 0.9f};
        CHECK(shape.apply(one, 1) == DSP::kVectorOk);
        CHECK((one[0] == 0.7f && one[1] == 0.9f));
        CHECK(shape.apply(one, 0) == DSP::kVectorBadLength);
        CHECK(shape.apply(nullptr, 5) == DSP::kVectorNullPointer);
        const std::vector<float> two = Window(shape, 2);
        CHECK(two[0] == two[1]);
        CHECK(std::isfinite(two[0]));
    }
}

TEST_CASE("Kaiser window: I0 of the half circle over I0 of its height, at every place") {
    for (const int n : {2, 5, 64, 1025}) {
        for (const float fAlpha : {0.0f, 0.006f, 0.1f, -0.1f}) {
            CAPTURE(n);
            CAPTURE(fAlpha);
            std::vector<float> x(static_cast<std::size_t>(n), 1.0f);
            CHECK(DSP::VectorWinKaiser(x.data(), n, fAlpha) == DSP::kVectorOk);
            CHECK(Mirrored(x));
            const double m = (n - 1) / 2.0, alpha = double{fAlpha};
            double fWorst = 0.0;
            for (int i = 0; i < n; i += 1 + n / 40) {
                const double fArc = std::sqrt(std::max(0.0, m * m - (i - m) * (i - m)));
                const double exact = BesselByIntegral(alpha * fArc) / BesselByIntegral(alpha * m);
                fWorst = std::max(fWorst, std::abs(double{x[static_cast<std::size_t>(i)]} - exact));
            }
            CHECK(fWorst < 1e-7);
        }
    }
    // The ends would overflow without a limit on alpha m.
    std::vector<float> steep(101, 1.0f);
    DSP::VectorWinKaiser(steep.data(), 101, 1e30f);
    CHECK(steep[50] == 1.0f);
    CHECK(steep[0] == 0.0f);
    CHECK(std::is_sorted(steep.begin(), steep.begin() + 51));
    float one = 0.7f;
    CHECK(DSP::VectorWinKaiser(&one, 1, 3.0f) == DSP::kVectorOk);
    CHECK(one == 0.7f);
    CHECK(DSP::VectorWinKaiser(&one, 0, 3.0f) == DSP::kVectorBadLength);
    CHECK(DSP::VectorWinKaiser(nullptr, 1, 3.0f) == DSP::kVectorNullPointer);
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
