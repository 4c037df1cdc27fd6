#include "PluginBase/Preset/PresetFileBase.h"

#include <algorithm>
#include <utility>

#include "PluginBase/ParameterRef.h"
#include "PluginBase/Preset/PresetReader.h"
#include "PluginBase/Preset/PresetWriter.h"
#include "hvBase/Util/AtomicFile.h"
#include "hvBase/Util/Dir.h"
#include "hvBase/Util/LocalTime.h"
#include "hvBase/Util/Text.h"

namespace Preset {

namespace {

using Util::Exception::FileIO;

bool ReadFlag(Util::SettingsStore& settings, const char* name) {
    std::uint32_t uNumber = 0;
    settings.GetNumber(name, uNumber);
    return uNumber != 0;
}

std::string ReadText(const std::string& strPath) {
    Util::File file;
    file.Open(strPath, Util::File::kRead);
    // One byte more than the reader takes is enough for it to refuse the file.
    const std::uint64_t uLength = std::min<std::uint64_t>(file.Length(), PresetReader::kMostBytes + 1);
    std::string strText(static_cast<std::size_t>(uLength), '\0');
    file.Read(strText.data(), strText.size());
    return strText;
}

/// A preset change that ends whatever happens in it.
class PresetChange {
public:
    explicit PresetChange(Plugin& plugin) : m_plugin(plugin) { m_plugin.BeginPresetChange(); }
    ~PresetChange() { m_plugin.EndPresetChange(); }
    PresetChange(const PresetChange&) = delete;
    PresetChange& operator=(const PresetChange&) = delete;

private:
    Plugin& m_plugin;
};

}  // namespace

std::string PresetFileBase::UserFolder(Plugin& plugin) {
    const std::string strDefault = Util::JoinPath(plugin.InstallPath(), "Presets");
    return Util::JoinPath(plugin.Settings().GetText("PresetFolder", strDefault), "");
}

PresetFileBase::PresetFileBase(Plugin& plugin, std::string strName)
    : m_plugin(plugin),
      m_strName(std::move(strName)),
      m_bReferenceName(ReadFlag(plugin.Settings(), "ReferenceNamePreset")),
      m_bVerbose(ReadFlag(plugin.Settings(), "VerbosePreset")) {
    Capture();
}

void PresetFileBase::Capture() {
    Content content = CapturePreset(m_plugin.Components());
    content.strSignature = m_content.strSignature;
    content.attributes = m_content.attributes;
    m_content = std::move(content);
}

void PresetFileBase::Load(const std::string& strPath, bool bReadOnly) {
    const std::string strText = ReadText(strPath);
    Content content;
    try {
        content = PresetReader(m_plugin.Components(), strPath, m_bReferenceName).Read(strText);
    } catch (const Exception::Version& refusal) {
        content = ReadOtherVersion(strText, refusal);
    }
    TakePath(strPath);
    m_content = std::move(content);
    if (!bReadOnly) StampUsed();
}

void PresetFileBase::Save(const std::string& strPath) {
    const std::string strText = PrintPreset(m_content, m_plugin.Components(), m_bVerbose);
    Util::Dir::Create(Util::SplitPath(strPath).strFolder);
    Util::WriteFileAtomically(
        strPath, std::span(reinterpret_cast<const std::uint8_t*>(strText.data()), strText.size()));
    TakePath(strPath);
}

void PresetFileBase::SaveAs(const std::string& strFolder) {
    if (m_strName.empty() || m_strName.find_first_of("/\\:") != std::string::npos)
        throw FileIO(FileIO::Code::Open, "Error opening file");
    auto before = m_content.attributes;
    StampUsed();
    StampModified();
    try {
        Save(Util::JoinPath(strFolder, m_strName + kExtension));
    } catch (...) {
        m_content.attributes = std::move(before);
        throw;
    }
}

bool PresetFileBase::Apply() {
    if (!FitsComponents()) return false;
    const PresetChange change(m_plugin);
    const auto& components = m_plugin.Components();
    for (std::size_t iComponent = 0; iComponent < components.size(); ++iComponent) {
        Component& component = *components[iComponent];
        const Record& record = m_content.records[iComponent];
        for (const ParameterGroup table : kTables) {
            for (std::uint32_t i = 0; i < component.Count(table); ++i) {
                const ParameterRef parameter(component, table, i);
                const Entry& entry = record.Table(table)[i];
                if (m_content.HasGroup(entry.group) &&
                    parameter.Info().storageClass == StorageClass::StateBlock &&
                    parameter.Get() != entry.fValue)
                    parameter.Set(entry.fValue);
            }
        }
        if (m_content.HasGroup(record.extraGroup) && !record.extra.empty() &&
            record.extra.size() == component.GetExtraByteCount())
            component.ReadExtraBytes(record.extra, 0);
    }
    for (Component* component : components)
        component->ClearBlockBuffer();
    return true;
}

bool PresetFileBase::FitsComponents() const {
    const auto& components = m_plugin.Components();
    if (m_content.records.size() != components.size()) return false;
    for (std::size_t i = 0; i < components.size(); ++i)
        for (const ParameterGroup table : kTables)
            if (m_content.records[i].Table(table).size() != components[i]->Count(table)) return false;
    return true;
}

void PresetFileBase::Remove() {
    try {
        Util::File::Remove(m_strPath);
    } catch (const FileIO& failure) {
        throw FileIO(failure.ErrorCode(),
                     Util::Format("Error removing preset %1: %2", m_strPath, failure.Text()));
    }
}

void PresetFileBase::StampUsed() {
    m_content.attributes["LastUsed"] = Util::LocalTimeText();
}

void PresetFileBase::StampModified() {
    m_content.attributes["LastModified"] = Util::LocalTimeText();
}

void PresetFileBase::EnableGroup(PresetGroup group, bool bEnable) {
    const auto uGroup = static_cast<std::size_t>(group);
    if (uGroup < kGroups) m_content.groups[uGroup] = bEnable;
}

std::string PresetFileBase::Attribute(const std::string& strName) const {
    const auto attribute = m_content.attributes.find(strName);
    return attribute == m_content.attributes.end() ? std::string() : attribute->second;
}

void PresetFileBase::SetAttribute(const std::string& strName, std::string strText) {
    m_content.attributes[strName] = std::move(strText);
}

std::string PresetFileBase::Folder() const {
    return Util::SplitPath(m_strPath).strFolder;
}

void PresetFileBase::TakePath(const std::string& strPath) {
    m_strPath = strPath;
    m_strName = Util::SplitPath(strPath).strName;
    if (Util::Dir::Matches(m_strName, kPattern))
        m_strName.resize(m_strName.size() - std::string_view(kExtension).size());
}

}  // namespace Preset
