#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "PluginBase/Component.h"
#include "PluginBase/Preset/Exception.h"
#include "PluginBase/Preset/PresetData.h"

class TiXmlElement;
class TiXmlNode;

namespace Preset {

/// The present values of the components, every group in the preset.
Content CapturePreset(const std::vector<Component*>& components);

/// Makes a preset of a file's text. Nothing is written to the components: a file that is refused half-way
/// changes no sound.
///
/// What the file lacks has the value that the component has now. A value beyond its parameter's range is
/// kept; one that the parameter's type can't hold is refused, and so are infinity and what is no number.
/// Numbers do not depend on the process's locale. A parameter's group is the one its table names, wherever in
/// the file it stands. Elements with other names than a preset's, and other attributes, are passed over.
///
/// Hostile files: a text of more than 1 MB, or of more elements or attributes than any preset has, is refused
/// before the XML parser sees it, because that one recurses into elements and searches attributes one by one.
class PresetReader {
public:
    /// The path is for failures only. With bByName every parameter must carry its name; one that is named
    /// otherwise at its index is looked up in the same table, and passed over if the table does not know it.
    PresetReader(const std::vector<Component*>& components, std::string strPath, bool bByName)
        : m_components(components), m_strPath(std::move(strPath)), m_bByName(bByName) {}

    static constexpr std::size_t kMostBytes = std::size_t{1} << 20;

    /// Throws Exception::Parse, of it Exception::Version for a file of another format version, and
    /// Exception::Value.
    Content Read(std::string_view text) const;

private:
    Content ReadRoot(const TiXmlElement& root) const;
    void ReadGroup(const TiXmlElement& element, Content& content) const;
    void ReadParameter(const TiXmlElement& element, Content& content) const;
    void ReadExtraBytes(const TiXmlElement& element, Content& content) const;
    std::size_t ReadComponent(const TiXmlElement& element) const;
    double ReadValue(const TiXmlElement& element, ParameterGroup group) const;
    Exception::FilePlace At(const TiXmlNode& node) const;

    const std::vector<Component*>& m_components;
    std::string m_strPath;
    bool m_bByName;
};

}  // namespace Preset
