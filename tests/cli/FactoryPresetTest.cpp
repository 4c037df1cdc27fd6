#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <regex>

#include "apps/demosong/Song.h"
#include "apps/vesca/Measurement.h"
#include "apps/vesca/OfflinePlugin.h"
#include "apps/vesca/PresetUse.h"
#include "apps/vesca/StreamRenderer.h"
#include "hvBase/Util/Dir.h"
#include "tests/cli/VescaTest.h"
#include "tests/support/TestPlugin.h"

namespace {

/// Four seconds of the demo's song at a peak level, in dB.
Demo::Recording Music(double fPeak) {
    Demo::Recording song = Demo::PlaySong();
    float fLargest = 0.0f;
    for (auto* const channel : {&song.left, &song.right}) {
        *channel = std::vector<float>(channel->begin() + 44100, channel->begin() + 5 * 44100);
        for (const float fSample : *channel)
            fLargest = std::max(fLargest, std::abs(fSample));
    }
    const auto fGain = static_cast<float>(std::pow(10.0, fPeak / 20)) / fLargest;
    for (auto* const channel : {&song.left, &song.right})
        for (float& fSample : *channel)
            fSample *= fGain;
    return song;
}

struct Rendered {
    App::Levels levels;
    bool bChanged = false;
};

/// Measures music as it comes out of a chain with the preset, or out of one without.
Rendered Render(const Demo::Recording& music, const std::string& strPreset = "") {
    App::OfflinePlugin plugin;
    for (const ParameterRef& parameter : AllParameters(plugin.Components()))
        if (parameter.Name() == "Global: Delay Compensation") parameter.Set(1);
    if (!strPreset.empty()) App::ApplyPreset(plugin, strPreset);
    App::StreamRenderer renderer(plugin, Demo::kSampleRate, 2, {512});
    App::Measurement measurement(2, Demo::kSampleRate);
    Rendered result;
    std::size_t uRead = 0, uWritten = 0;
    renderer.Render(
        [&](std::uint32_t uFrames, float* left, float* right) {
            const std::size_t uCount = std::min<std::size_t>(uFrames, music.left.size() - uRead);
            std::copy_n(music.left.data() + uRead, uCount, left);
            std::copy_n(music.right.data() + uRead, uCount, right);
            uRead += uCount;
            return static_cast<std::uint32_t>(uCount);
        },
        0,
        [&](std::uint32_t uFrames, float* left, float* right) {
            measurement.Add(uFrames, left, right);
            for (std::uint32_t i = 0; i < uFrames; ++i, ++uWritten) {
                const float fBefore = music.left[uWritten] + music.right[uWritten];
                result.bChanged |=
                    std::abs(left[i] + right[i] - fBefore) > 1e-3f ||
                    std::abs(left[i] - right[i] - music.left[uWritten] + music.right[uWritten]) > 1e-3f;
            }
        });
    result.levels = measurement.Finish();
    return result;
}

}  // namespace

TEST_CASE("Each preset that comes with Vesca keeps what its comment promises of loudness and peaks") {
    const Demo::Recording usual = Music(-6), hot = Music(0);
    const double fUsual = *Render(usual).levels.integratedLufs;
    REQUIRE(fUsual == doctest::Approx(-20).epsilon(0.05));
    const auto names = Util::Dir::List(VESCA_PRESETS, "*.xml");
    CHECK(names.size() >= 12);
    const std::regex promise(
        ".*\\S (Louder|Quieter|About as loud)\\.( Peaks stay below (-[0-9.]+) dB(, also between "
        "the samples)?\\.)?");
    Test::TestPlugin plugin;
    for (const std::string& strName : names) {
        CAPTURE(strName);
        const std::string strPath = Util::JoinPath(VESCA_PRESETS, strName);
        Preset::PresetFile preset(plugin);
        App::LoadPreset(preset, strPath);
        CHECK(preset.Attribute("ReadOnly") == "1");
        const std::string strComment = preset.Attribute("Comments");
        std::smatch match;
        REQUIRE(std::regex_match(strComment, match, promise));

        const Rendered master = Render(usual, strPath);
        const double fRise = *master.levels.integratedLufs - fUsual;
        CHECK(fRise > (match[1] == "Louder" ? 1 : match[1] == "Quieter" ? -6 : -1));
        CHECK(fRise < (match[1] == "Louder" ? 9 : match[1] == "Quieter" ? -1 : 1));
        const bool bNothing = Test::Contains(strComment, "what goes in comes out") ||
                              Test::Contains(strComment, "It changes nothing until");
        CHECK(master.bChanged != bNothing);
        if (!match[3].matched) continue;
        const App::Levels loud = Render(hot, strPath).levels;
        const double fCeiling = std::stod(match[3]);
        CHECK(*(match[4].matched ? loud.truePeakDb : loud.peakDb) < fCeiling);
        // The ceiling is used, not only kept.
        CHECK(*loud.peakDb > fCeiling - 1);
    }
}
