#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "tests/dsp/StreamRig.h"
#include "tests/support/ChainModes.h"
#include "tests/support/Sanitized.h"

using Test::Stereo;

// The chain repairs what comes in, so that a walk over the chain can't see whether the modules do.
TEST_CASE(
    "A second after damaged samples every mode of every module by itself sounds as if they had not been") {
    constexpr std::uint32_t kRate = 22050;
    constexpr float kDamages[] = {std::numeric_limits<float>::quiet_NaN(),
                                  std::numeric_limits<float>::infinity(),
                                  -std::numeric_limits<float>::infinity(), 1e30f};
    std::size_t uMode = 0;
    for (const Test::ChainMode& mode : Test::AllChainModes()) {
        // A crossover fills its caller's bands.
        if (mode.strComponent == "CrossOver" || (++uMode % 9 != 0 && Test::kSanitized)) continue;
        CAPTURE(mode.strName);
        CAPTURE(kDamages[uMode % 4]);
        const auto render = [&](const Stereo& audio) {
            Test::TestPlugin plugin;
            Test::DrawFloats(plugin, uMode + 5000, mode.strComponent);
            mode.ApplyTo(plugin);
            plugin.BeginStreaming(kRate);
            return Test::RunCut(plugin.Find(mode.strComponent), audio, {480});
        };
        Stereo input = Test::StereoNoise(uMode, 2 * kRate);
        const Stereo clean = render(input);
        // One sample, and a whole block.
        input.left[2000] = kDamages[uMode % 4];
        std::fill_n(input.right.begin() + 4800, 480, kDamages[uMode % 4]);
        const Stereo damaged = render(input);
        double fDifference = 0, fPower = 0;
        for (const auto channel : {&Stereo::left, &Stereo::right}) {
            for (std::size_t i = 5280 + kRate; i < 2 * kRate; ++i) {
                const double fClean = double{(clean.*channel)[i]},
                             fOff = double{(damaged.*channel)[i]} - fClean;
                fDifference += fOff * fOff;
                fPower += fClean * fClean;
            }
        }
        // 30 dB down: the gap that the damage leaves lives on in the tails of the reverb.
        CHECK(std::sqrt(fDifference / std::max(fPower, 1e-30)) < 0.03);
    }
}
