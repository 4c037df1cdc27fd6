#include <doctest/doctest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>

#include "tests/cli/VescaTest.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"

using Json = nlohmann::ordered_json;
using Test::Sound;
using Test::Vesca;

namespace {

std::vector<std::string> Keys(const Json& object) {
    std::vector<std::string> keys;
    for (const auto& [strKey, value] : object.items())
        keys.push_back(strKey);
    return keys;
}

bool Near(const Json& value, double fExpected, double fTolerance) {
    return value.is_number() && std::abs(value.get<double>() - fExpected) <= fTolerance;
}

}  // namespace

TEST_CASE("report: its keys are the promised ones, and a sine and its gain read as they must") {
    const Test::TempFolder folder;
    Sound<float> sound{48000, 2, SF_FORMAT_WAV | SF_FORMAT_FLOAT, {}};
    for (int i = 0; i < 5 * 48000; ++i) {
        sound.samples.push_back(static_cast<float>(std::sin(2.0 * std::numbers::pi * 997.0 * i / 48000.0)));
        sound.samples.push_back(0.0f);
    }
    Test::WriteSound(folder.File("in.wav"), sound);
    const auto result = Vesca({"render", folder.File("in.wav"), folder.File("out.wav"), "--report", "-", "-s",
                               "Gain: Output Left=-6", "-b", "64,500,1", "--tail", "0.5"});
    REQUIRE(result.nExitCode == 0);
    const Json report = Json::parse(result.strOutput);

    CHECK(Keys(report) == std::vector<std::string>{"sample_rate", "channels", "frames_in", "frames_out",
                                                   "block", "system_delay", "elapsed_seconds",
                                                   "realtime_factor", "input", "output", "meters"});
    for (const std::string strSide : {"input", "output"})
        CHECK(Keys(report[strSide]) == std::vector<std::string>{"peak_db", "true_peak_db", "rms_db",
                                                                "integrated_lufs", "loudness_range_lu",
                                                                "dc_offset"});
    const Json expected = {{"sample_rate", 48000}, {"channels", 2},         {"frames_in", 240000},
                           {"frames_out", 264000}, {"block", {64, 500, 1}}, {"system_delay", 0}};
    for (const auto& item : expected.items()) {
        CAPTURE(item.key());
        CHECK(report[item.key()] == item.value());
    }
    CHECK(report["elapsed_seconds"].get<double>() > 0.0);
    const double fFactor = report["realtime_factor"].get<double>();
    CHECK(std::abs(fFactor * report["elapsed_seconds"].get<double>() - 5.5) < 1e-9);

    const Json& meters = report["meters"];
    CHECK(Keys(meters) == std::vector<std::string>{"level", "spectrum", "phase", "bit", "dynamics",
                                                   "maximizer", "dc_offset"});
    REQUIRE(meters["level"].size() == 4);
    CHECK(Near(meters["level"][0]["value"], 1.0, 1e-4));
    CHECK(meters["level"][1]["value"].get<double>() < 1e-9);
    CHECK(Near(meters["level"][2]["value"], std::pow(10.0, -0.3), 1e-4));
    CHECK(meters["level"][2]["clip"] == false);
    const auto magnitudes = meters["spectrum"]["magnitudes"].get<std::vector<double>>();
    const auto loudest = std::max_element(magnitudes.begin(), magnitudes.end());
    const auto uLoudest = static_cast<std::size_t>(loudest - magnitudes.begin());
    REQUIRE(magnitudes.size() == 2049);
    CHECK(meters["spectrum"]["type"] == "Linear");
    CHECK(Near(meters["spectrum"]["frequencies"][uLoudest], 997.0, 48000.0 / 4096));
    CHECK(
        Near(*loudest, 0.25, 0.02));  // half the sine in the mean of two channels, half of that by the window
    CHECK(meters["phase"]["correlation_histogram"].size() == 123);
    CHECK(meters["phase"]["vectorscope_trace"].size() == 1000);
    CHECK(meters["bit"]["right"].size() == 24);
    CHECK(meters["dynamics"].size() == 4);
    CHECK(meters["dynamics"][3]["histogram"].size() == 128);
    CHECK(meters["maximizer"]["minimum_gain"] == 1.0);
    CHECK(meters["dc_offset"]["maximum"].size() == 2);

    const Json& input = report["input"];
    CHECK(Near(input["peak_db"], 0.0, 1e-3));
    CHECK(Near(input["true_peak_db"], 0.0, 0.1));
    CHECK(Near(input["rms_db"], -6.0206, 1e-3));
    CHECK(Near(input["integrated_lufs"], -3.01, 0.1));
    REQUIRE(input["dc_offset"].size() == 2);
    CHECK(Near(input["dc_offset"][0], 0.0, 1e-6));

    const Json& output = report["output"];
    CHECK(Near(output["peak_db"], input["peak_db"].get<double>() - 6.0, 1e-5));
    CHECK(Near(output["true_peak_db"], input["true_peak_db"].get<double>() - 6.0, 1e-4));
    // The same energy over half a second more: 10 log10(5 / 5.5).
    CHECK(Near(output["rms_db"], input["rms_db"].get<double>() - 6.0 - 0.41393, 1e-3));
}

TEST_CASE("report: silence is null on both sides, and a report may be a file") {
    const Test::TempFolder folder;
    Test::WriteSound(folder.File("in.wav"),
                     Sound<int>{44100, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16, std::vector<int>(44100)});
    const auto result = Vesca({"render", folder.File("in.wav"), folder.File("out.wav"), "--report",
                               folder.File("report.json"), "--block", "512"});
    REQUIRE(result.nExitCode == 0);
    CHECK(result.strOutput == "");
    const Json report = Json::parse(Test::Slurp(folder.File("report.json")));
    CHECK(report["block"] == 512);
    for (const std::string strSide : {"input", "output"}) {
        CAPTURE(strSide);
        // The output is measured as the file holds it: 16 bits have no room for the guard.
        CHECK(report[strSide] == Json{{"peak_db", nullptr},
                                      {"true_peak_db", nullptr},
                                      {"rms_db", nullptr},
                                      {"integrated_lufs", nullptr},
                                      {"loudness_range_lu", nullptr},
                                      {"dc_offset", {0.0}}});
    }
}
