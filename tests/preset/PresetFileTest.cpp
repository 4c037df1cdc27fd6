#include "PluginBase/Preset/PresetFile.h"

#include <doctest/doctest.h>

#include <cmath>
#include <regex>
#include <sstream>

#include "hvBase/Util/Exception.h"
#include "hvBase/Util/Path.h"
#include "hvBase/Util/Text.h"
#include "tests/preset/PresetTest.h"
#include "tests/support/FakeModules.h"
#include "tests/support/TempFolder.h"

using Preset::PresetFile;
using Test::TestPlugin;
using Util::Exception::FileIO;

namespace {

/// The parameter whose value differs most from what a file keeps of it; empty if all are within the bound.
std::string Worst(TestPlugin& saved, TestPlugin& loaded) {
    const auto from = AllParameters(saved.Components());
    const auto to = AllParameters(loaded.Components());
    for (std::size_t i = 0; i < from.size(); ++i) {
        if (!Test::BelongsToPresets(from[i])) continue;
        const double fError = std::abs(from[i].Get() - to[i].Get());
        const bool bSmall = from[i].Group() == ParameterGroup::Float && std::abs(from[i].Get()) < 0.125;
        if (fError > (bSmall ? 1e-8 : 0.0)) return from[i].Name();
    }
    return {};
}

}  // namespace

TEST_CASE("A preset brings back every parameter of a sound, and is written the same again") {
    const Test::TempFolder folder;
    for (std::uint64_t uSeed = 0; uSeed < 30; ++uSeed) {
        CAPTURE(uSeed);
        Util::MemorySettingsStore settings;
        settings.SetNumber("VerbosePreset", uSeed % 2);
        settings.SetNumber("ReferenceNamePreset", uSeed % 2);
        TestPlugin from(settings, &Test::ChainAndOddments), to(settings, &Test::ChainAndOddments);
        Test::Randomise(from, uSeed);
        PresetFile saved(from, "sound");
        saved.SetAttribute("Comments", uSeed % 3 == 0 ? "" : "\"q\" 'a' <&> &#x41; &amp; &#x \"\n\t\xC3\xA9");
        saved.Save(folder.File("a.xml"));

        Test::Randomise(to, uSeed + 1000);
        const double fFps = to.Get("Global: FPS"), fKept = to.Get("ODD: Kept");
        PresetFile loaded(to);
        loaded.Load(folder.File("a.xml"), true);
        CHECK(loaded.Attribute("Comments") == saved.Attribute("Comments"));
        REQUIRE(loaded.Apply());
        CHECK(Worst(from, to) == "");
        CHECK(to.Get("Global: FPS") == fFps);
        CHECK(to.Get("ODD: Kept") == fKept);
        using Test::Oddments;
        CHECK(static_cast<Oddments&>(to.Find("Oddments")).extra ==
              static_cast<Oddments&>(from.Find("Oddments")).extra);

        loaded.Capture();
        loaded.Save(folder.File("b.xml"));
        const bool bSame = Test::Slurp(folder.File("a.xml")) == Test::Slurp(folder.File("b.xml"));
        CHECK(bSame);
        CHECK(folder.Count() == 2);
    }
}

TEST_CASE(
    "A file has its declaration, its root's attributes, ten groups, and each parameter once, in order") {
    const Test::TempFolder folder;
    Util::MemorySettingsStore settings;
    TestPlugin plugin(settings, &Test::ChainAndOddments);
    plugin.Set("Gain: Input Right", -3.1);
    plugin.Set("ODD: Tiny", -1e-9);
    PresetFile preset(plugin);
    preset.EnableGroup(PresetGroup::Meters, false);
    preset.SetAttribute("LastUsed", "then");
    preset.SetAttribute("ReadOnly", "1");
    preset.Save(folder.File("a.xml"));
    const std::string strText = Test::Slurp(folder.File("a.xml"));
    CHECK(strText.rfind("<?xml version=\"1.0\" standalone=\"yes\" ?>\n<Vesca Signature=\"\" PresetVer=\"13\" "
                        "PluginVer=\"3090\" ReadOnly=\"1\" LastUsed=\"then\">\n    <Global Enabled=\"1\">\n",
                        0) == 0);
    CHECK(strText.find("Meters Enabled=\"0\"") != std::string::npos);
    CHECK(strText.find("<Param Type=\"Float\" ComponentID=\"" + Test::ComponentId(plugin, "Gain") +
                       "\" ParamID=\"2\" Value=\"-3.09999990\" />") != std::string::npos);
    CHECK(strText.find(" Name=") == std::string::npos);
    CHECK(strText.find("\"-0.00000000\"") == std::string::npos);
    CHECK(strText.find("<ExtraBytes ComponentID=") != std::string::npos);
    CHECK(strText.find("Data=\"AAAAAAA=\"") != std::string::npos);

    // Every line of a parameter up to its value, as the tables give them.
    std::vector<std::string> expected, found;
    for (std::uint32_t uGroup = 0; uGroup < Preset::kGroups; ++uGroup) {
        const auto group = static_cast<PresetGroup>(uGroup);
        expected.push_back(std::string("    <") + PresetGroupName(group) + " Enabled");
        for (Component* const component : plugin.Components())
            for (const char* const type : {"Float", "UInt", "Int", "Bool"})
                for (const ParameterRef& p : AllParameters({component}))
                    if (p.Info().presetGroup == group && Test::BelongsToPresets(p) &&
                        std::string(ParameterGroupName(p.Group())) == type)
                        expected.push_back(
                            Util::Format("        <Param Type=\"%1\" ComponentID=\"%2\" ParamID=\"%3\" Value",
                                         type, Test::ComponentId(plugin, component->Name()), p.Index()));
    }
    std::istringstream lines(strText);
    for (std::string strLine; std::getline(lines, strLine);)
        if (strLine.find("Enabled") != strLine.npos || strLine.find("<Param ") != strLine.npos)
            found.push_back(strLine.substr(0, strLine.rfind('=')));
    const bool bSame = found == expected;
    CHECK(bSame);

    settings.SetNumber("VerbosePreset", 1);
    PresetFile(plugin).Save(folder.File("v.xml"));
    const std::string strVerbose = Test::Slurp(folder.File("v.xml"));
    CHECK(strVerbose.find("ParamID=\"2\" Name=\"Gain: Input Right\" Units=\"dB\" Min=\"-144\" Max=\"10\" "
                          "Value=\"-3.09999990\"") != std::string::npos);
    CHECK(strVerbose.find("Name='ODD: &quot;On&quot; &amp; &lt;off&gt;' Units=\"\" Value=\"0\"") !=
          std::string::npos);
    CHECK(strVerbose.find("Name=\"Oddments Extra Bytes\"") != std::string::npos);
}

TEST_CASE("Only the groups that are in a preset are applied, whoever leaves the others out") {
    const Test::TempFolder folder;
    for (std::uint32_t uGroup = 0; uGroup < 10; ++uGroup) {
        CAPTURE(uGroup);
        TestPlugin from(&Test::ChainAndOddments), to(&Test::ChainAndOddments);
        Test::Randomise(from, uGroup);
        Test::Randomise(to, uGroup + 50);
        PresetFile saved(from);
        for (std::uint32_t u = 0; u < 10; ++u)
            saved.EnableGroup(static_cast<PresetGroup>(u), u == uGroup || u == (uGroup + 1) % 10);
        saved.Save(folder.File("a.xml"));
        PresetFile loaded(to);
        loaded.Load(folder.File("a.xml"), true);
        loaded.EnableGroup(static_cast<PresetGroup>((uGroup + 1) % 10), false);
        const auto before = to.Values();
        REQUIRE(loaded.Apply());
        const auto expected = AllParameters(from.Components());
        const auto parameters = AllParameters(to.Components());
        std::string strWrong;
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            const bool bTaken = parameters[i].Info().presetGroup == static_cast<PresetGroup>(uGroup);
            const double fWanted = bTaken ? expected[i].Get() : before[i];
            if (std::abs(parameters[i].Get() - fWanted) > (bTaken ? 1e-8 : 0.0))
                strWrong = parameters[i].Name();
        }
        CHECK(strWrong == "");
    }
}

TEST_CASE("With names as references a parameter that has moved is found, and an unknown one is passed over") {
    const Test::TempFolder folder;
    Util::MemorySettingsStore settings;
    settings.SetNumber("VerbosePreset", 1);
    TestPlugin plugin(settings);
    plugin.Set("Input Gain Slider Lock", 0);
    plugin.Set("Gain: Input Left", -1);
    plugin.Set("Gain: Input Right", -2);
    PresetFile(plugin).Save(folder.File("a.xml"));
    std::string strText = Test::Slurp(folder.File("a.xml"));
    const auto rename = [&](const std::string& strFrom, const std::string& strTo) {
        strText.replace(strText.find("\"" + strFrom + "\""), strFrom.size() + 2, "\"" + strTo + "\"");
    };
    rename("Gain: Input Left", "x");
    rename("Gain: Input Right", "Gain: Input Left");
    rename("x", "Gain: Input Right");
    rename("Bypass Gain", "Gone Gain");
    Test::Spill(folder.File("a.xml"), strText);
    for (const std::uint32_t uByName : {0u, 1u}) {
        settings.SetNumber("ReferenceNamePreset", uByName);
        plugin.Set("Bypass Gain", 5);
        PresetFile loaded(plugin);
        loaded.Load(folder.File("a.xml"), true);
        REQUIRE(loaded.Apply());
        CHECK(plugin.Get("Gain: Input Left") == (uByName ? -2 : -1));
        CHECK(plugin.Get("Gain: Input Right") == (uByName ? -1 : -2));
        CHECK(plugin.Get("Bypass Gain") == (uByName ? 5 : 0));
    }
}

TEST_CASE(
    "Applying is one preset change, after which delay and activity are up to date and no old audio waits") {
    TestPlugin plugin([](PluginContext& context) {
        ModuleSet modules = Test::ChainAndOddments(context);
        modules.equalizer = modules.Add<Test::FakeModule>(context, "Fake");
        return modules;
    });
    const Test::TempFolder folder;
    plugin.Set("LMAX: Bypass", 0);
    const auto uDelay = plugin.GetTransform().SystemDelay();
    PresetFile preset(plugin, "limited");
    plugin.Set("LMAX: Bypass", 1);
    REQUIRE(uDelay > plugin.GetTransform().SystemDelay());
    preset.EnableGroup(PresetGroup::Global, false);
    plugin.TakePresetChangeSeen();

    plugin.Set("Fake: Size", 64);
    plugin.Set("Fake: On", 1);
    plugin.BeginStreaming(44100);
    plugin.Render({std::vector<float>(32, 1.0f), {}}, {32});
    CHECK(preset.Apply());
    CHECK(plugin.TakePresetChangeSeen());
    CHECK_FALSE(plugin.IsPresetChanging());
    CHECK(plugin.GetTransform().SystemDelay() == uDelay + 63);
    plugin.Set("LMAX: Bypass", 1);
    const auto output = plugin.Render({std::vector<float>(256, 0.0f), {}}, {256});
    CHECK(*std::max_element(output.left.begin(), output.left.end()) < 1e-3f);
}

TEST_CASE("A preset file appears whole or not at all, knows its place, and goes when it is removed") {
    const Test::TempFolder folder;
    TestPlugin plugin;
    PresetFile preset(plugin, "My sound");
    const std::string strFolder = Util::JoinPath(folder.File("new"), "presets");
    preset.SaveAs(strFolder);
    const std::string strPath = Util::JoinPath(strFolder, "My sound.xml");
    CHECK(preset.Path() == strPath);
    const std::regex stamp("\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d");
    for (const char* const name : {"LastUsed", "LastModified"})
        CHECK(std::regex_match(preset.Attribute(name), stamp));
    // A save puts a new file in the old one's place, which whoever holds it keeps whole.
    const std::string strHeld = folder.File("held"), strOld = Test::Slurp(strPath);
    std::filesystem::create_hard_link(strPath, strHeld);
    preset.SetAttribute("LastUsed", "long ago");
    preset.Save(strPath);
    CHECK(Test::Slurp(strHeld) == strOld);
    const std::string strGood = Test::Slurp(strPath);
    CHECK(strGood != strOld);

    PresetFile reader(plugin);
    reader.Load(strPath, true);
    CHECK(reader.Name() == "My sound");
    CHECK(reader.Folder() == Util::JoinPath(strFolder, ""));
    CHECK(reader.Attribute("LastUsed") == "long ago");
    reader.Load(strPath, false);
    CHECK(std::regex_match(reader.Attribute("LastUsed"), stamp));
    CHECK(Test::Slurp(strPath) == strGood);

    // The new bytes can't get their last name.
    std::filesystem::create_directories(folder.File("taken.xml/in"));
    CHECK_THROWS_AS(preset.Save(folder.File("taken.xml")), FileIO);
    CHECK(preset.Path() == strPath);
    for (const char* const name : {"", "a/b", "..\\b", "c:d", "taken"}) {
        PresetFile odd(plugin, name);
        CHECK_THROWS_AS(odd.SaveAs(folder.Path()), FileIO);
        CHECK(odd.Attribute("LastUsed") == "");
    }
    CHECK(folder.Count() == 3);

    plugin.Settings().SetText("InstallPath", folder.File("data"));
    CHECK(PresetFile::UserFolder(plugin) ==
          Util::JoinPath(Util::JoinPath(folder.File("data"), "Presets"), ""));
    plugin.Settings().SetText("PresetFolder", folder.File("mine"));
    CHECK(PresetFile::UserFolder(plugin) == Util::JoinPath(folder.File("mine"), ""));

    preset.Remove();
    CHECK_FALSE(std::filesystem::exists(strPath));
    CHECK_THROWS_AS(reader.Load(strPath, true), FileIO);
    try {
        preset.Remove();
        FAIL("a missing preset was removed");
    } catch (const FileIO& failure) {
        CHECK(failure.ErrorCode() == FileIO::Code::Remove);
        CHECK(failure.Message().rfind("Error removing preset " + strPath + ": File.cpp (", 0) == 0);
    }
}
