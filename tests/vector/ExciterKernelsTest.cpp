#include "dsp/vector/ExciterKernels.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/vector/Elementary.h"
#include "tests/vector/KernelCases.h"

namespace {

constexpr double kNormaliser = double{0.95105654f};

float RetroModel(const DSP::ExciterRetroLaw& law, float x) {
    const float v = x * law.fDrive;
    const float s = v > 0 ? 1.0f - 1.0f / (v + 1.0f) : 1.0f / (1.0f - v) - 1.0f;
    return x * law.fDry + s * law.fMix;
}

float TapeModel(const DSP::ExciterTapeLaw& law, float x) {
    const double fAngle = double{x} * double{law.fDrive} * std::numbers::pi * 0.5 * 0.800000011920929;
    // Not std::sin: not every C library takes all the turns out of a large angle.
    const auto s = static_cast<float>(DSP::Sin(fAngle) / kNormaliser);
    return s * law.fMix + x * law.fDry;
}

float TubeModel(const DSP::ExciterTubeLaw& law, float& fEnvelope, float x) {
    fEnvelope += (std::abs(x) - fEnvelope) * law.fStep;
    const float r = fEnvelope < 0.001f ? 1000.0f : 1.0f / fEnvelope;
    const float v = x * (r * law.fDrive);
    const float y = v * v * (v + 1.0f) * (fEnvelope * 0.02f) * law.fMix + law.fDry * x;
    if (!(fEnvelope <= 1e6f)) fEnvelope = 1.0f;
    return y;
}

/// Sine and cosine amplitude of one harmonic over a whole period.
struct Harmonic {
    double fSine = 0.0;
    double fCosine = 0.0;
};
Harmonic HarmonicOf(const std::vector<float>& period, int n) {
    Harmonic harmonic;
    const double fStep = 2.0 * std::numbers::pi / static_cast<double>(period.size());
    for (std::size_t i = 0; i < period.size(); ++i) {
        const double fAngle = fStep * n * static_cast<double>(i);
        harmonic.fSine += period[i] * std::sin(fAngle) * 2.0 / static_cast<double>(period.size());
        harmonic.fCosine += period[i] * std::cos(fAngle) * 2.0 / static_cast<double>(period.size());
    }
    return harmonic;
}

std::vector<float> SinePeriod(double fAmplitude) {
    std::vector<float> period(8192);
    for (std::size_t i = 0; i < period.size(); ++i) {
        period[i] =
            static_cast<float>(fAmplitude * std::sin(2.0 * std::numbers::pi * static_cast<double>(i) / 8192));
    }
    return period;
}

}  // namespace

TEST_CASE("Retro and Tube give the bits of the plain loop at every level, for any sample") {
    const DSP::ExciterRetroLaw retro{3.7f, 0.6f, 0.4f};
    const DSP::ExciterTubeLaw tube{0.013f, 1.3f, 0.7f, 2.9f};
    Test::AtEveryLevel([&] {
        for (const int n : Test::KernelLengths()) {
            const auto input = Test::AnyFloats(static_cast<unsigned>(n), n);
            const auto other = Test::AnyBits(static_cast<unsigned>(n), n);
            std::vector<float> expected = input;
            for (float& x : expected)
                x = RetroModel(retro, x);
            Test::Guarded<float> left(input, n % 5);
            DSP::ExciterRetro(retro, left.Data(), n);
            REQUIRE(Test::FirstDifference(left.Values(), expected) == -1);
            REQUIRE(left.Intact());

            float fLeft = 0.4f, fRight = 0.2f;
            std::vector<float> expectedRight = other;
            expected = input;
            for (std::size_t i = 0; i < expected.size(); ++i) {
                expected[i] = TubeModel(tube, fLeft, expected[i]);
                expectedRight[i] = TubeModel(tube, fRight, expectedRight[i]);
            }
            Test::Guarded<float> first(input, n % 3), second(other, n % 7), mono(input, 1);
            DSP::ExciterEnvelopes envelopes{0.4f, 0.2f};
            DSP::ExciterTube(tube, envelopes, first.Data(), second.Data(), n);
            REQUIRE(Test::FirstDifference(first.Values(), expected) == -1);
            REQUIRE(Test::FirstDifference(second.Values(), expectedRight) == -1);
            REQUIRE(envelopes.fLeft == fLeft);
            REQUIRE(envelopes.fRight == fRight);
            REQUIRE(first.Intact());
            REQUIRE(second.Intact());

            envelopes = {0.4f, 0.2f};
            DSP::ExciterTube(tube, envelopes, mono.Data(), nullptr, n);
            REQUIRE(Test::FirstDifference(mono.Values(), expected) == -1);
            REQUIRE(envelopes.fLeft == fLeft);
            REQUIRE(envelopes.fRight == 0.2f);
        }
    });
}

TEST_CASE("Tape gives the same bits at every level, those of an exact sine in all but a few samples") {
    const DSP::ExciterTapeLaw law{3.1622776f, 1.0f, 0.0f};
    // Dense around full scale, then around the angles where the sine vanishes, then of any magnitude.
    std::vector<float> input;
    for (int i = -150000; i <= 150000; ++i)
        input.push_back(static_cast<float>(i) * 1.7e-5f);
    for (int k = 1; k < 20000; ++k) {
        const float fZero = static_cast<float>(k / (3.1622776 * 0.5 * 0.800000011920929));
        for (const float fTowards : {-1e9f, 1e9f})
            input.push_back(std::nextafter(fZero, fTowards));
    }
    for (const float x : Test::AnyBits(5, 20001))
        input.push_back(x);

    std::vector<float> reference;
    Test::AtEveryLevel([&] {
        std::vector<float> output = input;
        DSP::ExciterTape(law, output.data(), static_cast<int>(output.size()));
        if (reference.empty()) reference = output;
        CHECK(Test::FirstDifference(output, reference) == -1);
        // Lanes do not know each other: an odd start gives the same.
        std::vector<float> shifted(input.begin() + 3, input.end());
        DSP::ExciterTape(law, shifted.data(), static_cast<int>(shifted.size()));
        CHECK(Test::FirstDifference(shifted, {reference.begin() + 3, reference.end()}) == -1);
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
                     period.data(), 8192);
    const double z = fAmplitude * fDrive * std::numbers::pi * 0.4;
    for (int n = 0; n <= 9; ++n) {
        CAPTURE(n);
        double fExpected =
            n % 2 ? fMix * 2.0 * std::cyl_bessel_j(n, z) / std::sin(0.4 * std::numbers::pi) : 0.0;
        if (n == 1) fExpected += (1 - fMix) * fAmplitude;
        const Harmonic harmonic = HarmonicOf(period, n);
        CHECK(std::abs(harmonic.fSine - fExpected) < 1e-6);
        CHECK(std::abs(harmonic.fCosine) < 1e-6);
    }
}

TEST_CASE("Retro's fundamental and plateau are those of its hyperbola") {
    // The integral of sin t g sin t / (1 + g sin t) over a quarter, by partial fractions.
    for (const double g : {1.5, 4.0, 20.0}) {
        auto period = SinePeriod(1.0);
        DSP::ExciterRetro({static_cast<float>(g), 1.0f, 0.0f}, period.data(), 8192);
        const double fRest = std::acosh(g) / std::sqrt(g * g - 1.0);
        const double fExpected = 4.0 / std::numbers::pi * (1.0 - std::numbers::pi / (2.0 * g) + fRest / g);
        CHECK(std::abs(HarmonicOf(period, 1).fSine - fExpected) < 1e-6);
        CHECK(std::abs(HarmonicOf(period, 2).fSine) < 1e-6);
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
                     envelopes, period.data(), nullptr, 8192);
    const double b = fAmplitude / e * fDrive;
    const double fScale = e * 0.02 * fMix;
    CHECK(std::abs(HarmonicOf(period, 0).fCosine - b * b * fScale) < 1e-6);
    CHECK(std::abs(HarmonicOf(period, 1).fSine - (0.75 * b * b * b * fScale + fDry * fAmplitude)) < 1e-6);
    CHECK(std::abs(HarmonicOf(period, 2).fCosine + 0.5 * b * b * fScale) < 1e-6);
    CHECK(std::abs(HarmonicOf(period, 3).fSine + 0.25 * b * b * b * fScale) < 1e-6);
    CHECK(std::abs(HarmonicOf(period, 4).fCosine) < 1e-6);
    CHECK(envelopes.fLeft == static_cast<float>(e));
}
