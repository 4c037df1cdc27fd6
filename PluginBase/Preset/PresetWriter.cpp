#include "PluginBase/Preset/PresetWriter.h"

#include <tinyxml.h>

#include <algorithm>
#include <charconv>

#include "PluginBase/ParameterRef.h"
#include "PluginBase/Preset/Base64.h"
#include "hvBase/Util/Text.h"

namespace Preset {

namespace {

constexpr ParameterGroup kFileOrder[] = {ParameterGroup::Float, ParameterGroup::UInt, ParameterGroup::Int,
                                         ParameterGroup::Bool};

/// Bytes of the UTF-8 character at the head of a text that is not empty; 0 if there is none (the table of
/// well-formed sequences of the Unicode standard, section 3.9).
std::size_t CharacterLength(std::string_view text) {
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned uLead = at(0);
    if (uLead < 0x80) return uLead == 0 ? 0 : 1;
    const std::size_t uLength = uLead < 0xC2 ? 0 : uLead < 0xE0 ? 2 : uLead < 0xF0 ? 3 : uLead < 0xF5 ? 4 : 0;
    if (uLength == 0 || text.size() < uLength) return 0;
    // Overlong forms, surrogates and what lies beyond the last character narrow the second byte.
    const unsigned uLow = uLead == 0xE0 ? 0xA0 : uLead == 0xF0 ? 0x90 : 0x80;
    const unsigned uHigh = uLead == 0xED ? 0x9F : uLead == 0xF4 ? 0x8F : 0xBF;
    if (at(1) < uLow || at(1) > uHigh) return 0;
    for (std::size_t i = 2; i < uLength; ++i)
        if (at(i) < 0x80 || at(i) > 0xBF) return 0;
    return uLength;
}

/// Whether the XML printer takes what begins like a numbered character for one, and passes it through with
/// all the quotation marks behind it. Builds of the library differ in this.
bool PassesNumberedCharacters() {
    std::string strPrinted;
    TiXmlBase::EncodeString("&#x26;", &strPrinted);
    return strPrinted == "&#x26;";
}

/// A text as it may be handed to the XML printer. A cut character would swallow the quotation mark behind it.
std::string XmlText(std::string_view text) {
    std::string strSafe;
    while (!text.empty()) {
        const std::size_t uLength = CharacterLength(text);
        if (uLength == 0) {
            strSafe += '?';
        } else if (text.starts_with("&#x") && PassesNumberedCharacters()) {
            strSafe += "&#x26;";
        } else {
            strSafe += text.substr(0, uLength);
        }
        text.remove_prefix(std::max<std::size_t>(uLength, 1));
    }
    return strSafe;
}

/// A number of any table. The range of a Float is exact in its shortest form, its value has eight digits.
std::string NumberText(ParameterGroup group, double fNumber, bool bValue) {
    char digits[64];
    std::to_chars_result written;
    if (group != ParameterGroup::Float) {
        written = std::to_chars(std::begin(digits), std::end(digits), static_cast<std::int64_t>(fNumber));
    } else if (bValue) {
        written = std::to_chars(std::begin(digits), std::end(digits), fNumber, std::chars_format::fixed, 8);
    } else {
        written = std::to_chars(std::begin(digits), std::end(digits), static_cast<float>(fNumber));
    }
    const std::string_view number(digits, static_cast<std::size_t>(written.ptr - digits));
    // What rounds to zero has no sign, so that zeros are all written alike.
    return std::string(number == "-0.00000000" ? number.substr(1) : number);
}

/// TinyXML's nodes belong to their parent from the start.
TiXmlElement& AddElement(TiXmlNode& parent, const char* name) {
    auto* const element = new TiXmlElement(name);
    parent.LinkEndChild(element);
    return *element;
}

void AddParameter(TiXmlElement& group, std::size_t uComponent, const ParameterRef& parameter, double fValue,
                  bool bVerbose) {
    TiXmlElement& element = AddElement(group, "Param");
    element.SetAttribute("Type", ParameterGroupName(parameter.Group()));
    element.SetAttribute("ComponentID", std::to_string(uComponent));
    element.SetAttribute("ParamID", std::to_string(parameter.Index()));
    if (bVerbose) {
        element.SetAttribute("Name", XmlText(parameter.Name()));
        element.SetAttribute("Units", XmlText(parameter.Info().strUnits));
        if (parameter.Group() != ParameterGroup::Bool) {
            element.SetAttribute("Min", NumberText(parameter.Group(), parameter.Min(), false));
            element.SetAttribute("Max", NumberText(parameter.Group(), parameter.Max(), false));
        }
    }
    if (parameter.Group() == ParameterGroup::Float)
        fValue = std::clamp(fValue, parameter.Min(), parameter.Max());
    element.SetAttribute("Value", NumberText(parameter.Group(), fValue, true));
}

void AddComponent(TiXmlElement& group, PresetGroup presetGroup, std::size_t uComponent, Component& component,
                  const Record& record, bool bVerbose) {
    for (const ParameterGroup table : kFileOrder) {
        for (std::uint32_t i = 0; i < component.Count(table); ++i) {
            const ParameterRef parameter(component, table, i);
            const Entry& entry = record.Table(table)[i];
            if (entry.group == presetGroup && parameter.Info().storageClass == StorageClass::StateBlock)
                AddParameter(group, uComponent, parameter, entry.fValue, bVerbose);
        }
    }
    if (record.extra.empty() || record.extraGroup != presetGroup) return;
    TiXmlElement& element = AddElement(group, "ExtraBytes");
    element.SetAttribute("ComponentID", std::to_string(uComponent));
    element.SetAttribute("Data", ToBase64(record.extra));
    if (bVerbose) element.SetAttribute("Name", XmlText(Util::Format("%1 Extra Bytes", component.Name())));
}

}  // namespace

std::string PrintPreset(const Content& content, const std::vector<Component*>& components, bool bVerbose) {
    TiXmlDocument document;
    document.LinkEndChild(new TiXmlDeclaration("1.0", "", "yes"));
    TiXmlElement& root = AddElement(document, "Vesca");
    root.SetAttribute("Signature", XmlText(content.strSignature));
    root.SetAttribute("PresetVer", std::to_string(kVersion));
    root.SetAttribute("PluginVer", std::to_string(kPluginVersion));
    for (const char* const name : kAttributes) {
        const auto attribute = content.attributes.find(name);
        if (attribute != content.attributes.end() && !attribute->second.empty())
            root.SetAttribute(name, XmlText(attribute->second));
    }
    for (std::size_t iGroup = 0; iGroup < kGroups; ++iGroup) {
        const auto presetGroup = static_cast<PresetGroup>(iGroup);
        TiXmlElement& group = AddElement(root, PresetGroupName(presetGroup));
        group.SetAttribute("Enabled", content.groups[iGroup] ? "1" : "0");
        for (std::size_t i = 0; i < components.size(); ++i)
            AddComponent(group, presetGroup, i, *components[i], content.records[i], bVerbose);
    }
    TiXmlPrinter printer;
    document.Accept(&printer);
    return printer.Str();
}

}  // namespace Preset
