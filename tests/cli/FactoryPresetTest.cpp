#include <doctest/doctest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <regex>

#include "PluginBase/Preset/PresetFile.h"
#include "apps/demosong/Song.h"
#include "hvBase/Util/Dir.h"
#include "tests/cli/VescaTest.h"
#include "tests/support/Signals.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestPlugin.h"

namespace {

/// Writes four seconds of the demo's song with peaks at a level in dB.
void WriteMusic(const std::string& strPath, double fPeak) {
    const Demo::Recording song = Demo::PlaySong();
    Test::Sound<float> sound;
    float fLargest = 0.0f;
    for (std::size_t i = Demo::kSampleRate; i < 5 * Demo::kSampleRate; ++i)
        for (const float fSample : {song.left[i], song.right[i]}) {
            sound.samples.push_back(fSample);
            fLargest = std::max(fLargest, std::abs(fSample));
        }
    for (float& fSample : sound.samples)
        fSample *= static_cast<float>(std::pow(10.0, fPeak / 20)) / fLargest;
    Test::WriteSound(strPath, sound);
}

}  // namespace

TEST_CASE("Each preset that comes with Vesca keeps what its comment promises of loudness and peaks") {
    const Test::TempFolder folder;
    WriteMusic(folder.File("usual.wav"), -6);
    WriteMusic(folder.File("hot.wav"), 0);
    const auto render = [&](const char* input, const std::string& strPreset) {
        const auto result = Test::Vesca(
            {"render", folder.File(input), folder.File("out.wav"), "-q", "-p", strPreset, "--report", "-"});
        REQUIRE(result.nExitCode == 0);
        return nlohmann::json::parse(result.strOutput);
    };
    const std::regex promise(
        ".*\\S (Louder|Quieter|About as loud)\\.( Peaks stay below (-[0-9.]+) dB(, also between the samples)?\\.)?");
    Test::TestPlugin plugin;
    const auto names = Util::Dir::List(VESCA_PRESETS, "*.xml");
    CHECK(names.size() >= 12);
    for (const std::string& strName : names) {
        CAPTURE(strName);
        const std::string strPath = Util::JoinPath(VESCA_PRESETS, strName);
        Preset::PresetFile preset(plugin);
        preset.Load(strPath, true);
        CHECK(preset.Attribute("ReadOnly") == "1");
        const std::string strComment = preset.Attribute("Comments");
        std::smatch match;
        REQUIRE(std::regex_match(strComment, match, promise));

        const auto usual = render("usual.wav", strPath);
        const double fBefore = usual["input"]["integrated_lufs"];
        CHECK(std::abs(fBefore + 20) < 1);
        const double fRise = usual["output"]["integrated_lufs"].get<double>() - fBefore;
        CHECK(fRise > (match[1] == "Louder" ? 1 : match[1] == "Quieter" ? -6 : -1));
        CHECK(fRise < (match[1] == "Louder" ? 9 : match[1] == "Quieter" ? -1 : 1));
        const bool bNothing = Test::Contains(strComment, "what goes in comes out") ||
                              Test::Contains(strComment, "It changes nothing until");
        const auto before = Test::ReadSound<float>(folder.File("usual.wav")).samples;
        const auto after = Test::ReadSound<float>(folder.File("out.wav")).samples;
        CHECK((Test::WorstDifference(before, after) < 1e-4f) == bNothing);
        if (!match[3].matched) continue;
        const auto hot = render("hot.wav", strPath)["output"];
        const double fCeiling = std::stod(match[3]);
        CHECK(hot[match[4].matched ? "true_peak_db" : "peak_db"] < fCeiling);
        // The ceiling is used, not only kept; between the samples hard-limited music rises by a decibel.
        CHECK(hot["peak_db"] > fCeiling - 1.25);
    }
}
