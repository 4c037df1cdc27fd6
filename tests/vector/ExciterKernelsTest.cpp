#include "dsp/vector/ExciterKernels.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "dsp/vector/Elementary.h"
#include "tests/vector/KernelCases.h"

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kNormaliser = double{0.95105654f};

float TapeModel(const DSP::ExciterTapeLaw& law, float x) {
    const double fAngle = double{x} * double{law.fDrive} * kPi * 0.5 * 0.800000011920929;
    // Not std::sin: not every C library takes all the turns out of a large angle.
    const auto s = static_cast<float>(DSP::Sin(fAngle) / kNormaliser);
    return s * law.fMix + x * law.fDry;
}

constexpr int kPeriod = 8192;

/// One harmonic over a whole period: its cosine as the real part, its sine as the imaginary one.
std::complex<double> HarmonicOf(const std::vector<float>& period, int n) {
    std::complex<double> sum = 0.0;
    for (int i = 0; i < kPeriod; ++i)
        sum += std::polar(double{period[static_cast<std::size_t>(i)]} * 2.0 / kPeriod,
                          2.0 * kPi * n * i / kPeriod);
    return sum;
}
bool Close(std::complex<double> a, std::complex<double> b) {
    return std::abs(a - b) < 1e-6;
}

std::vector<float> SinePeriod(double fAmplitude) {
    std::vector<float> period(kPeriod);
    for (int i = 0; i < kPeriod; ++i)
        period[static_cast<std::size_t>(i)] =
            static_cast<float>(fAmplitude * std::sin(2.0 * kPi * i / kPeriod));
    return period;
}

}  // namespace

TEST_CASE("Tape gives the same bits at every level, those of an exact sine in all but a few samples") {
    const DSP::ExciterTapeLaw law{3.1622776f, 1.0f, 0.0f};
    // Dense around full scale, then around the angles where the sine vanishes, then of any magnitude.
    std::vector<float> input = Test::AnyBits(5, 20001);
    for (int i = -150000; i <= 150000; ++i)
        input.push_back(static_cast<float>(i) * 1.7e-5f);
    for (int k = 1; k < 20000; ++k) {
        const float fZero = static_cast<float>(k / (3.1622776 * 0.5 * 0.800000011920929));
        input.insert(input.end(), {std::nextafter(fZero, -1e9f), std::nextafter(fZero, 1e9f)});
    }
    std::vector<float> reference;
    Test::AtEveryLevel([&] {
        std::vector<float> output = input;
        // Lanes do not know each other: the length of a block does not matter.
        DSP::ExciterTape(law, output.data(), 3);
        DSP::ExciterTape(law, output.data() + 3, static_cast<int>(output.size()) - 3);
        if (reference.empty()) reference = output;
        CHECK(Test::FirstDifference(output, reference) == -1);
    });
    int nDifferent = 0;
    for (std::size_t i = 0; i < input.size(); ++i) {
        const float fExpected = TapeModel(law, input[i]);
        if (Test::SameBits(reference[i], fExpected)) continue;
        ++nDifferent;
        REQUIRE((reference[i] == std::nextafter(fExpected, 2.0f) ||
                 reference[i] == std::nextafter(fExpected, -2.0f)));
    }
    CHECK(nDifferent <= 1);
}

TEST_CASE("Tape turns a sine into odd harmonics that follow the Bessel functions") {
    // sin(z sin t) = 2 J1(z) sin t + 2 J3(z) sin 3t + ... (Jacobi and Anger).
    const double fAmplitude = 0.8, fDrive = 2.5, fMix = 0.7;
    auto period = SinePeriod(fAmplitude);
    DSP::ExciterTape({static_cast<float>(fDrive), static_cast<float>(fMix), static_cast<float>(1 - fMix)},
                     period.data(), kPeriod);
    const double z = fAmplitude * fDrive * kPi * 0.4;
    for (int n = 0; n <= 9; ++n) {
        CAPTURE(n);
        double fExpected = n % 2 ? fMix * 2.0 * std::cyl_bessel_j(n, z) / std::sin(0.4 * kPi) : 0.0;
        if (n == 1) fExpected += (1 - fMix) * fAmplitude;
        CHECK(Close(HarmonicOf(period, n), {0.0, fExpected}));
    }
}

TEST_CASE("Retro's fundamental and plateau are those of its hyperbola") {
    // The integral of sin t g sin t / (1 + g sin t) over a quarter, by partial fractions.
    for (const double g : {1.5, 4.0, 20.0}) {
        auto period = SinePeriod(1.0);
        DSP::ExciterRetro({static_cast<float>(g), 1.0f, 0.0f}, period.data(), kPeriod);
        const double fRest = std::acosh(g) / std::sqrt(g * g - 1.0);
        const double fExpected = 4.0 / kPi * (1.0 - kPi / (2.0 * g) + fRest / g);
        CHECK(Close(HarmonicOf(period, 1), {0.0, fExpected}));
        CHECK(Close(HarmonicOf(period, 2), 0.0));
        CHECK(*std::max_element(period.begin(), period.end()) == doctest::Approx(g / (1.0 + g)));
        CHECK(*std::min_element(period.begin(), period.end()) == doctest::Approx(-g / (1.0 + g)));
    }
}

TEST_CASE("Tube at a steady envelope adds the harmonics of a square and a cube") {
    // v v + v v v with v = b sin t: b b / 2 - b b / 2 cos 2t + 3/4 b^3 sin t - 1/4 b^3 sin 3t.
    const double fAmplitude = 0.5, e = 0.25, fDrive = 1.4, fMix = 0.9, fDry = 2.2;
    auto period = SinePeriod(fAmplitude);
    DSP::ExciterEnvelopes envelopes{static_cast<float>(e), 0.0f};
    DSP::ExciterTube({0.0f, static_cast<float>(fDrive), static_cast<float>(fMix), static_cast<float>(fDry)},
                     envelopes, period.data(), nullptr, kPeriod);
    const double b = fAmplitude / e * fDrive;
    const double fScale = e * 0.02 * fMix;
    const std::complex<double> expected[] = {b * b * fScale,
                                             {0.0, 0.75 * b * b * b * fScale + fDry * fAmplitude},
                                             -0.5 * b * b * fScale,
                                             {0.0, -0.25 * b * b * b * fScale},
                                             0.0};
    for (int n = 0; n < 5; ++n) {
        CAPTURE(n);
        CHECK(Close(HarmonicOf(period, n), expected[n]));
    }
    CHECK(envelopes.fLeft == static_cast<float>(e));
}
