#include "PluginBase/Preset/PresetReader.h"

#include <tinyxml.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "PluginBase/ParameterRef.h"
#include "PluginBase/Preset/Base64.h"

namespace Preset {

namespace {

// Several times what a preset of all parameters has. The parser takes about 200 bytes of stack for an element
// within another, and a host's thread may have no more than 1 MB.
constexpr std::ptrdiff_t kMostElements = 2000;
constexpr std::ptrdiff_t kMostAttributes = 16000;

/// The whole text as a number; nothing if it is none, or none that the type holds.
template <class Number>
std::optional<Number> ParseNumber(const char* text) {
    if (!text) return std::nullopt;
    const std::string_view view(text);
    Number value{};
    const auto parsed = std::from_chars(view.data(), view.data() + view.size(), value);
    if (parsed.ec != std::errc() || parsed.ptr != view.data() + view.size()) return std::nullopt;
    return value;
}

/// An index that a file gives; nothing for a missing or negative one.
std::optional<std::size_t> ParseIndex(const char* text) {
    const auto value = ParseNumber<std::int32_t>(text);
    if (!value || *value < 0) return std::nullopt;
    return static_cast<std::size_t>(*value);
}

std::optional<ParameterGroup> FindTable(const char* type) {
    for (const ParameterGroup table : kTables)
        if (type && std::string_view(type) == ParameterGroupName(table)) return table;
    return std::nullopt;
}

bool IsText(const char* text, std::string_view wanted) {
    return text && text == wanted;
}

}  // namespace

Content CapturePreset(const std::vector<Component*>& components) {
    Content content;
    content.groups.fill(true);
    for (Component* component : components) {
        Record& record = content.records.emplace_back();
        for (const ParameterGroup table : kTables) {
            for (std::uint32_t i = 0; i < component->Count(table); ++i) {
                const ParameterRef parameter(*component, table, i);
                record.Table(table).push_back({parameter.Get(), parameter.Info().presetGroup});
            }
        }
        const std::uint32_t uClass = component->GetExtraDataClass();
        if (uClass >= kGroups) continue;
        record.extraGroup = static_cast<PresetGroup>(uClass);
        record.extra.resize(component->GetExtraByteCount());
        if (!record.extra.empty()) component->WriteExtraBytes(record.extra, 0);
    }
    return content;
}

Exception::FilePlace PresetReader::At(const TiXmlNode& node) const {
    return {m_strPath, node.Row(), node.Column()};
}

Content PresetReader::Read(std::string_view text) const {
    const Exception::FilePlace top{m_strPath, 1, 1};
    if (text.size() > kMostBytes) throw Exception::Parse("Preset file too large.", top);
    if (text.find('\0') != text.npos) throw Exception::Parse("Preset file is not a text.", top);
    if (std::count(text.begin(), text.end(), '<') > kMostElements ||
        std::count(text.begin(), text.end(), '=') > kMostAttributes)
        throw Exception::Parse("Preset file has too many elements.", top);

    TiXmlDocument document;
    document.SetTabSize(1);
    // The parser looks up to two bytes ahead of some bytes; the line feeds are there for that.
    document.Parse((std::string(text) + "\n\n").c_str());
    if (document.Error())
        throw Exception::Parse(document.ErrorDesc(), {m_strPath, document.ErrorRow(), document.ErrorCol()});
    const TiXmlElement* const root = document.FirstChildElement();
    if (!root) throw Exception::Parse("Missing root element.", top);
    return ReadRoot(*root);
}

Content PresetReader::ReadRoot(const TiXmlElement& root) const {
    const char* const version = root.Attribute("PresetVer");
    const std::string strExpected = std::to_string(kVersion);
    if (!IsText(version, strExpected))
        throw Exception::Version(version ? version : "none", strExpected, At(root));

    Content content = CapturePreset(m_components);
    if (const char* const signature = root.Attribute("Signature")) content.strSignature = signature;
    for (const char* const name : kAttributes)
        if (const char* const value = root.Attribute(name)) content.attributes[name] = value;

    for (const TiXmlNode* child = root.FirstChild(); child; child = child->NextSibling())
        if (!child->ToElement()) throw Exception::Parse("Component was not a valid XML element.", At(*child));
    for (std::size_t iGroup = 0; iGroup < kGroups; ++iGroup) {
        const char* const name = PresetGroupName(static_cast<PresetGroup>(iGroup));
        const TiXmlElement* const group = root.FirstChildElement(name);
        if (!group) throw Exception::Parse(std::string("Missing component: ") + name, At(root));
        content.groups[iGroup] = IsText(group->Attribute("Enabled"), "1");
        ReadGroup(*group, content);
    }
    return content;
}

void PresetReader::ReadGroup(const TiXmlElement& element, Content& content) const {
    bool bInExtraBytes = false;
    for (const TiXmlNode* child = element.FirstChild(); child; child = child->NextSibling()) {
        const TiXmlElement* const entry = child->ToElement();
        if (!entry)
            throw Exception::Parse(bInExtraBytes ? "Extra bytes was not a valid XML element."
                                                 : "Parameter was not a valid XML element.",
                                   At(*child));
        bInExtraBytes = entry->ValueStr() == "ExtraBytes";
        if (bInExtraBytes) {
            ReadExtraBytes(*entry, content);
        } else if (entry->ValueStr() == "Param") {
            ReadParameter(*entry, content);
        }
    }
}

std::size_t PresetReader::ReadComponent(const TiXmlElement& element) const {
    const auto uComponent = ParseIndex(element.Attribute("ComponentID"));
    if (!uComponent || *uComponent >= m_components.size())
        throw Exception::Parse("Invalid component ID.", At(element));
    return *uComponent;
}

void PresetReader::ReadParameter(const TiXmlElement& element, Content& content) const {
    const auto uParameter = ParseIndex(element.Attribute("ParamID"));
    if (!uParameter) throw Exception::Parse("Invalid parameter ID.", At(element));
    const std::size_t uComponent = ReadComponent(element);
    const char* const name = element.Attribute("Name");
    if (m_bByName && (!name || *name == '\0'))
        throw Exception::Parse("Missing parameter name to reference.", At(element));
    const auto table = FindTable(element.Attribute("Type"));
    if (!table) throw Exception::Parse("Parameter was of an invalid type. ", At(element));

    Component& component = *m_components[uComponent];
    auto uIndex = static_cast<std::uint32_t>(*uParameter);
    if (uIndex >= component.Count(*table)) throw Exception::Parse("ID parameter out of range.", At(element));
    if (m_bByName && component.Info(*table, uIndex).strName != name) {
        uIndex = 0;
        while (uIndex < component.Count(*table) && component.Info(*table, uIndex).strName != name)
            ++uIndex;
        if (uIndex == component.Count(*table)) return;
    }
    content.records[uComponent].Table(*table)[uIndex].fValue = ReadValue(element, *table);
}

double PresetReader::ReadValue(const TiXmlElement& element, ParameterGroup group) const {
    const char* const text = element.Attribute("Value");
    switch (group) {
        case ParameterGroup::Float: {
            const auto value = ParseNumber<double>(text);
            if (!value || !std::isfinite(static_cast<float>(*value)))
                throw Exception::Value("Invalid floating point value.", At(element));
            return double{static_cast<float>(*value)};
        }
        case ParameterGroup::Bool:
            if (!IsText(text, "0") && !IsText(text, "1"))
                throw Exception::Value("Invalid boolean value.", At(element));
            return *text == '1';
        case ParameterGroup::Int:
            if (const auto value = ParseNumber<std::int32_t>(text)) return *value;
            throw Exception::Value("Invalid int value.", At(element));
        case ParameterGroup::UInt:
            break;
    }
    if (const auto value = ParseNumber<std::uint32_t>(text)) return *value;
    throw Exception::Value("Invalid uint value.", At(element));
}

void PresetReader::ReadExtraBytes(const TiXmlElement& element, Content& content) const {
    Record& record = content.records[ReadComponent(element)];
    const char* const data = element.Attribute("Data");
    auto bytes = FromBase64(data ? data : "");
    if (!bytes) throw Exception::Parse("Extra bytes were not valid base64.", At(element));
    record.extra = std::move(*bytes);
}

}  // namespace Preset
