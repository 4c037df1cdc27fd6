#include <doctest/doctest.h>

#include <csignal>
#include <thread>

#include "tests/cli/VescaTest.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TempFolder.h"

using Test::Contains;
using Test::Sound;
using Test::Vesca;

namespace {

Sound<float> Plain(int nChannels, std::size_t uFrames) {
    return {44100, nChannels, SF_FORMAT_WAV | SF_FORMAT_FLOAT,
            std::vector<float>(uFrames * static_cast<std::size_t>(nChannels), 0.1f)};
}

}  // namespace

TEST_CASE("render: each failure has its exit code and names what is wrong, and OUTPUT stays as it was") {
    const Test::TempFolder folder;
    Test::WriteSound(folder.File("in.wav"), Plain(2, 100));
    Test::WriteSound(folder.File("three.wav"), Plain(3, 100));
    Test::Spill(folder.File("bad.json"), "[{");
    Test::Spill(folder.File("fixed.json"), R"([{"parameter": "Bypass Gain", "segments": []}])");
    Test::Spill(folder.File("state"), "xxxxxxxxxxxxxxxxxxxxxx");
    Test::Spill(folder.File("out.wav"), "old");
    const std::size_t uFiles = folder.Count();

    const struct {
        int nExitCode;
        std::string strInput;
        std::vector<std::string> options;
        std::string strMessage;
    } cases[] = {
        {1, "three.wav", {}, "three.wav: it has 3 channels"},
        {1, "gone.wav", {}, "gone.wav: No such file"},
        {1, "bad.json", {}, "bad.json"},
        {1, "in.wav", {"--state", folder.File("gone")}, "gone: No such file"},
        {1, "in.wav", {"--state", folder.File("state")}, "state: not a state block"},
        {1, "in.wav", {"--automation", folder.File("bad.json")}, "bad.json: not JSON"},
        {1, "in.wav", {"--automation", folder.File("gone.json")}, "gone.json: No such file"},
        {1, "in.wav", {"--save-state", folder.File("no/state")}, "no/state: No such file"},
        {2, "in.wav", {"--automation", folder.File("fixed.json")}, "\"Bypass Gain\" can't be automated"},
        {2, "in.wav", {"--set", "Gain: Inputt Left=1"}, "did you mean \"Gain: Input Left\""},
        {2, "in.wav", {"--set", "Gain: Input Left=x"}, "\"x\" is not a value"},
        {2, "in.wav", {"--order", "0,1"}, "--order"},
        {2, "in.wav", {"--block", "0"}, "--block: \"0\""},
        {2, "in.wav", {"--block", "1048577"}, "--block"},
        {2, "in.wav", {"--block", "64,,1"}, "--block"},
        {2, "in.wav", {"--format", "s20"}, "--format: \"s20\""},
        {2, "in.wav", {"--tail", "-1"}, "--tail"},
        {2, "in.wav", {"--tail", "nan"}, "--tail"},
        {2, "in.wav", {"--tail", "much"}, "--tail"},
        {2, "in.wav", {"--no-compensation", "-s", "Global: Delay Compensation=on"}, "--no-compensation"},
        {2, "in.wav", {"--loud"}, "--loud"},
        {2, "in.wav", {"third.wav"}, "third.wav"},
    };
    for (const auto& wrong : cases) {
        CAPTURE(wrong.strMessage);
        std::vector<std::string> arguments = {"render", folder.File(wrong.strInput), folder.File("out.wav")};
        arguments.insert(arguments.end(), wrong.options.begin(), wrong.options.end());
        const auto result = Vesca(arguments);
        CAPTURE(result.strErrors);
        CHECK(result.nExitCode == wrong.nExitCode);
        CHECK(Contains(result.strErrors, wrong.strMessage));
        CHECK(result.strOutput == "");
        CHECK(Test::Slurp(folder.File("out.wav")) == "old");
        CHECK(folder.Count() == uFiles);
    }
    const auto extension = Vesca({"render", folder.File("gone.wav"), folder.File("out.xyz")});
    CHECK(extension.nExitCode == 2);
    CHECK(Contains(extension.strErrors, "\".xyz\""));
}

TEST_CASE("render: a signal in mid-render leaves the old file and no half one") {
    const Test::TempFolder folder;
    // Long enough, frame by frame, that the signal comes first by a wide margin.
    Test::WriteSound(folder.File("in.wav"),
                     Sound<int>{44100, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_U8, std::vector<int>(30'000'000)});
    Test::Spill(folder.File("out.wav"), "old");
    for (const int nSignal : {SIGINT, SIGTERM, SIGKILL}) {
        CAPTURE(nSignal);
        const Test::TempFolder outputs;
        const std::size_t uFiles = folder.Count();
        Test::ChildProcess child(
            {VESCA_BINARY, "render", folder.File("in.wav"), folder.File("out.wav"), "-b", "1"},
            outputs.Path());
        // The file being written has come up once the render runs.
        while (folder.Count() == uFiles && child.IsRunning())
            std::this_thread::yield();
        REQUIRE(child.IsRunning());
        child.Send(nSignal);
        const auto result = child.Wait();
        CHECK(result.nSignal == nSignal);
        CHECK(Test::Slurp(folder.File("out.wav")) == "old");
        if (nSignal != SIGKILL) CHECK(folder.Count() == uFiles);
    }
}
