#include <doctest/doctest.h>

#include <bit>
#include <iomanip>
#include <map>
#include <sstream>

#include "dsp/vector/Dispatch.h"
#include "tests/support/ChainModes.h"

using Test::ChainMode;
using Test::TestPlugin;

namespace {

/// A digest of sample bits (the 64-bit FNV-1a of Fowler, Noll and Vo).
class Digest {
public:
    void Add(const std::vector<float>& samples) {
        for (const float fSample : samples) {
            const auto uBits = std::bit_cast<std::uint32_t>(fSample);
            for (int nShift = 0; nShift < 32; nShift += 8)
                m_uHash = (m_uHash ^ (uBits >> nShift & 0xFF)) * 0x100000001b3u;
        }
    }
    std::string Text() const {
        std::ostringstream text;
        text << std::hex << std::setfill('0') << std::setw(16) << m_uHash;
        return text.str();
    }

private:
    std::uint64_t m_uHash = 0xcbf29ce484222325u;
};

/// Draws the float parameters evenly over their ranges: with plain arithmetic, so that every build draws the
/// same.
void DrawEvenly(TestPlugin& plugin, std::uint64_t uSeed, const std::string& strComponent) {
    Test::Random random(uSeed);
    for (const ParameterRef& parameter : AllParameters(plugin.Components())) {
        const bool bOwn = strComponent.empty() || parameter.Owner().Name() == strComponent;
        if (!bOwn || !Test::IsOfTheSound(parameter) || parameter.Group() != ParameterGroup::Float) continue;
        const double fShare = double{random.Uniform(0, 1)};
        parameter.Set(parameter.Min() + (parameter.Max() - parameter.Min()) * fShare);
    }
    plugin.FinishBackgroundWork();
}

void Render(const ChainMode& mode, std::uint64_t uSeed, Digest& digest) {
    TestPlugin plugin;
    DrawEvenly(plugin, uSeed, mode.strComponent);
    mode.ApplyTo(plugin);
    plugin.BeginStreaming(uSeed % 2 == 0 ? 48000 : 44100);
    auto input = Test::Noise(uSeed, 5000);
    input.resize(6000);
    const auto output = plugin.Render({input, Test::Noise(uSeed + 1, 6000)}, {512});
    digest.Add(output.left);
    digest.Add(output.right);
}

}  // namespace

// The expected values are those of the native build. Whoever changes the sound on purpose renews them with
// what a failure shows; every build has to agree again.

TEST_CASE("Every mode of every module gives the bits that it gives in every build") {
    const std::map<std::string, std::string> expected{
        {"BitMeter", "200adf2e07f7ed40"},
        {"CrossOver", "b6170dd0d7cb31f1"},
        {"DCOffset::DCOffset", "05047569b449cd99"},
        {"Dither::Dither", "3b94d93ca0bff72b"},
        {"Equalizer::Parametric", "aa62a6e0e186141b"},
        {"Exciter::Exciter", "b16b65d370959a00"},
        {"Gain", "68dcfdc87d4300b7"},
        {"Imager::Imager", "ba0dd40ad5a89e12"},
        {"LevelMeter", "86f1589af481de62"},
        {"Maximizer::Maximizer", "c9842d17ca7cb7a9"},
        {"PhaseMeter", "bba18e7dfe8ad4ad"},
        {"Reverb::Reverb", "f9ff279f61233acb"},
        {"Spectrum", "5b79b08e14e34405"},
        {"SpectrumState", "ad6f493165f1db09"},
        {"Squash", "34537c4636b9b9a3"},
    };
    std::map<std::string, Digest> digests;
    std::map<std::string, std::uint64_t> seeds;
    for (const ChainMode& mode : Test::AllChainModes())
        Render(mode, ++seeds[mode.strComponent], digests[mode.strComponent]);
    CHECK(digests.size() == expected.size());
    for (const auto& entry : digests) {
        // Not a structured binding: a capture may not hold one.
        const std::string& strComponent = entry.first;
        CAPTURE(strComponent);
        const auto found = expected.find(strComponent);
        CHECK(entry.second.Text() == (found == expected.end() ? "" : found->second));
    }
}

TEST_CASE("The whole chain gives the bits that it gives in every build, at every processor level") {
    for (const auto& level : DSP::AvailableProcessorLevels()) {
        CAPTURE(level.strName);
        DSP::UseProcessorLevel(level);
        Digest digest;
        for (std::uint64_t uSeed = 1; uSeed <= 8; ++uSeed) {
            TestPlugin plugin;
            Render({{}, {}, Test::SwitchedOn(plugin, {})}, uSeed, digest);
        }
        CHECK(digest.Text() == "d7034812daa76eb5");
    }
    DSP::UseBestProcessorLevel();
}
