#include "dsp/vector/SoftSaturation.h"

#include <doctest/doctest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/vector/KernelCases.h"

namespace {

float Saturated(float fSample) {
    DSP::VectorSoftSaturate(&fSample, 1);
    return fSample;
}

}  // namespace

TEST_CASE("Soft saturation leaves 0.95, ends at exactly 0.975 and mirrors") {
    const float fInfinity = std::numeric_limits<float>::infinity();
    const float fBelow = std::nextafter(0.95f, 0.0f);
    const float fAbove = std::nextafter(1.0f, 2.0f);
    const struct {
        float fIn, fOut;
    } kCorners[] = {{0.0f, 0.0f},   {0.5f, 0.5f},     {fBelow, fBelow}, {0.95f, 0.95f},
                    {1.0f, 0.975f}, {fAbove, 0.975f}, {40.0f, 0.975f},  {fInfinity, 0.975f}};
    Test::AtEveryLevel([&] {
        for (const auto& corner : kCorners) {
            CAPTURE(corner.fIn);
            CHECK(Saturated(corner.fIn) == corner.fOut);
            CHECK(Saturated(-corner.fIn) == -corner.fOut);
        }
        CHECK(std::signbit(Saturated(-0.0f)));
        CHECK(std::isnan(Saturated(std::nanf(""))));
    });
    CHECK(DSP::VectorSoftSaturate(nullptr, 3) == DSP::kVectorNullPointer);
    float fSample = 1.0f;
    CHECK(DSP::VectorSoftSaturate(&fSample, 0) == DSP::kVectorBadLength);
    CHECK(fSample == 1.0f);
}

TEST_CASE("Soft saturation follows its formula in single precision and never falls") {
    std::vector<float> ramp;
    for (float x = -1.1f; x < 1.1f; x += 1e-5f)
        ramp.push_back(x);
    // The branches as they are told, positive and negative.
    std::vector<float> expected = ramp;
    for (float& x : expected) {
        const float d = (x < 0.0f ? -x : x) - 0.95f;
        const float t = d / 0.050000012f;
        const float b = t * t + 1.0f;
        const float y = x > 1.0f || x < -1.0f ? 0.975f : d / b + 0.95f;
        if (x >= 0.95f) x = y;
        if (x <= -0.95f) x = -y;
    }
    Test::AtEveryLevel([&] {
        std::vector<float> out = ramp;
        DSP::VectorSoftSaturate(out.data(), static_cast<int>(out.size()));
        std::size_t uWrong = 0;
        for (std::size_t i = 0; i < ramp.size(); ++i) {
            if (out[i] != expected[i] || (i > 0 && out[i] < out[i - 1])) ++uWrong;
        }
        CHECK(uWrong == 0);
    });
}

TEST_CASE("Soft saturation touches its own samples only, at every length and alignment") {
    Test::AtEveryLevel([&] {
        for (const int nLength : Test::KernelLengths()) {
            for (int nOffset = 0; nOffset < 4; ++nOffset) {
                Test::Guarded<float> samples(std::vector<float>(static_cast<std::size_t>(nLength), -1.0f),
                                             nOffset);
                DSP::VectorSoftSaturate(samples.Data(), nLength);
                CHECK(samples.Intact());
                CHECK(samples.Values() == std::vector<float>(static_cast<std::size_t>(nLength), -0.975f));
            }
        }
    });
}
