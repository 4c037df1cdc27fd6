#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

#include "tests/dsp/CrossOverRig.h"

// What the curve display shows against what the audio does.

using Rig = Test::CrossOverRig;

namespace {

double Linear(float fDb) {
    return std::pow(10.0, double{fDb} / 20.0);
}

double MagnitudeAt(const std::vector<float>& samples, double fHz, double fRate) {
    std::complex<double> sum = 0;
    const auto step = std::polar(1.0, -2.0 * std::numbers::pi * fHz / fRate);
    std::complex<double> z = 1;
    for (const float fSample : samples) {
        sum += double{fSample} * z;
        z *= step;
    }
    return std::abs(sum);
}

Rig::Bands Impulses(Rig& rig, std::size_t uLength) {
    std::vector<float> impulse(uLength);
    impulse[0] = 1.0f;
    return rig.Render(impulse, {});
}

/// Fourth-order Linkwitz-Riley through the bilinear transform: low and high meet at a half.
double Low(double fHz, double fCutoff, double fRate) {
    const double w = std::tan(std::numbers::pi * fHz / fRate) / std::tan(std::numbers::pi * fCutoff / fRate);
    return 1.0 / (1.0 + w * w * w * w);
}

}  // namespace

TEST_CASE("CrossOver: Analog impulses, display and closed form agree, but for the lift of the audio") {
    for (const std::uint32_t uRate : {44100u, 192000u}) {
        Rig rig;
        rig.crossOver.SetSampleRate(uRate);
        const double cutoffs[] = {400, 1200, 9000};
        rig.crossOver.SetCutoffs({400, 1200, 9000});
        rig.component.ClearAudio();
        const auto bands = Impulses(rig, uRate / 4);
        const double fRate = uRate;
        for (std::uint32_t iBand = 0; iBand < 4; ++iBand) {
            const bool bMiddle = iBand == 1 || iBand == 2;
            const double fLift =
                bMiddle ? 1.0 + 6.0 / std::pow(cutoffs[iBand] / cutoffs[iBand - 1], 3.0) : 1.0;
            const auto curve = rig.Response(iBand);
            double fFromAudio = 0.0, fFromForm = 0.0;
            for (std::size_t i = 0; i < DSP::kResponsePoints; i += 12) {
                const double f = double{rig.crossOver.Frequencies()[i]};
                double fForm = 1.0;
                if (iBand < 3) fForm *= Low(f, cutoffs[iBand], fRate);
                if (iBand > 0) fForm *= 1.0 - Low(f, cutoffs[iBand - 1], fRate);
                const double fShown = Linear(curve[i]);
                const double fHeard = MagnitudeAt(bands[iBand], f, fRate);
                fFromAudio = std::max(fFromAudio, std::abs(fHeard - fShown * fLift));
                fFromForm = std::max(fFromForm, std::abs(fShown - fForm));
            }
            CAPTURE(uRate);
            CAPTURE(iBand);
            CHECK(fFromAudio < 2e-5);
            // Taps in single precision: 1 + a1 + a2 is off by some 1e-7 of (2 pi fc / fs)^2, twice.
            const double fCorner = 2.0 * std::numbers::pi * 400.0 / fRate;
            CHECK(fFromForm < 2e-4 + 4e-7 / (fCorner * fCorner));
        }
    }
}

TEST_CASE("CrossOver: Digital impulses do what the display shows of them") {
    Rig rig;
    rig.SetFloat(Rig::kQ, 12);
    rig.SetInt(Rig::kType, DSP::CrossOver::kDigital);
    rig.SetInt(Rig::kBufferSize, 0);
    const auto bands = Impulses(rig, 128 + 1024);
    for (std::uint32_t iBand = 0; iBand < 4; ++iBand) {
        const auto curve = rig.Response(iBand);
        double fWorst = 0.0;
        for (std::size_t i = 0; i < DSP::kResponsePoints; i += 6) {
            // The display draws lines between the bins of the filter's own length.
            const double fBin = double{rig.crossOver.Frequencies()[i]} / 44100.0 * 1024.0;
            const double fLower = std::floor(fBin);
            const double fAudio = (fLower + 1.0 - fBin) * MagnitudeAt(bands[iBand], fLower, 1024.0) +
                                  (fBin - fLower) * MagnitudeAt(bands[iBand], fLower + 1.0, 1024.0);
            fWorst = std::max(fWorst, std::abs(fAudio - Linear(curve[i])));
        }
        CAPTURE(iBand);
        // The top band is what the others leave, and shown by the filter that it would have had.
        CHECK(fWorst < (iBand < 3 ? 1e-5 : 2e-2));
    }
}

TEST_CASE(
    "CrossOver: the display is flat for one band, silent for a band without filters, and never below -400") {
    Rig rig;
    rig.crossOver.SetSampleRate(22050);
    rig.crossOver.SetCutoffs({11500, 12000, 20000});
    const auto isFlat = [&](std::uint32_t iBand, float fDb) {
        const auto curve = rig.Response(iBand);
        return std::all_of(curve.begin(), curve.end(), [fDb](float fPoint) { return fPoint == fDb; });
    };
    CHECK(isFlat(0, 0.0f));
    CHECK(isFlat(1, -400.0f));
    CHECK(isFlat(3, -400.0f));
    for (const std::int32_t nType : {0, 1}) {
        rig.SetInt(Rig::kType, nType);
        rig.SetInt(Rig::kNumberOfBands, 1);
        CHECK(isFlat(0, 0.0f));
        CHECK(isFlat(2, 0.0f));
    }
}
