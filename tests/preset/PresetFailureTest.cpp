#include <doctest/doctest.h>

#include <algorithm>
#include <regex>

#include "PluginBase/Preset/Base64.h"
#include "tests/preset/PresetTest.h"
#include "tests/support/TempFolder.h"

using Preset::PresetFile;
using Preset::Exception::Parse;
using Preset::Exception::Value;
using Test::TestPlugin;

namespace {

/// Loads a text as a preset; what it is refused with, as "Parse: message (row, column)".
std::string Refusal(PresetFile& preset, const Test::TempFolder& folder, const std::string& strText) {
    const std::string strPath = folder.File("x.xml");
    Test::Spill(strPath, strText);
    const auto told = [&](const char* kind, const Preset::Exception::Located& failure) {
        const auto& place = failure.Place();
        CHECK(place.strPath == strPath);
        CHECK(failure.Text().find(strPath) != std::string::npos);
        return kind + failure.Message() + " (" + std::to_string(place.nRow) + ", " +
               std::to_string(place.nColumn) + ")";
    };
    try {
        preset.Load(strPath, true);
        return "accepted";
    } catch (const Parse& failure) {
        CHECK(failure.Text().find("Unexpected error") != std::string::npos);
        return told("Parse: ", failure);
    } catch (const Value& failure) {
        return told("Value: ", failure);
    }
}

/// "(row, column)" of the last line that holds a text, where its element begins.
std::string ElementPlace(const std::string& strText, std::size_t uAt) {
    const auto nRow = std::count(strText.begin(), strText.begin() + static_cast<std::ptrdiff_t>(uAt), '\n');
    const std::size_t uLine = strText.rfind('\n', uAt) + 1;
    return " (" + std::to_string(nRow + 1) + ", " +
           std::to_string(strText.find_first_not_of(' ', uLine) - uLine + 1) + ")";
}

}  // namespace

TEST_CASE("Each fault of a file is refused with its own text and place, and changes nothing") {
    const Test::TempFolder folder;
    Util::MemorySettingsStore settings;
    settings.SetNumber("VerbosePreset", 1);
    settings.SetNumber("ReferenceNamePreset", 1);
    TestPlugin plugin(settings, &Test::ChainAndOddments);
    PresetFile preset(plugin, "mine");
    preset.SetAttribute("Comments", "here before");
    preset.Save(folder.File("good.xml"));
    const std::string strGood = Test::Slurp(folder.File("good.xml"));
    Test::Randomise(plugin, 3);
    const auto before = plugin.Values();
    const std::string strGain = Test::ComponentId(plugin, "Gain");  // the first of the first group

    struct Fault {
        const char* what;
        std::string strFrom, strTo;
    };
    const Fault faults[] = {
        {"Parse: Invalid preset file version, 12. Expected 13.", "PresetVer=\"13\"", "PresetVer=\"12\""},
        {"Parse: Invalid preset file version, none. Expected 13.", "PresetVer=\"13\" ", ""},
        {"Parse: Component was not a valid XML element.", "<Maximizer", "<!--EQ-->\n    <Maximizer"},
        {"Parse: Parameter was not a valid XML element.", "<Param Type", "some text\n        <Param Type"},
        {"Parse: Extra bytes was not a valid XML element.", "    </Reverb>", "    <!--x--></Reverb>"},
        {"Parse: Invalid parameter ID.", "ParamID=\"2\" ", ""},
        {"Parse: Invalid parameter ID.", "ParamID=\"2\"", "ParamID=\"-1\""},
        {"Parse: Invalid component ID.", "ComponentID=\"" + strGain + "\" ", ""},
        {"Parse: Invalid component ID.", "ComponentID=\"" + strGain + "\"",
         "ComponentID=\"" + std::to_string(plugin.Components().size()) + "\""},
        {"Parse: Missing parameter name to reference.", "Name=\"Bypass Gain\"", "Name=\"\""},
        {"Parse: ID parameter out of range.", "ParamID=\"2\"", "ParamID=\"5\""},
        {"Parse: Parameter was of an invalid type. ", "Type=\"Float\"", "Type=\"float\""},
        {"Parse: Extra bytes were not valid base64.", "Data=\"AAAAAAA=\"", "Data=\"AAAAA\""},
        {"Parse: Invalid component ID.", "<ExtraBytes ComponentID=\"", "<ExtraBytes ComponentID=\"9"},
        {"Value: Invalid floating point value.", "Value=\"0.00000000\"", "Value=\"nan\""},
        {"Value: Invalid floating point value.", "Value=\"0.00000000\"", "Value=\"1e39\""},
        {"Value: Invalid floating point value.", "Value=\"0.00000000\"", "Value=\"1,5\""},
        {"Value: Invalid floating point value.", " Value=\"0.00000000\"", ""},
        {"Value: Invalid boolean value.", "Lock\" Units=\"\" Value=\"1\"", "Lock\" Units=\"\" Value=\"2\""},
        {"Value: Invalid int value.", "Name=\"LMAX: Mode\" Units=\"\" Min=\"0\" Max=\"2\" Value=\"2\"",
         "Name=\"LMAX: Mode\" Value=\"0x2\""},
        {"Value: Invalid uint value.", "Max=\"4294967295\" Value=\"0\"",
         "Max=\"4294967295\" Value=\"4294967296\""},
    };
    for (const Fault& fault : faults) {
        CAPTURE(fault.what);
        CAPTURE(fault.strTo);
        const std::size_t uAt = strGood.find(fault.strFrom);
        REQUIRE(uAt != std::string::npos);
        std::string strBad = strGood;
        strBad.replace(uAt, fault.strFrom.size(), fault.strTo);
        CHECK(Refusal(preset, folder, strBad) == fault.what + ElementPlace(strBad, uAt));
    }
    CHECK(Refusal(preset, folder, std::regex_replace(strGood, std::regex("(</?)Exciter"), "$1Other")) ==
          "Parse: Missing component: Exciter (2, 1)");
    CHECK(Refusal(preset, folder, "<!-- nothing -->") == "Parse: Missing root element. (1, 1)");
    CHECK(Refusal(preset, folder, "").rfind("Parse: ", 0) == 0);
    CHECK(Refusal(preset, folder, strGood.substr(0, strGood.size() / 2)).rfind("Parse: Error", 0) == 0);
    CHECK(plugin.Values() == before);
    CHECK(preset.Name() == "good");
    CHECK(preset.Path() == folder.File("good.xml"));
    CHECK(preset.Attribute("Comments") == "here before");
}

TEST_CASE("Values beyond a range are taken and clamped by the setter; missing ones stay as they are") {
    const Test::TempFolder folder;
    TestPlugin plugin;
    plugin.Set("Output Gain Slider Lock", 0);
    PresetFile preset(plugin);
    preset.Save(folder.File("a.xml"));
    std::string strText = Test::Slurp(folder.File("a.xml"));
    const std::string strGain =
        "<Param Type=\"Float\" ComponentID=\"" + Test::ComponentId(plugin, "Gain") + "\" ParamID=\"";
    const auto value = [&](const char* id) { return strText.find("Value", strText.find(strGain + id)); };
    strText.replace(value("3"), 18, "Value=\"1e30\"");
    const std::size_t uMissing = strText.find(strGain + "4");
    strText.erase(uMissing, strText.find('\n', uMissing) - uMissing);
    // An element that later versions may have, and a parameter that no preset may touch.
    strText.insert(strText.find(strGain),
                   "<Later /><Param Type=\"Int\" ComponentID=\"0\" ParamID=\"11\" Value=\"2\"/>");
    Test::Spill(folder.File("a.xml"), strText);
    plugin.Set("Gain: Output Right", -7);
    preset.Load(folder.File("a.xml"), true);
    CHECK(preset.Records()[std::stoul(Test::ComponentId(plugin, "Gain"))]
              .Table(ParameterGroup::Float)[3]
              .fValue == double{1e30f});
    REQUIRE(preset.Apply());
    CHECK(plugin.Get("Gain: Output Left") == 10);
    CHECK(plugin.Get("Gain: Output Right") == -7);
    CHECK(plugin.Get("Global: Preset Change Mode") == 1);
    preset.Save(folder.File("b.xml"));
    CHECK(Test::Slurp(folder.File("b.xml")).find("ParamID=\"3\" Value=\"10.00000000\"") != std::string::npos);
}

TEST_CASE("A file of too much, too deep or of no text is refused before the parser sees it") {
    const Test::TempFolder folder;
    TestPlugin plugin(&Test::ChainAndOddments);
    PresetFile preset(plugin);
    preset.Save(folder.File("good.xml"));
    std::string strNested, strWide = "<a";
    for (int i = 0; i < 200000; ++i)
        strNested += "<a>";
    for (int i = 0; strWide.size() < 1000000; ++i)
        strWide += " b" + std::to_string(i) + "=''";
    CHECK(Refusal(preset, folder, strNested) == "Parse: Preset file has too many elements. (1, 1)");
    CHECK(Refusal(preset, folder, strWide + "/>") == "Parse: Preset file has too many elements. (1, 1)");
    CHECK(Refusal(preset, folder, std::string(2000000, 'x')) == "Parse: Preset file too large. (1, 1)");
    CHECK(Refusal(preset, folder, Test::Slurp(folder.File("good.xml")) + '\0') ==
          "Parse: Preset file is not a text. (1, 1)");
    // As deep as the reader lets through.
    CHECK(Refusal(preset, folder, strNested.substr(0, 6000)).rfind("Parse: Error", 0) == 0);
    CHECK(Refusal(preset, folder, "\xEF\xBB\xBF<a>\xEF").rfind("Parse: ", 0) == 0);
}

TEST_CASE("Bytes that are no text become question marks, and do not break the file") {
    const Test::TempFolder folder;
    TestPlugin plugin;
    PresetFile preset(plugin);
    const std::pair<std::string, const char*> texts[] = {
        {"cut \xE2\x82", "cut ??"},
        {std::string("a\0b", 3), "a?b"},
        {"\xC0\x80 \xED\xA0\x80 \xF4\x90\x80\x80 \xF0\x9F\x8E\xB5", "?? ??? ???? \xF0\x9F\x8E\xB5"},
    };
    for (const auto& [strText, kept] : texts) {
        preset.SetAttribute("Comments", strText);
        preset.Save(folder.File("a.xml"));
        preset.Load(folder.File("a.xml"), true);
        CHECK(preset.Attribute("Comments") == kept);
    }
}

TEST_CASE("Base64: the texts of the standard's own table, and nothing that is no such text") {
    const std::pair<const char*, const char*> table[] = {
        {"", ""},        {"f", "Zg=="},        {"fo", "Zm8="},
        {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, coded] : table) {
        const std::string strPlain = plain;
        const std::vector<std::uint8_t> bytes(strPlain.begin(), strPlain.end());
        CHECK(Preset::ToBase64(bytes) == coded);
        CHECK(Preset::FromBase64(coded) == bytes);
    }
    for (const char* const wrong : {"Z", "Zg", "Zg=", "Zh==", "A===", "====", "Zg==Zg==", "Zm9\n", "Zm 9"})
        CHECK_FALSE(Preset::FromBase64(wrong));
}
