#include <doctest/doctest.h>

#include <cmath>
#include <limits>

#include "tests/support/ChainModes.h"
#include "tests/support/Sanitized.h"

using Test::ChainMode;
using Test::TestPlugin;

namespace {

using Audio = TestPlugin::Audio;

constexpr std::size_t kEvery = Test::kSanitized ? 9 : 1;  ///< one mode in so many is drawn

/// Noise, then silence, in which everything decays.
Audio LoudThenSilent(std::uint64_t uSeed, std::size_t uLoud, std::size_t uSilent, bool bStereo = true) {
    Audio audio{Test::Noise(uSeed, uLoud), bStereo ? Test::Noise(uSeed + 1, uLoud) : std::vector<float>()};
    audio.left.resize(uLoud + uSilent);
    if (bStereo) audio.right.resize(uLoud + uSilent);
    return audio;
}

/// Two renders with the same bits.
bool Same(const Audio& a, const Audio& b) {
    return Test::FirstDifference(a.left, b.left) == -1 && Test::FirstDifference(a.right, b.right) == -1;
}

/// What the system answers to, after so many frames, by correlation with the noise that went in.
double Response(const std::vector<float>& input, const std::vector<float>& output, std::size_t uDelay) {
    double fSum = 0, fPower = 0;
    for (std::size_t i = 0; i + uDelay < output.size(); ++i) {
        fSum += double{input[i]} * double{output[i + uDelay]};
        fPower += double{input[i]} * double{input[i]};
    }
    return fSum / fPower;
}

}  // namespace

TEST_CASE("At every rate, with blocks of every length, whatever the parameters, the chain stays finite") {
    std::uint64_t uSeed = 0;
    for (const std::uint32_t uRate : {8000u, 11025u, 22050u, 44100u, 48000u, 96000u, 192000u, 384000u}) {
        for (const std::uint32_t uBlock : {1u, 7u, 63u, 64u, 480u, 1023u, 8192u, 32768u, 0u}) {
            ++uSeed;
            if (uSeed % kEvery != 0) continue;
            CAPTURE(uRate);
            CAPTURE(uBlock);
            CAPTURE(uSeed);
            TestPlugin plugin;
            Test::Random random(uSeed);
            for (const auto& parameter : AllParameters(plugin.Components())) {
                if (Test::IsOfTheSound(parameter)) parameter.Set(Test::DrawValue(random, parameter));
            }
            ChainMode{{}, {}, Test::SwitchedOn(plugin, {})}.ApplyTo(plugin);
            plugin.BeginStreaming(uRate);
            const auto cuts =
                uBlock != 0 ? std::vector<std::uint32_t>{uBlock} : Test::RandomCuts(uSeed, 40000, 3000);
            const bool bStereo = uSeed % 4 != 0;
            const std::size_t uLoud = std::max<std::size_t>(8000, 2 * uBlock);
            const auto output = plugin.Render(LoudThenSilent(uSeed, uLoud, uLoud, bStereo), cuts);
            const auto faults = Test::FindFaults(output);
            CAPTURE(faults.uNotFinite);
            CAPTURE(faults.uSubnormal);
            CHECK(faults.nFirst == -1);
        }
    }
}

TEST_CASE("Every mode of every module repeats its bits after a reset, and in other blocks") {
    std::size_t uMode = 0;
    for (const ChainMode& mode : Test::AllChainModes()) {
        if (++uMode % kEvery != 0) continue;
        CAPTURE(mode.strName);
        TestPlugin plugin;
        Test::DrawFloats(plugin, uMode, mode.strComponent);
        mode.ApplyTo(plugin);
        plugin.BeginStreaming(44100);
        const auto input = LoudThenSilent(uMode, 9000, 9000);
        const auto first = plugin.Render(input, {512});
        const auto faults = Test::FindFaults(first);
        CAPTURE(faults.uNotFinite);
        CAPTURE(faults.uSubnormal);
        CHECK(faults.nFirst == -1);
        // What the second run finds is the end of the first.
        plugin.EndStreaming();
        plugin.BeginStreaming(44100);
        CHECK(Same(plugin.Render(input, Test::RandomCuts(uMode, 18000, 4000)), first));
    }
}

TEST_CASE("The delay that a chain reports is the delay that it has, in every mode of every module") {
    std::size_t uMode = 0;
    for (const ChainMode& mode : Test::AllChainModes()) {
        // These take the followed signal away, or, as a bypassed band by design, out of line.
        const bool bTakesAway = mode.Touches("EQ: Shape") || mode.Touches("Mute") ||
                                mode.Touches("Solo Wet") || mode.Touches("Band 1 Bypass");
        if (bTakesAway || ++uMode % kEvery != 0) continue;
        CAPTURE(mode.strName);
        TestPlugin plugin;
        mode.ApplyTo(plugin);
        plugin.BeginStreaming(uMode % 2 == 0 ? 48000 : 44100);
        const std::size_t uDelay = plugin.GetTransform().SystemDelay();
        CAPTURE(uDelay);
        auto input = Test::Noise(uMode, 12000 + uDelay);
        for (float& fSample : input)
            fSample *= 0.25f;
        const auto output = plugin.Render({input, input}, {512});
        CHECK(std::abs(Response(input, output.left, uDelay)) > 0.1);
        double fEarlier = 0;
        for (std::size_t i = 1; i <= std::min<std::size_t>(uDelay, 20); ++i)
            fEarlier = std::max(fEarlier, std::abs(Response(input, output.left, uDelay - i)));
        CHECK(fEarlier < 0.05);
    }
}

TEST_CASE("A mode chosen in mid-stream delays as one chosen before it") {
    std::size_t uMode = 0;
    for (const ChainMode& mode : Test::AllChainModes()) {
        if (++uMode % kEvery != 0) continue;
        CAPTURE(mode.strName);
        const auto delay = [](TestPlugin& plugin) {
            plugin.Render({Test::Noise(1, 64), Test::Noise(2, 64)}, {64});
            return plugin.GetTransform().SystemDelay();
        };
        TestPlugin before, meanwhile;
        mode.ApplyTo(before);
        before.BeginStreaming(44100);
        meanwhile.BeginStreaming(44100);
        delay(meanwhile);
        // As a user does it, and within a change of presets.
        if (uMode % 2 == 0) meanwhile.BeginPresetChange();
        mode.ApplyTo(meanwhile);
        if (uMode % 2 == 0) meanwhile.EndPresetChange();
        CHECK(delay(meanwhile) == delay(before));
    }
}

TEST_CASE("A second after damaged samples every mode of every module sounds as if they had not been") {
    constexpr std::uint32_t kRate = 22050;
    constexpr float kDamages[] = {std::numeric_limits<float>::quiet_NaN(),
                                  std::numeric_limits<float>::infinity(),
                                  -std::numeric_limits<float>::infinity(), 1e30f};
    std::size_t uMode = 0;
    for (const ChainMode& mode : Test::AllChainModes()) {
        if (++uMode % kEvery != 0) continue;
        CAPTURE(mode.strName);
        const float fDamage = kDamages[uMode % 4];
        CAPTURE(fDamage);
        auto input = LoudThenSilent(uMode, 2 * kRate, 0);
        const auto render = [&](const Audio& audio) {
            TestPlugin plugin;
            Test::DrawFloats(plugin, uMode + 5000, mode.strComponent);
            mode.ApplyTo(plugin);
            plugin.BeginStreaming(kRate);
            return plugin.Render(audio, {480});
        };
        const auto clean = render(input);
        // One sample, and a whole block.
        input.left[2000] = fDamage;
        std::fill_n(input.right.begin() + 4800, 480, fDamage);
        const auto damaged = render(input);
        const std::size_t uFrom = 5280 + kRate;
        CHECK(Test::FindFaults(damaged, uFrom).None());
        double fDifference = 0, fPower = 0;
        for (std::size_t i = uFrom; i < clean.left.size(); ++i) {
            for (const auto channel : {&Audio::left, &Audio::right}) {
                const double fClean = double{(clean.*channel)[i]};
                const double fOff = double{(damaged.*channel)[i]} - fClean;
                fDifference += fOff * fOff;
                fPower += fClean * fClean;
            }
        }
        const double fShare = std::sqrt(fDifference / std::max(fPower, 1e-30));
        // 30 dB down: the gap that the damage leaves lives on in the tails of the reverb.
        CHECK(fShare < 0.03);
    }
}
